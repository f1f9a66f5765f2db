// The program's commands. Each returns what it came to; those that end early throw Stop.
#pragma once

#include "control/contract/result.h"
#include "control/engine/session.h"
#include "control/options.h"

namespace tarvek::control {

Result RunDoctor(const Options& options, const Interrupts& interrupts);
Result RunStatus(const Session& session, const Options& options);
Result RunPlan(const Session& session, const Options& options);
/// `update` and `restore`.
Result RunUpdate(const Session& session, const Options& options);
Result RunResume(const Session& session, const Options& options);
Result RunBackup(const Session& session, const Options& options);
Result RunHistory(const Session& session);
Result RunShow(const Session& session, const Options& options);
Result RunWait(const Session& session, const Options& options);

}  // namespace tarvek::control
