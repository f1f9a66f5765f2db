// Leading a run, or following one that another program leads.
#pragma once

#include <optional>
#include <string>

#include "control/engine/session.h"
#include "control/runs/run_store.h"

namespace tarvek::control {

/// Keeps other commands of tarvekctl away from the BMC while it lives.
class BmcLock {
 public:
  /// Takes it when it is free.
  /// @param run  the id of the run that it is for; empty: something that only reads.
  static std::optional<BmcLock> Try(const RunStore& store, const std::string& run);

 private:
  explicit BmcLock(Descriptor held) : held_(std::move(held)) {}
  Descriptor held_;
};

/// A run that this program leads.
struct Led {
  Run run;
  Descriptor lead;
  Request request;
};

/// The command that asks for the same, with its files by their whole names, for people to type;
/// escaped.
std::string CommandOf(const Session& session, const Request& request);

/// Does all of a run whose copies are in place, and leaves its result there. Needs the BMC's lock.
Result LeadRun(const Session& session, const Led& led);

/// Leaves a run's result there, and adds its id and its log to it.
void EndRun(const Session& session, const Run& run, Result* result);

/// Takes over a run whose leader is gone: waits until its program has ended, reads the BMC, and
/// leaves the result there. Interrupts end only the waiting.
/// @throws Stop  interrupted; the run goes on.
Result AdoptRun(const Session& session, const Run& run);

/// Follows a run that another program leads until it has ended; takes it over when nobody leads it
/// any more.
/// @return absent when the run is gone: who made it found that it is not to be, and changed
/// nothing.
/// @throws Stop  interrupted; the run goes on.
std::optional<Result> FollowWhileThere(const Session& session, const Run& run);
/// The same of a run that is known to have been there.
/// @throws Stop  also when the run is gone.
Result FollowRun(const Session& session, const Run& run);

/// The run for which another program holds the BMC's lock; absent when it only reads.
std::optional<Run> RunWithLock(const RunStore& store);

/// A run that goes on without holding the BMC's lock: its leader is gone while its program runs, or
/// a service was asked to lead it. Needs the BMC's lock.
std::optional<Run> RunWithoutLock(const RunStore& store, const std::string& mine);

/// Says of a run that another program is to lead it, which is given the lead: as long as somebody
/// has that, the run goes on.
void HandOver(const Run& run);
/// The same of a service, which takes the lead when it comes, within a minute.
void HandOverToService(const Run& run);

/// Whether nobody leads a run that has no result, and its program has ended: it goes on no more.
/// @throws SystemError  when its files cannot be read.
bool WasLeft(const Run& run);
/// Gives a result to each run that nobody leads and whose program has ended. Needs the BMC's lock.
void SettleRuns(const Session& session, const std::string& mine);

}  // namespace tarvek::control
