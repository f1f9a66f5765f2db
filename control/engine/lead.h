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
  static std::optional<BmcLock> Try(const RunStore& store);

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

/// Does all of a run whose copies are in place, and leaves its result there.
/// @param lock  given back before the result is told.
Result LeadRun(const Session& session, const Led& led);

/// Takes over a run whose leader is gone: waits until its program has ended, reads the BMC, and
/// leaves the result there. Interrupts end only the waiting.
/// @throws Stop  interrupted; the run goes on.
Result AdoptRun(const Session& session, const Run& run);

/// Follows a run that another program leads until it has ended; takes it over when nobody leads it
/// any more.
/// @throws Stop  interrupted; the run goes on.
Result FollowRun(const Session& session, const Run& run);

/// The run that is going on now: led by another program, or without a leader while its program
/// runs.
/// @param mine  a run that does not count; empty: none.
std::optional<Run> RunGoingOn(const RunStore& store, const std::string& mine);

/// Gives a result to each run that nobody leads and whose program has ended. Needs the BMC's lock.
void SettleRuns(const Session& session, const std::string& mine);

/// Removes what commands that were killed left behind. Needs the BMC's lock.
void SweepScratch(const RunStore& store);

}  // namespace tarvek::control
