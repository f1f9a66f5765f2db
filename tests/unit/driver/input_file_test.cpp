#include "driver/input_file.h"

#include <sys/stat.h>

#include <filesystem>

#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

using InputFile = FreshRun;

TEST_F(InputFile, OpensAFileForReading) {
  WriteFile("in.txt", "ab");
  std::FILE* const stream = tarvek::OpenInput("in.txt");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(std::getc(stream), 'a');
  EXPECT_EQ(std::getc(stream), 'b');
  EXPECT_EQ(std::getc(stream), EOF);
  EXPECT_EQ(std::fputc('x', stream), EOF) << "an input is not written";
  std::fclose(stream);
  EXPECT_EQ(ReadFile("in.txt"), "ab");
}

TEST_F(InputFile, FailsOnAFileThatIsNotThere) {
  EXPECT_EQ(tarvek::OpenInput("missing"), nullptr);
  EXPECT_EQ(tarvek::OpenInput(""), nullptr);
  EXPECT_FALSE(std::filesystem::exists("missing"));
}

TEST_F(InputFile, APipeWithoutAWriterIsEmptyInsteadOfHoldingTheRunUp) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  std::FILE* const stream = tarvek::OpenInput("pipe");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(std::getc(stream), EOF);
  std::fclose(stream);
}

TEST_F(InputFile, ADirectoryReadsAsEmpty) {
  std::FILE* const stream = tarvek::OpenInput(".");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(std::getc(stream), EOF);
  std::fclose(stream);
}

}  // namespace
}  // namespace tarvek_test
