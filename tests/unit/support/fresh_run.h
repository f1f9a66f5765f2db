// The fixture that every unit test starts from: an empty directory of its own, the globals as a
// new process has them, and a machine whose driver, clock and waits the test controls.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/unit/support/fake_machine.h"

namespace tarvek_test {

class FreshRun : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// The fake operating system below the code under test; fresh for each test.
  FakeMachine& machine() { return FakeMachine::Current(); }

 private:
  std::filesystem::path directory_;
  std::filesystem::path before_;
};

/// @return the bytes of a file, or a text that names it as missing.
std::string ReadFile(const std::string& path);

void WriteFile(const std::string& path, const std::string& bytes);

/// @return the lines of a history log without their time stamps (21 characters).
std::vector<std::string> LogTexts(const std::string& path = "tarvek.log");

/// @return what `action` writes to standard output.
template <typename Action>
std::string ConsoleOf(Action action) {
  ::testing::internal::CaptureStdout();
  action();
  return ::testing::internal::GetCapturedStdout();
}

/// The text of a result file as a whole.
std::string ResultText(const std::string& code, const std::string& data = "");

/// Sets every global of the system to what it is when a run starts.
void ResetGlobals();

}  // namespace tarvek_test
