// The single-run lock is one name for the whole machine. Tests that take it get one of their own,
// so that they run in parallel and beside a real run of the tool.
#pragma once

namespace tarvek_test {

/// Sets this process and its children apart, for the process's life: the named semaphores that they
/// see are their own (a mount namespace with an empty /dev/shm). Where that is not permitted, the
/// process waits until it is the only test that takes the lock. Later calls do nothing.
void UsePrivateLock();

/// @return whether the lock's name exists, whoever created it.
bool LockExists();

/// Creates the lock's name as another run of the tool does.
void TakeLockAsAnotherRun();

/// Removes the lock's name if it is there.
void RemoveLock();

}  // namespace tarvek_test
