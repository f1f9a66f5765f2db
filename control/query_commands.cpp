// `doctor`, `status`, `backup`, and what tells of runs.
#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>

#include "control/commands.h"
#include "control/doctor/doctor.h"
#include "control/engine/lead.h"
#include "control/engine/lock_gate.h"
#include "control/engine/reading.h"
#include "control/engine/run_files.h"
#include "control/messages/advice.h"
#include "control/runs/machine_state.h"
#include "inspect/text/escape.h"

namespace tarvek::control {
namespace {

using inspect::Escaped;

constexpr int kPause = 100;  // milliseconds
constexpr std::chrono::seconds kPatience{10};
constexpr std::uint32_t kUnspecifiedTime = 0xFFFFFFFF;

template <typename Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json(nullptr);
}

std::string FileName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// ---- status

/// Whether what was read before still holds: the repository's time stamps have not moved.
bool StillHolds(const ServedState& state, const Bmc& bmc) {
  const bool dated = bmc.info.added != kUnspecifiedTime && bmc.info.erased != kUnspecifiedTime;
  return dated && state.product == bmc.device.ProductText() && state.added == bmc.info.added &&
         state.erased == bmc.info.erased && state.records == bmc.info.records;
}

/// Reads what changed since, unless that could come in the way of a run.
/// @return whether the state is up to date now.
bool ReadAnew(const Session& session, const Bmc& bmc) {
  const std::optional<BmcLock> lock = BmcLock::Try(session.store, "");
  if (!lock || RunWithoutLock(session.store, "")) return false;
  SettleRuns(session, "");
  SweepWhenFree(session);
  WaitForFreeLock(session);
  ReadFailure failure;
  const std::optional<Served> served = ReadServed(session, bmc, &failure);
  if (!served && failure.busy) return false;
  if (!served) {
    RememberUnreadable(session);
    Result result =
        Unchanged(session, ExitStatus::kBmcFailed, Outcome::kFailed, failure.what, failure.remedy);
    result.error = failure.error;
    throw Stop(std::move(result));
  }
  RememberServed(session, bmc, *served, false);
  return true;
}

/// Gives runs that were left by their leaders their results.
void SettleLeftRuns(const Session& session) {
  if (session.store.Unfinished().empty()) return;
  if (const std::optional<BmcLock> lock = BmcLock::Try(session.store, "")) SettleRuns(session, "");
}

std::optional<Run> RunUnderWay(const RunStore& store) {
  const std::optional<BmcLock> lock = BmcLock::Try(store, "");
  return lock ? RunWithoutLock(store, "") : RunWithLock(store);
}

/// Takes back what a result says of records that nobody has read.
void TellUnread(Result* result) {
  result->changed.reset();
  result->in_service = InService::kUnknown;
  result->message.state = "What the BMC serves was not read.";
}

/// A run that is under way, in a result of status.
void AddRun(const Run& run, Result* result) {
  TellUnread(result);
  result->run = run.id();
  result->more["percent"] = ReadProgress(run).percent;
}

Result StatusResult(const Session& session, const Bmc& bmc, const std::optional<Run>& run,
                    bool known) {
  const MachineState machine = ReadMachineState(session.store.state());
  const bool told = known && machine.served.has_value();
  Result result =
      Unchanged(session, ExitStatus::kDone, Outcome::kDone,
                run     ? "Run " + run->id() + " is under way."
                : !told ? "The BMC is in use, so its records were not read."
                        : "The BMC serves " + std::to_string(machine.served->records) + " records.",
                run ? "Follow it: tarvekctl wait " + run->id() + "." : "Nothing.");
  if (told) {
    result.version_before = machine.served->version;
    result.version_after = machine.served->version;
  }
  result.more["board"] = bmc.device.ProductText();
  result.more["script"] = told ? OrNull(machine.served->script) : Json(nullptr);
  result.more["driver"] = bmc.driver;
  result.more["percent"] = nullptr;
  result.more["drift"] = told ? OrNull(machine.served->Drift()) : Json(nullptr);
  if (run || !told) TellUnread(&result);
  if (run) AddRun(*run, &result);
  return result;
}

void WriteMetrics(const Session& session, const Options& options) {
  const std::string text = MetricsText(ReadMachineState(session.store.state()));
  constexpr unsigned kForAll = 0644;  // the exporter is no root
  const Directory folder = Directory::Open(FolderOf(options.output));
  const std::string name = FileName(options.output);
  if (folder.HasSpecial(name)) {
    folder.WriteThrough(name, text);  // a pipe or a device takes it as it comes
  } else {
    folder.Write(name, text, kForAll);
  }
}

// ---- backup

/// Waits for readers; a run is not waited for.
BmcLock LockForReading(const Session& session) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    std::optional<BmcLock> lock = BmcLock::Try(session.store, "");
    const std::optional<Run> run =
        lock ? RunWithoutLock(session.store, "") : RunWithLock(session.store);
    if (run) {
      StopInUse(session, "Run " + run->id() + " is under way.",
                "Wait for it: tarvekctl wait " + run->id() + ".");
    }
    if (lock) return std::move(*lock);
    if (std::chrono::steady_clock::now() >= end) {
      StopInUse(session, "Another tarvekctl is reading the BMC.",
                "Run the command again when it has ended.");
    }
    if (WaitFor(-1, session.stops, kPause) == Woken::kInterrupted) StopInterrupted(session);
  }
}

