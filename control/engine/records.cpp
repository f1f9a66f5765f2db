#include "control/engine/records.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace tarvek::control {
namespace {

constexpr std::size_t kRecordIdSize = 2;
constexpr std::size_t kHeaderSize = 5;  // of a record, its ID included
constexpr std::size_t kPiece = 16;      // record bytes moved by one request

std::size_t Pieces(std::size_t bytes) { return (bytes + kPiece - 1) / kPiece; }

/// The requests that read one record of `bytes` bytes: a reservation, its header, the rest.
std::size_t ReadingRequests(std::size_t bytes) {
  return 2 + (bytes > kHeaderSize ? Pieces(bytes - kHeaderSize) : 0);
}

int Nibble(char digit) {
  constexpr int kTen = 10;
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + kTen;
  throw std::runtime_error("no record in hexadecimal");
}

}  // namespace

RecordList RecordsOf(const std::vector<inspect::InputRecord>& records) {
  RecordList list;
  for (const inspect::InputRecord& record : records) {
    if (!record.selected || record.bytes.size() < kRecordIdSize) continue;
    list.emplace_back(record.bytes.begin() + kRecordIdSize, record.bytes.end());
  }
  return list;
}

std::string ToLines(const RecordList& records) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr unsigned kNibbleBits = 4;
  constexpr unsigned kNibbleMask = 0xF;
  std::string lines;
  for (const std::string& record : records) {
    for (const char c : record) {
      const auto byte = static_cast<unsigned char>(c);
      lines += kDigits[byte >> kNibbleBits];
      lines += kDigits[byte & kNibbleMask];
    }
    lines += '\n';
  }
  return lines;
}

RecordList FromLines(std::string_view lines) {
  RecordList records;
  while (!lines.empty()) {
    const std::size_t end = lines.find('\n');
    if (end == std::string_view::npos || end % 2 != 0) {
      throw std::runtime_error("no record in hexadecimal");
    }
    constexpr int kSixteen = 16;
    std::string record;
    for (std::size_t i = 0; i < end; i += 2) {
      record += static_cast<char>(Nibble(lines[i]) * kSixteen + Nibble(lines[i + 1]));
    }
    records.push_back(std::move(record));
    lines.remove_prefix(end + 1);
  }
  return records;
}

std::string DigestOf(const RecordList& records) {
  constexpr std::uint64_t kOffset = 14695981039346656037U;
  constexpr std::uint64_t kPrime = 1099511628211U;
  constexpr unsigned kHalf = 32;
  std::uint64_t hash = kOffset;
  // Eight bytes at a time; the shift brings what their upper half changed down again.
  const auto add = [&hash](std::uint64_t word) {
    hash = (hash ^ word) * kPrime;
    hash ^= hash >> kHalf;
  };
  for (const std::string& record : records) {
    // The length first, so that no two lists give the same words.
    add(record.size());
    std::uint64_t word = 0;
    std::size_t at = 0;
    for (; record.size() - at >= sizeof word; at += sizeof word) {
      std::memcpy(&word, record.data() + at, sizeof word);
      add(word);
    }
    word = 0;
    std::memcpy(&word, record.data() + at, record.size() - at);
    if (at < record.size()) add(word);
  }
  constexpr std::size_t kTextSize = 17;
  std::array<char, kTextSize> text{};
  std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(hash));
  return text.data();
}

std::string ReducedVersion(const std::string& version) {
  constexpr std::size_t kFieldStart = 12;
  constexpr std::size_t kFieldSize = 5;
  return version.size() <= kFieldStart ? version : version.substr(kFieldStart, kFieldSize);
}

std::size_t RequestsFor(const RecordList& records, const RecordList& served) {
  // Get Device ID and Get SDR Repository Info; SparedSDR twice; the clear's reservation, its start
  // and two looks at it.
  constexpr std::size_t kAround = 2 + 2 + 4;
  std::size_t requests = kAround;
  // The old set is read for its version.
  for (const std::string& record : served)
    requests += ReadingRequests(record.size() + kRecordIdSize);
  // Each record is reserved for and added, and read back.
  for (const std::string& record : records) {
    const std::size_t bytes = record.size() + kRecordIdSize;
    requests += 1 + Pieces(bytes) + ReadingRequests(bytes);
  }
  return requests;
}

}  // namespace tarvek::control
