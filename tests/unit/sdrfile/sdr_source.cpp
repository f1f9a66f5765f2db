#include "tests/unit/sdrfile/sdr_source.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace tarvek_test {

Input::Input(const std::string& text) {
  fp = std::tmpfile();
  EXPECT_NE(fp, nullptr);
  EXPECT_EQ(std::fwrite(text.data(), 1, text.size(), fp), text.size());
  std::rewind(fp);
}

std::vector<Bytes> Loader::Records() {
  std::vector<Bytes> records;
  for (const SDRecord* record = fileRecords; record != nullptr; record = record->next) {
    records.emplace_back(record->Record, record->Record + record->length);
  }
  return records;
}

std::vector<std::string> Loader::Tags() {
  std::vector<std::string> tags;
  for (const SDRecord* record = fileRecords; record != nullptr; record = record->next) {
    tags.emplace_back(record->tag);
  }
  return tags;
}

std::unique_ptr<TagTbl> TagList(const std::vector<std::string>& names) {
  std::unique_ptr<TagTbl> head;
  for (auto name = names.rbegin(); name != names.rend(); ++name) {
    auto entry = std::make_unique<TagTbl>();
    name->copy(entry->name, kTagNameSize - 1);
    entry->next = head.release();
    head = std::move(entry);
  }
  return head;
}

int OpenDescriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return static_cast<int>(std::distance(begin(descriptors), end(descriptors)));
}

}  // namespace tarvek_test
