// Makes allocations of the code under test fail.
#pragma once

namespace tarvek_test {

/// Lets the `nth` (from 1) non-throwing allocation from now on fail, and that one only. It is
/// disarmed when it goes out of scope.
class FailingAllocation {
 public:
  explicit FailingAllocation(int nth);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  /// @return whether the allocation came up and failed.
  bool Happened() const;
};

}  // namespace tarvek_test
