// The fixture of the tests that take the single-run lock.
#pragma once

#include "tests/unit/support/fresh_run.h"
#include "tests/unit/support/lock_name.h"

namespace tarvek_test {

/// The fixture of the tests that take the lock: it is free when a test starts.
class LockedRun : public FreshRun {
 protected:
  void SetUp() override;
  void TearDown() override;

 private:
  bool lock_is_ours_ = false;
};

}  // namespace tarvek_test
