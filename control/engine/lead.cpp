#include "control/engine/lead.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>

#include "control/engine/conclusion.h"
#include "control/engine/examination.h"
#include "control/engine/lock_gate.h"
#include "control/engine/run_files.h"
#include "control/runs/machine_state.h"
#include "control/system/child.h"
#include "control/system/shell_word.h"
#include "control/system/watch.h"
#include "inspect/text/escape.h"

namespace tarvek::control {
namespace {

constexpr const char* kLogDirectory = "/var/log/tarvek";
constexpr unsigned kLogMode = 0700;
constexpr const char* kLock = "lock";
constexpr const char* kBallast = "ballast";
constexpr const char* kHanded = "handed";
constexpr const char* kWithLead = "with its lead";
constexpr std::size_t kBallastBytes = std::size_t{1} << 20U;
constexpr int kSecond = 1000;     // milliseconds
constexpr long kHandedOver = 60;  // seconds until a service that was started leads its run

/// Adds a line to the log of all runs. It is there for people: a run without it is a run all the
/// same.
void Log(const Session& session, const Result& result) {
  if (!session.store.IsDefault()) return;
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  localtime_r(&now, &parts);
  constexpr std::size_t kTextSize = 64;
  std::array<char, kTextSize> time{};
  std::strftime(time.data(), time.size(), "%Y-%m-%dT%H:%M:%S%z", &parts);
  std::string what = result.message.what;
  std::replace(what.begin(), what.end(), '\n', ' ');
  const std::string line = std::string(time.data()) + ' ' + result.run.value_or("-") + ' ' +
                           result.command + ' ' + OutcomeName(result.outcome) + ' ' +
                           std::to_string(static_cast<int>(result.status)) + ' ' +
                           InServiceName(result.in_service) + ": " + what + '\n';
  const Descriptor log = Directory::OpenOrMake(kLogDirectory, kLogMode).Append("tarvekctl.log");
  if (write(log.get(), line.data(), line.size()) < 0) return;
}

/// Saves what is served: read a second time, so that what is kept is what both readings gave.
std::string SaveBackup(const Session& session, const Run& run, const Examination& found) {
  SavePhase(run, "saving", 0);
  session.sink.Show(ReadProgress(run));
  ReadFailure failure;
  const std::optional<Served> again = ReadServed(session, found.bmc, &failure);
  if (!again && failure.busy) StopInUse(session, failure.what, failure.remedy);
  if (!again) FailUnchanged(session, failure.what, failure.remedy);
  if (again->records != found.served->records) {
    FailUnchanged(session, "Two readings of the BMC's records gave different bytes.",
                  "See that nothing else writes to the BMC, then run the command again: " +
                      session.again + ".");
  }
  const std::string name = run.id() + ".BAK";
  session.store.backups().WriteNew(name, again->image);
  return session.store.backups().PathOf(name);
}

Plan PlanOf(const Examination& found) {
  Plan plan;
  plan.input = found.input.records;
  if (found.served) {
    plan.before = found.served->records;
    plan.version_before = found.served->version;
    if (!found.input.compares_only) {
      plan.difference = DifferenceTextOf(*found.served, found.input, false);
    }
  }
  plan.version_input = found.input.version;
  plan.arguments = found.arguments;
  plan.compares_only = found.input.compares_only;
  return plan;
}

/// Whether the tool was ended before its time, by what is known of its end.
bool WasInterrupted(const ChildEnd& end, const Run& run) {
  // The tool ends with a signal's number when one ends it; its result stays at "OK" then.
  return end.signal != 0 || ResultCode(run) == "OK";
}

/// Shows how far a run is. What is only shown stops nothing.
void Show(const Session& session, const Run& run) {
  try {
    session.sink.Show(ReadProgress(run));
  } catch (const std::exception&) {
    return;
  }
}

/// How far a run has come.
struct Come {
  Plan plan;             // empty until the machine was examined
  bool started = false;  // the tool, to write
};

/// Runs the tool to write. From its start on, the run is in other programs' hands too.
Result Program(const Session& session, const Led& led, int seconds, Come* come) {
  const Plan& plan = come->plan;
  const Run& run = led.run;
  const Directory work = run.Work();
  session.reading.Clear();
  // Room for what is to be written when the run has ended, whatever fills the disk until then.
  run.directory().Reserve(kBallast, kBallastBytes);
  const Descriptor output = run.directory().Append("output");
  SavePhase(run, "programming", seconds);
  SavePlan(run, plan);
  const Child child =
      Child::Start(led.request.tool, plan.arguments, work, output.get(), session.interrupts);
  come->started = true;
  bool interrupted = false;
  const ChildEnd end = WaitForChild(child, session.stops, &interrupted, [&] {
                         Show(session, run);
                         return true;
                       }).value();
  run.directory().Remove(kBallast);
  if (end.signal != 0) NoteKilled(work);
  return VerifyRun(session, run, plan, interrupted || WasInterrupted(end, run));
}

/// @throws Stop  before the tool was started to write; SystemError, at any time.
Result Go(const Session& session, const Led& led, Come* come) {
  const Run& run = led.run;
  const Directory work = run.Work();
  SavePhase(run, "checking", 0);
  session.sink.Show(ReadProgress(run));
  const Examination found = Examine(session, led.request, work);
  come->plan = PlanOf(found);
  if (led.request.keep_backup && found.served && !found.served->records.empty() &&
      !found.input.compares_only) {
    come->plan.backup = SaveBackup(session, run, found);
  }
  // From here on INT and TERM are the tool's.
  if (session.interrupts.Count() > 0) StopInterrupted(session);
  return Program(session, led, found.seconds, come);
}

Result Killed(const Session& session) {
  return Unchanged(session, ExitStatus::kInterrupted, Outcome::kInterrupted,
                   "The program that led the run was killed before anything was written.",
                   "Run it again: " + session.again + ".");
}

/// A result of which nobody knows what the BMC serves.
Result Unknown(const Session& session, std::string what, std::string state, std::string remedy) {
  Result result;
  result.command = session.command;
  result.status = ExitStatus::kInterrupted;
  result.outcome = Outcome::kFailed;
  result.changed.reset();
  result.in_service = InService::kUnknown;
  result.message = {std::move(what), std::move(state), std::move(remedy)};
  return result;
}

Result Lost(const Session& session, const std::string& what) {
  return Unknown(session, what, "What the BMC serves is not known.",
                 "See what it serves: tarvekctl status.");
}

/// What a run without a leader came to, by what it left.
Result ResultLeft(const Session& session, const Run& run) {
  try {
    const std::optional<Plan> plan = ReadPlan(run);
    if (!plan) return Killed(session);
    // A run that nobody saw end, and that has no last word, was killed.
    const std::string code = ResultCode(run);
    return VerifyRun(session, run, *plan, code.empty() || code == "OK");
  } catch (const std::exception& error) {
    return Lost(session, "The run was killed, and what it left cannot be read: " +
                             inspect::Escaped(error.what()) + ".");
  }
}

/// Ends a run without a leader, once its program has ended.
Result Settle(const Session& session, const Run& run) {
  Session its = session;
  its.command = "update";
  try {
    const Request request = run.ReadRequest();
    its.command = request.command;
    its.tool = request.tool;
    its.again = CommandOf(its, request);
  } catch (const std::exception&) {
    // Its words are missing, no more.
  }
  Result result = ResultLeft(its, run);
  EndRun(its, run, &result);
  return result;
}

/// What a run came to that something unforeseen has ended; its tool, if it was started, too.
Result AfterFailure(const Session& session, const Run& run, const Come& come,
                    const std::string& what) {
  if (!come.started) {
    return Unchanged(session, ExitStatus::kUnfit, Outcome::kRefused, what + ".",
                     "Make room or give rights there: tarvekctl doctor.");
  }
  try {
    return VerifyRun(session, run, come.plan, true);
  } catch (const std::exception&) {
    return Lost(session, what + ".");
  }
}

[[noreturn]] void StopWaiting(const Session& session, const Run& run) {
  Result result = Unknown(session, "Waiting was interrupted.", "Run " + run.id() + " goes on.",
                          "Wait for it again: tarvekctl wait " + run.id() + ".");
  result.outcome = Outcome::kInterrupted;
  result.run = run.id();
  throw Stop(std::move(result));
}

/// Whether another program is to lead the run, and has not come yet.
bool IsHandedOver(const Run& run) {
  const std::optional<std::string> text = run.directory().Read(kHanded);
  if (text == kWithLead) return !run.TakeLead();
  long since = 0;
  if (!text ||
      std::from_chars(text->data(), text->data() + text->size(), since).ec != std::errc()) {
    return false;
  }
  const long passed = std::time(nullptr) - since;
  return passed >= 0 && passed < kHandedOver;
}

/// The lead of a run that nobody leads, and whose program has ended without a result; empty for
/// every other run.
Descriptor LeadOfLeft(const Run& run) {
  if (IsHandedOver(run)) return Descriptor();
  Descriptor lead = run.TakeLead();
  const bool goes_on = !lead || run.directory().Has(Run::kResult) || Child::FindIn(run.Work());
  return goes_on ? Descriptor() : std::move(lead);
}

}  // namespace

std::optional<BmcLock> BmcLock::Try(const RunStore& store, const std::string& run) {
  Descriptor held = store.state().TryLock(kLock);
  if (!held) return std::nullopt;
  // Who it is for is told to others; where it cannot be, they take it for a reader's, and wait.
  if (ftruncate(held.get(), 0) != 0 || pwrite(held.get(), run.data(), run.size(), 0) < 0) {
    return BmcLock(std::move(held));
  }
  return BmcLock(std::move(held));
}

std::string CommandOf(const Session& session, const Request& request) {
  const bool restore = request.command == "restore";
  const std::pair<bool, const char*> flags[] = {
      {request.force && !restore, " --force"},
      {request.reprogram, " --reprogram"},
      {request.allow_findings && !restore, " --allow-findings"},
      {!request.keep_backup, " --no-backup"},
      {request.break_lock, " --break-lock"}};
  std::string command = "tarvekctl " + request.command;
  if (!session.store.IsDefault()) {
    command += " --state-dir " + ShellWord(session.store.state().path());
  }
  for (const auto& [given, flag] : flags) {
    if (given) command += flag;
  }
  if (!request.boards.empty()) command += " --boards " + ShellWord(request.boards);
  return inspect::Escaped(command + ' ' + ShellWord(request.input));
}

// Where the disk is full, or the run's directory was removed, the run stays open; the next command
// that finds it gives it its result.
void EndRun(const Session& session, const Run& run, Result* result) {
  result->run = run.id();
  run.directory().Remove(kBallast);
  ChangeMachineState(session.store.state(), [&](MachineState* machine) {
    machine->running.reset();
    machine->last = {run.id(), static_cast<int>(result->status), std::time(nullptr)};
  });
  try {
    if (run.Work().Has("tarvek.log")) result->log = run.LogPath();
    run.Save(*result);
    Log(session, *result);
  } catch (const std::exception&) {
    return;
  }
}

Result LeadRun(const Session& session, const Led& led) {
  Result result;
  Come come;
  led.run.directory().Remove(kHanded);
  ChangeMachineState(session.store.state(),
                     [&](MachineState* machine) { machine->running = led.run.id(); });
  try {
    result = Go(session, led, &come);
  } catch (const Stop& stop) {
    result = stop.result;
  } catch (const std::exception& error) {
    result = AfterFailure(session, led.run, come, inspect::Escaped(error.what()));
  }
  if (!come.started && come.plan.before) {
    // What was found out and saved before it ended.
    result.version_before = come.plan.version_before;
    if (result.in_service == InService::kPrevious) result.version_after = result.version_before;
    result.backup = come.plan.backup;
  }
  EndRun(session, led.run, &result);
  return result;
}

Result AdoptRun(const Session& session, const Run& run) {
  while (const std::optional<Child> child = Child::FindIn(run.Work())) {
    session.sink.Show(ReadProgress(run));
    if (WaitFor(child->pidfd(), session.stops, kSecond) == Woken::kInterrupted) {
      StopWaiting(session, run);
    }
  }
  return Settle(session, run);
}

namespace {

[[noreturn]] void StopAtRemoved(const Session& session, const Run& run) {
  Result result =
      Unknown(session, "Run " + run.id() + " was removed.", "What the run did is not known.",
              "See what the BMC serves: tarvekctl status.");
  result.run = run.id();
  throw Stop(std::move(result));
}

/// @return absent when the run was removed.
std::optional<Result> Follow(const Session& session, const Run& run) {
  Watch watch;
  watch.Add(run.directory());
  watch.Add(run.Work());
  for (;;) {
    if (std::optional<Result> result = run.ReadResult()) return result;
    if (!session.store.Find(run.id())) return std::nullopt;
    if (!IsHandedOver(run)) {
      const Descriptor lead = run.TakeLead();
      std::optional<BmcLock> lock;
      if (lead) lock = BmcLock::Try(session.store, run.id());
      // Another may have led it to its end in between, or removed it.
      const bool open = lock && !run.directory().Has(Run::kResult);
      if (open && session.store.Find(run.id())) return AdoptRun(session, run);
    }
    session.sink.Show(ReadProgress(run));
    if (WaitFor(watch.fd(), session.stops, kSecond) == Woken::kInterrupted) {
      StopWaiting(session, run);
    }
    watch.Drain();
  }
}

}  // namespace

std::optional<Result> FollowWhileThere(const Session& session, const Run& run) {
  try {
    std::optional<Result> result = Follow(session, run);
    // One that has come to an end is not to be done again, though it was removed since.
    const MachineState machine = ReadMachineState(session.store.state());
    if (!result && machine.last && machine.last->id == run.id()) StopAtRemoved(session, run);
    return result;
  } catch (const Stop&) {
    throw;
  } catch (const std::exception& error) {
    if (!session.store.Find(run.id())) return std::nullopt;
    Result result = Unknown(
        session, "Run " + run.id() + " cannot be followed: " + inspect::Escaped(error.what()) + ".",
        "What the run does is not known.", "See what the BMC serves: tarvekctl status.");
    result.run = run.id();
    throw Stop(std::move(result));
  }
}

Result FollowRun(const Session& session, const Run& run) {
  if (const std::optional<Result> result = FollowWhileThere(session, run)) return *result;
  StopAtRemoved(session, run);
}

std::optional<Run> RunWithLock(const RunStore& store) {
  const std::string id = store.state().Read(kLock).value_or("");
  std::optional<Run> run = store.Find(id);
  if (run && run->directory().Has(Run::kResult)) run.reset();
  return run;
}

std::optional<Run> RunWithoutLock(const RunStore& store, const std::string& mine) {
  for (Run& run : store.Unfinished()) {
    if (run.id() == mine) continue;
    try {
      // Those that are led wait for the lock themselves.
      if (IsHandedOver(run) || (run.TakeLead() && Child::FindIn(run.Work()))) {
        std::optional<Run> found(std::move(run));
        return found;
      }
    } catch (const SystemError&) {
      continue;  // it is being made, or removed
    }
  }
  return std::nullopt;
}

void HandOver(const Run& run) { run.directory().Write(kHanded, kWithLead); }

void HandOverToService(const Run& run) {
  run.directory().Write(kHanded, std::to_string(std::time(nullptr)));
}

bool WasLeft(const Run& run) { return static_cast<bool>(LeadOfLeft(run)); }

void SettleRuns(const Session& session, const std::string& mine) {
  for (const Run& run : session.store.Unfinished()) {
    if (run.id() == mine) continue;
    try {
      if (const Descriptor lead = LeadOfLeft(run)) Settle(session, run);
    } catch (const SystemError&) {
      continue;  // it is being made, or removed
    }
  }
}

}  // namespace tarvek::control
