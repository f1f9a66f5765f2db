// Records in hexadecimal, one a line.
#pragma once

#include <iostream>
#include <string>
#include <vector>

namespace tarvek_test {

/// Reads the next line of standard input that holds a record.
/// @return false at the end of the input.
inline bool NextRecord(std::vector<unsigned char>* record) {
  constexpr int kHexBase = 16;
  std::string line;
  if (!std::getline(std::cin, line)) return false;
  record->clear();
  for (std::size_t i = 0; i + 1 < line.size(); i += 2) {
    record->push_back(static_cast<unsigned char>(std::stoi(line.substr(i, 2), nullptr, kHexBase)));
  }
  return true;
}

}  // namespace tarvek_test
