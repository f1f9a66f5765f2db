#include "tests/unit/support/private_lock.h"

namespace tarvek_test {

void LockedRun::SetUp() {
  ASSERT_NO_FATAL_FAILURE(UsePrivateLock());
  ASSERT_NO_FATAL_FAILURE(FreshRun::SetUp());
  ASSERT_FALSE(LockExists()) << "somebody holds the lock of this machine";
  lock_is_ours_ = true;
}

void LockedRun::TearDown() {
  if (lock_is_ours_) RemoveLock();
  FreshRun::TearDown();
}

}  // namespace tarvek_test
