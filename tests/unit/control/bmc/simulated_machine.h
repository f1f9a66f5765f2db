// A machine with a simulated BMC, and programs that are run on it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/blackbox/child_program.h"

namespace tarvek::control {

class SimulatedMachine {
 public:
  /// @param bmc  what the BMC is like: options of the simulator.
  explicit SimulatedMachine(const std::vector<std::string>& bmc = {});
  ~SimulatedMachine();
  SimulatedMachine(const SimulatedMachine&) = delete;
  SimulatedMachine& operator=(const SimulatedMachine&) = delete;

  /// Runs a program in an empty directory.
  /// @param simulator  options of the simulator: the driver, the faults.
  blackbox::Outcome Run(const std::vector<std::string>& program,
                        const std::vector<std::string>& simulator = {});
  /// The requests that BMC has had in the last run: "18 01".
  std::vector<std::string> Requests() const;
  /// @return whether the programs have left no file in their directory.
  bool IsTidy() const;

 private:
  std::filesystem::path directory_;
};

}  // namespace tarvek::control
