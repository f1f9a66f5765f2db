// A machine of one's own, as far as processes see it.
#pragma once

#include <functional>

namespace control_test {

/// Does `work` in a process that is the first of a process namespace of its own: what it starts
/// sees no other processes, can look at all that it sees, and ends with it. Its mounts are its own,
/// too. Where that is not permitted, `work` is done in just a process of its own. The caller stays
/// where it is: it may still start threads, as a leak sanitizer does in the end.
/// @return what `work` returned.
int RunApart(const std::function<int()>& work);

/// Whether this process is in such a namespace. In others it may not be possible to tell whether
/// anybody holds a lock.
bool IsApart();

}  // namespace control_test
