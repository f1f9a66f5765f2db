// What the BMC serves, read by the tool itself.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "control/bmc/bmc.h"
#include "control/engine/records.h"
#include "control/engine/session.h"
#include "control/system/child.h"
#include "inspect/input/record_set.h"

namespace tarvek::control {

/// A BMC that has said what it is.
struct Bmc {
  DeviceId device;
  RepositoryInfo info;
  std::string driver;
};

/// What a BMC served when it was read.
struct Served {
  RecordList records;                  // empty: an empty repository
  std::string image;                   // the backup image's bytes; empty for an empty repository
  inspect::RecordSet set;              // of the image
  std::optional<std::string> version;  // reduced
  std::optional<std::string> script;
};

/// Why a reading failed.
struct ReadFailure {
  std::string what;
  std::string remedy;
  std::optional<NumberedError> error;
  bool too_large = false;  // the image cannot hold the set
  bool busy = false;       // another program took the lock
  bool hangs = false;      // the tool did not end
};

/// Asks the BMC what it is.
/// @throws Stop  refused when there is no driver, failed when the BMC does not answer.
Bmc IdentifyBmc(const Session& session);

/// Reads the whole repository with a run of the tool, `tarvek -backup`, in a directory of its own
/// with a hardware list that has this machine's product alone. Tries twice.
/// @param failure  receives why it failed.
/// @return what is served; absent when it could not be read.
/// @throws Stop  interrupted.
std::optional<Served> ReadServed(const Session& session, const Bmc& bmc, ReadFailure* failure);

/// Keeps what was read for `tarvekctl status`.
/// @param programmed  the set is what a good run left.
void RememberServed(const Session& session, const Bmc& bmc, const Served& served, bool programmed);

/// Keeps that the BMC could not be read.
void RememberUnreadable(const Session& session);

/// Waits until a program has ended. The first interrupt becomes one TERM to it.
/// @param each  called at least once a second; whether it is to be waited for any longer.
/// @return how it ended; absent when it was not waited for.
std::optional<ChildEnd> WaitForChild(const Child& child, const Interrupts* stops, bool* interrupted,
                                     const std::function<bool()>& each);

/// The first numbered error that a log of the tool tells.
std::optional<NumberedError> FirstError(const std::string& log);

}  // namespace tarvek::control
