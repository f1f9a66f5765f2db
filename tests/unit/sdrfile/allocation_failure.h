// Makes allocations of the code under test fail.
#pragma once

namespace tarvek_test {

/// How an allocation tells that it failed.
enum class Failing { kWithNull, kWithException };

/// Lets the `nth` (from 1) allocation of that kind from now on fail, and that one only. It is
/// disarmed when it goes out of scope.
class FailingAllocation {
 public:
  explicit FailingAllocation(int nth, Failing kind = Failing::kWithNull);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  /// @return whether the allocation came up and failed.
  bool Happened() const;
};

}  // namespace tarvek_test