Served ReadOrFail(const Session& session, const Bmc& bmc) {
  ReadFailure failure;
  std::optional<Served> served = ReadServed(session, bmc, &failure);
  if (served) return std::move(*served);
  if (failure.busy) StopInUse(session, failure.what, failure.remedy);
  Result result =
      Unchanged(session, ExitStatus::kBmcFailed, Outcome::kFailed, failure.what, failure.remedy);
  if (failure.too_large) {
    result.status = ExitStatus::kUnfit;
    result.outcome = Outcome::kRefused;
    result.message.what =
        "The BMC serves more than the 32,767 bytes of records that a backup can hold.";
  }
  result.error = failure.error;
  throw Stop(std::move(result));
}

// ---- runs

Run FindRun(const Session& session, const std::string& id) {
  std::optional<Run> run = session.store.Find(id);
  if (run) return std::move(*run);
  Result result =
      Unchanged(session, ExitStatus::kUsage, Outcome::kUsage,
                "There is no run " + Escaped(id) + ".", "See the runs: tarvekctl history.");
  throw Stop(std::move(result));
}

/// What a run was asked to do; nothing where that cannot be read.
Request RequestOf(const Run& run) {
  try {
    return run.ReadRequest();
  } catch (const std::exception&) {
    return {};
  }
}

/// A run that has not ended, as a result.
Result GoingOn(const Session& session, const Run& run) {
  Result result =
      Unchanged(session, ExitStatus::kDone, Outcome::kDone, "Run " + run.id() + " is under way.",
                "Follow it: tarvekctl wait " + run.id() + ".");
  result.changed.reset();
  result.in_service = InService::kUnknown;
  result.message.state = StateSentence(InService::kUnknown, {});
  result.more["percent"] = ReadProgress(run).percent;
  return result;
}

/// A run whose programs have ended without a result, as one.
Result Left(const Session& session, const Run& run) {
  Result result = GoingOn(session, run);
  result.status = ExitStatus::kInterrupted;
  result.outcome = Outcome::kInterrupted;
  result.message.what = "Run " + run.id() + " was left by the programs that it had.";
  result.message.remedy = "Find out what it came to: tarvekctl wait " + run.id() + ".";
  result.more.erase("percent");
  return result;
}

/// A run that had no result just now, as one.
Result Unended(const Session& session, const Run& run, const Request& request) {
  const bool left = WasLeft(run);
  // It may have ended in between.
  if (std::optional<Result> ended = run.ReadResult()) return *std::move(ended);
  Result result = left ? Left(session, run) : GoingOn(session, run);
  if (!request.command.empty()) result.command = request.command;
  result.run = run.id();
  return result;
}

/// What a run came to, or what is known before it has ended, with its input.
Result ResultOf(const Session& session, const Run& run) {
  const Request request = RequestOf(run);
  std::optional<Result> ended = run.ReadResult();
  Result result = ended ? *std::move(ended) : Unended(session, run, request);
  result.more["input"] = request.input;
  return result;
}

}  // namespace

Result RunDoctor(const Options& options, const Interrupts& interrupts) {
  DoctorOptions asked;
  asked.tool = options.tool;
  asked.state_directory = options.state_directory;
  if (!options.boards.empty()) asked.boards = options.boards;
  Result result;
  result.command = options.command;
  Json findings = Json::array();
  const Finding* first = nullptr;
  const std::vector<Finding> found = Examine(asked, &interrupts);
  for (const Finding& finding : found) {
    if (first == nullptr && finding.gravity == Gravity::kProblem) first = &finding;
    findings.push_back({{"subject", finding.subject},
                        {"gravity", GravityName(finding.gravity)},
                        {"sentence", finding.sentence},
                        {"remedy", finding.remedy},
                        {"command", finding.command}});
  }
  result.more["findings"] = std::move(findings);
  result.message = {"Nothing is missing on this machine.",
                    std::string(StateSentence(InService::kPrevious, false)), "Nothing."};
  if (interrupts.Count() > 0) {
    result.status = ExitStatus::kInterrupted;
    result.outcome = Outcome::kInterrupted;
    result.message.what = "The examination was interrupted: there may be more to find.";
    result.message.remedy = "Run it again: " + options.again + ".";
  } else if (first != nullptr) {
    const bool bmc = first->subject == "bmc";
    result.status = bmc ? ExitStatus::kBmcFailed : ExitStatus::kUnfit;
    result.outcome = bmc ? Outcome::kFailed : Outcome::kRefused;
    result.message.what = Escaped(first->sentence);
    result.message.remedy = Escaped(first->remedy);
  }
  return result;
}

