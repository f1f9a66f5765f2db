#include "tests/unit/control/bmc/simulated_machine.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

namespace tarvek::control {

SimulatedMachine::SimulatedMachine(const std::vector<std::string>& bmc) {
  std::string name = std::filesystem::temp_directory_path() / "tarvekctl-machine-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) std::abort();
  directory_ = name;
  std::filesystem::create_directory(directory_ / "work");
  std::vector<std::string> words{BMCSIM_PROGRAM, "--state", directory_ / "bmc", "--create"};
  words.insert(words.end(), bmc.begin(), bmc.end());
  const blackbox::Outcome outcome = blackbox::RunProgram(words, directory_);
  EXPECT_EQ(outcome.exit_status, 0) << outcome.errors;
}

SimulatedMachine::~SimulatedMachine() { std::filesystem::remove_all(directory_); }

blackbox::Outcome SimulatedMachine::Run(const std::vector<std::string>& program,
                                        const std::vector<std::string>& simulator) {
  std::filesystem::remove(directory_ / "trace");
  std::vector<std::string> words{BMCSIM_PROGRAM,       "--state", directory_ / "bmc", "--trace",
                                 directory_ / "trace", "--clock", "virtual"};
  words.insert(words.end(), simulator.begin(), simulator.end());
  words.emplace_back("--");
  words.insert(words.end(), program.begin(), program.end());
  return blackbox::RunProgram(words, directory_ / "work");
}

std::vector<std::string> SimulatedMachine::Requests() const {
  std::vector<std::string> requests;
  std::ifstream trace(directory_ / "trace");
  for (std::string line; std::getline(trace, line);) {
    if (line.rfind("> ", 0) == 0) requests.push_back(line.substr(2));
  }
  return requests;
}

bool SimulatedMachine::IsTidy() const { return std::filesystem::is_empty(directory_ / "work"); }

}  // namespace tarvek::control
