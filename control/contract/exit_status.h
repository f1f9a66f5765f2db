// The exit statuses, which scripts and management programs rely on. They never change their
// meaning.
#pragma once

namespace tarvek::control {

enum class ExitStatus : int {
  kDone = 0,  // done; update: the BMC serves INPUT, verified; plan: an update would do something
  kBmcFailed = 1,    // the BMC or its driver failed
  kNothing = 2,      // nothing to do
  kBadInput = 3,     // INPUT is wrong; nothing was changed
  kUnfit = 4,        // this machine is not one for INPUT, or lacks something; nothing was changed
  kBusy = 5,         // another run holds the lock
  kInterrupted = 6,  // interrupted, or what is in service could not be established
  kUsage = 64,       // wrong use
};

}  // namespace tarvek::control