Result RunStatus(const Session& session, const Options& options) {
  if (!options.format.empty()) {
    Result result = Unchanged(session, ExitStatus::kDone, Outcome::kDone, "", "");
    if (options.output.empty()) {
      result.more["metrics"] = MetricsText(ReadMachineState(session.store.state()));
    } else {
      WriteMetrics(session, options);
    }
    return result;
  }
  const std::optional<Run> run = RunUnderWay(session.store);
  Bmc bmc;
  try {
    bmc = IdentifyBmc(session);
  } catch (const Stop& stop) {
    if (stop.result.outcome != Outcome::kInterrupted) RememberUnreadable(session);
    if (!run) throw;
    Result result = stop.result;  // a BMC that erases may not answer
    AddRun(*run, &result);
    throw Stop(std::move(result));
  }
  if (!run) SettleLeftRuns(session);
  const MachineState machine = ReadMachineState(session.store.state());
  bool known = machine.served && StillHolds(*machine.served, bmc);
  if (!known && !run) known = ReadAnew(session, bmc);
  return StatusResult(session, bmc, run, known);
}

Result RunBackup(const Session& session, const Options& options) {
  const std::string name = FileName(options.input);
  if (name.empty() || name == "." || name == "..") {
    Refuse(session, ExitStatus::kBadInput, Escaped(options.input) + " is no name of a file.",
           "Name a new file.");
  }
  const Directory folder = Directory::Open(FolderOf(options.input));
  if (!options.overwrite && folder.Has(name)) {
    Refuse(session, ExitStatus::kBadInput, Escaped(options.input) + " exists already.",
           "Name a new file, or replace it: --overwrite.");
  }
  if (folder.HasSpecial(name)) {
    Refuse(session, ExitStatus::kBadInput, Escaped(options.input) + " is no regular file.",
           "Name a new file.");
  }
  // cppcheck-suppress unreadVariable; it is held while it lives
  const BmcLock lock = LockForReading(session);
  SettleRuns(session, "");
  SweepWhenFree(session);
  WaitForFreeLock(session);
  const Bmc bmc = IdentifyBmc(session);
  if (bmc.info.records == 0) {
    throw Stop(Unchanged(session, ExitStatus::kNothing, Outcome::kNothing,
                         "The BMC's repository is empty: there is nothing to save.", "Nothing."));
  }
  const Served first = ReadOrFail(session, bmc);
  const Served second = ReadOrFail(session, bmc);
  if (first.records != second.records) {
    FailUnchanged(session, "Two readings of the BMC's records gave different bytes.",
                  "See that nothing else writes to the BMC, then run the command again.");
  }
  if (options.overwrite) {
    folder.WriteDurably(name, second.image);
  } else {
    folder.WriteNew(name, second.image);
  }
  if (folder.Read(name) != second.image) {
    throw SystemError(options.input, "does not hold what was written", EIO);
  }
  RememberServed(session, bmc, second, false);
  Result result =
      Unchanged(session, ExitStatus::kDone, Outcome::kDone,
                std::to_string(second.records.size()) + " records were saved to " +
                    Escaped(options.input) + ", read twice and compared.",
                "Bring them back some day: tarvekctl restore " + Escaped(options.input) + ".");
  result.version_before = second.version;
  result.version_after = second.version;
  result.backup = AbsolutePath(options.input);
  return result;
}

Result RunHistory(const Session& session) {
  Json runs = Json::array();
  for (const std::string& id : session.store.Ids()) {
    const std::optional<Run> run = session.store.Find(id);
    if (!run) continue;
    try {
      runs.push_back(ResultJson(ResultOf(session, *run)));
    } catch (const std::exception&) {
      continue;  // it is being removed
    }
  }
  Result result = Unchanged(session, ExitStatus::kDone, Outcome::kDone,
                            std::to_string(runs.size()) + " runs.", "Nothing.");
  result.more["runs"] = std::move(runs);
  return result;
}

Result RunShow(const Session& session, const Options& options) {
  return ResultOf(session, FindRun(session, options.input));
}

Result RunWait(const Session& session, const Options& options) {
  return FollowRun(session, FindRun(session, options.input));
}

}  // namespace tarvek::control
