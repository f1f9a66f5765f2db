#include "sdrfile/utilities/file_record.h"

#include <cstddef>

#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

using FileCursor = FreshRun;

TEST_F(FileCursor, StartsWithNothing) {
  const FileRecord record;
  EXPECT_EQ(record.fp, nullptr);
  EXPECT_EQ(record.pos, nullptr);
  EXPECT_EQ(record.lineNumber, 0);
  EXPECT_EQ(sizeof(record.line), 256U);
  for (const char c : record.line) EXPECT_EQ(c, '\0');
}

TEST_F(FileCursor, KeepsTheOrderOfItsFields) {
  EXPECT_LT(offsetof(FileRecord, fp), offsetof(FileRecord, line));
  EXPECT_LT(offsetof(FileRecord, line), offsetof(FileRecord, pos));
  EXPECT_LT(offsetof(FileRecord, pos), offsetof(FileRecord, lineNumber));
}

TEST_F(FileCursor, LeavesTheStreamToWhoeverOpenedIt) {
  WriteFile("in", "text");
  std::FILE* const stream = std::fopen("in", "r");
  ASSERT_NE(stream, nullptr);
  {
    FileRecord record;
    record.fp = stream;
  }
  EXPECT_EQ(std::getc(stream), 't') << "still open";
  std::fclose(stream);
}

TEST_F(FileCursor, ClosesTheStreamOnce) {
  WriteFile("in", "text");
  FileRecord record;
  record.Close();
  record.fp = std::fopen("in", "r");
  ASSERT_NE(record.fp, nullptr);
  record.Close();
  EXPECT_EQ(record.fp, nullptr);
  record.Close();
  EXPECT_EQ(record.fp, nullptr);
}

TEST_F(FileCursor, DropsTheHeldLineAlone) {
  FileRecord record;
  record.line[0] = 'x';
  record.pos = record.line;
  record.lineNumber = 7;
  record.DropLine();
  EXPECT_STREQ(record.line, "");
  EXPECT_EQ(record.pos, nullptr);
  EXPECT_EQ(record.lineNumber, 7);
}

}  // namespace
}  // namespace tarvek_test
