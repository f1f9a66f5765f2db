// `plan`, `update`, `restore`, and what leads a run that was made ready.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>

#include "control/commands.h"
#include "control/engine/examination.h"
#include "control/engine/lead.h"
#include "control/engine/lock_gate.h"
#include "control/messages/advice.h"
#include "control/system/child.h"
#include "inspect/text/escape.h"

namespace tarvek::control {
namespace {

constexpr int kPause = 100;  // milliseconds
constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::seconds kResumePatience{60};
constexpr int kServiceStart = 20000;  // milliseconds

/// Whether INPUT is a backup that goes back.
bool IsRestore(const Options& options) {
  return options.verb == Verb::kRestore || options.as_restore;
}

Request RequestOf(const Options& options) {
  Request request;
  request.command = options.command;
  request.input = options.input;
  request.tool = options.tool;
  const bool restore = IsRestore(options);
  request.force = options.force || restore;
  request.reprogram = options.reprogram;
  request.allow_findings = options.allow_findings || restore;
  request.keep_backup = !options.no_backup;
  request.break_lock = options.break_lock;
  request.boards = AbsolutePath(options.boards);
  request.listed = !restore || !options.boards.empty();
  request.keep = options.keep;
  request.began = std::time(nullptr);
  return request;
}

/// Copies what the request needs.
void CopyFiles(const Session& session, const Options& options, const Directory& work,
               Request* request) {
  request->digest = CopyInput(session, options.input, work);
  if (IsRestore(options) && !work.Has("input.BIN")) {
    Refuse(session, ExitStatus::kBadInput, inspect::Escaped(options.input) + " is no backup image.",
           "Program it as INPUT: tarvekctl update " + inspect::Escaped(options.input) + ".");
  }
  if (request->listed) CopyBoards(session, options.boards, options.input, work);
  work.Make("ZetaInfo.xml", "");
}

bool SameInput(const Run& run, const Request& request) {
  try {
    const Request other = run.ReadRequest();
    return other.digest == request.digest && other.command == request.command;
  } catch (const std::exception&) {
    return false;
  }
}

/// The BMC's lock, or a run of the same INPUT that is under way.
struct Way {
  std::optional<BmcLock> lock;
  std::optional<Run> under_way;
};

/// Waits for readers, not for runs.
/// @throws Stop  busy: another run is under way.
Way FindWay(const Session& session, const std::string& mine, const Request& request,
            std::chrono::seconds patience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  for (;;) {
    Way way;
    way.lock = BmcLock::Try(session.store, mine);
    std::optional<Run> other =
        way.lock ? RunWithoutLock(session.store, mine) : RunWithLock(session.store);
    if (way.lock && !other) return way;
    if (other && other->id() != mine) {
      way.lock.reset();
      if (!SameInput(*other, request)) {
        StopInUse(session, "Run " + other->id() + " is under way.",
                  "Wait for it: tarvekctl wait " + other->id() + ".");
      }
      way.under_way = std::move(other);
      return way;
    }
    if (std::chrono::steady_clock::now() >= end) {
      StopInUse(session, "Another tarvekctl is reading the BMC.",
                "Run the command again when it has ended.");
    }
    if (WaitFor(-1, session.stops, kPause) == Woken::kInterrupted) StopInterrupted(session);
  }
}

/// Whether systemd runs this machine and could lead the run: it would not see a simulated BMC, and
/// knows only the default places.
bool ServiceFits(const Session& session, const Options& options) {
  return access("/run/systemd/system", F_OK) == 0 && std::getenv("BMCSIM_STATE") == nullptr &&
         session.store.state().path() == kDefaultStateDirectory &&
         options.self == "/usr/sbin/tarvekctl";
}

/// What is said of a run that goes on without this command.
Result GoesOn(const Session& session, const std::string& id, const std::string& what) {
  Result result = Unchanged(session, ExitStatus::kDone, Outcome::kDone, what,
                            "Wait for it: tarvekctl wait " + id + ".");
  result.run = id;
  result.changed.reset();
  result.in_service = InService::kUnknown;
  result.message.state = StateSentence(InService::kUnknown, {});
  return result;
}

/// Lets the run go on by itself.
Result Detach(const Session& session, const Options& options, Led* led) {
  const std::string& id = led->run.id();
  bool started = false;
  if (ServiceFits(session, options)) {
    HandOverToService(led->run);
    led->lead.Close();
    const std::string unit = "tarvek-update@" + id + ".service";
    started = RunQuietly("/usr/bin/systemctl", {"start", "--no-block", unit}, session.interrupts,
                         kServiceStart) == 0;
    if (!started) {
      led->lead = led->run.TakeLead();
      // The service has come all the same: it was only slow to be started.
      started = !led->lead;
      if (!started) HandOver(led->run);
    }
  }
  if (!started) {
    StartDetached(options.self,
                  {"--state-dir", session.store.state().path(), "resume", id, "--lead", "3"},
                  led->lead.get(), session.interrupts);
  }
  return GoesOn(session, id, "Run " + id + " goes on by itself.");
}

/// Removes old runs, if that can be: the run that has ended is not changed by it.
void Prune(const RunStore& store, std::size_t keep) {
  try {
    store.Prune(keep);
  } catch (const std::exception&) {
    return;
  }
}

/// A run that has not been led yet, and goes when it is not.
class NewRun {
 public:
  NewRun(const Session& session, Request request)
      : store_(session.store), led_{session.store.New(&lead_), Descriptor(), std::move(request)} {
    led_.lead = std::move(lead_);
  }
  ~NewRun() {
    if (!kept_) store_.Remove(led_.run.id());
  }
  NewRun(const NewRun&) = delete;
  NewRun& operator=(const NewRun&) = delete;

  Led& led() { return led_; }
  void Keep() { kept_ = true; }

 private:
  const RunStore& store_;
  Descriptor lead_;
  Led led_;
  bool kept_ = false;
};

/// What an update with a script that only compares would say.
void PlanComparison(const Examination& found, Result* result) {
  result->status = ExitStatus::kNothing;
  result->outcome = Outcome::kNothing;
  result->message.what = "The script only compares: an update with it writes nothing.";
  result->message.remedy = "Nothing.";
  if (!found.served) {
    result->status = ExitStatus::kInterrupted;
    result->outcome = Outcome::kFailed;
    result->changed.reset();
    result->in_service = InService::kUnknown;
    result->message.what = "What the BMC serves does not fit in an image, so it was not compared.";
    result->message.state = StateSentence(InService::kUnknown, {});
    return;
  }
  const auto& files = found.input.set.files;
  result->differs = std::any_of(files.begin(), files.end(), [&](const auto& file) {
    return RecordsOf(file.compared) != found.served->records;
  });
  if (*result->differs) {
    result->status = ExitStatus::kBmcFailed;
    result->outcome = Outcome::kFailed;
    result->message.what = "The BMC does not serve the records that the script compares.";
    result->message.remedy = "Program them: tarvekctl update with a file of them.";
  } else {
    result->in_service = InService::kInput;
    result->message.what = "The BMC serves the records that the script compares.";
    result->message.state = StateSentence(InService::kInput, false);
  }
}

}  // namespace

Result RunPlan(const Session& session, const Options& options) {
  Request request = RequestOf(options);
  std::string name;
  const Directory work = session.store.Scratch(&name);
  struct Sweeper {
    const RunStore& store;
    const std::string& name;
    ~Sweeper() { store.RemoveScratch(name); }
  } const sweeper{session.store, name};
  CopyFiles(session, options, work, &request);
  const Way way = FindWay(session, "", request, kPatience);
  if (way.under_way) {
    StopInUse(session, "Run " + way.under_way->id() + " writes this INPUT now.",
              "Wait for it: tarvekctl wait " + way.under_way->id() + ".");
  }
  SettleRuns(session, "");
  const Examination found = Examine(session, request, work);
  const std::string verb = options.as_restore ? "restore" : "update";
  Result result =
      Unchanged(session, ExitStatus::kDone, Outcome::kDone,
                (options.as_restore ? "A " : "An ") + verb + " with INPUT would program it.",
                "Go on: tarvekctl " + verb + " " + inspect::Escaped(options.input) +
                    ", with the same options.");
  if (found.input.compares_only) {
    PlanComparison(found, &result);
  } else {
    result.more["requests"] = found.requests;
    result.more["seconds"] = found.seconds;
  }
  if (found.served) {
    result.version_before = found.served->version;
    result.version_after = found.served->version;
    if (!found.input.compares_only) {
      result.differs = found.served->records != found.input.records;
      if (!*result.differs) {
        result.in_service = InService::kInput;
        result.message.state = StateSentence(InService::kInput, false);
      }
      AddDifference(*found.served, found.input, &result);
    }
  }
  AddVersion(found.input, &result);
  Json findings = Json::array();
  std::string lines;
  for (const inspect::Finding& finding : found.input.findings) {
    findings.push_back(FindingJson(finding, options.input));
    lines += FindingText(finding, options.input) + '\n';
  }
  result.more["findings"] = std::move(findings);
  result.more["findings_text"] = std::move(lines);
  return result;
}

Result RunUpdate(const Session& session, const Options& options) {
  NewRun made(session, RequestOf(options));
  Led& led = made.led();
  CopyFiles(session, options, led.run.Work(), &led.request);
  Request kept = led.request;
  kept.input = AbsolutePath(options.input);
  led.run.Save(kept);
  Way way = FindWay(session, led.run.id(), led.request, kPatience);
  while (way.under_way) {
    const std::string id = way.under_way->id();
    if (options.detach) return GoesOn(session, id, "Run " + id + " writes this INPUT already.");
    if (std::optional<Result> end = FollowWhileThere(session, *way.under_way)) return *end;
    way = FindWay(session, led.run.id(), led.request, kPatience);
  }
  SettleRuns(session, led.run.id());
  SweepWhenFree(session);
  if (options.detach) {
    Examine(session, led.request, led.run.Work());
    HandOver(led.run);
    way.lock.reset();
    Result result = Detach(session, options, &led);
    made.Keep();
    return result;
  }
  made.Keep();
  Result result = LeadRun(session, led);
  Prune(session.store, options.keep);
  return result;
}

Result RunResume(const Session& session, const Options& options) {
  std::optional<Run> run = session.store.Find(options.input);
  if (!run) {
    throw Stop(Unchanged(session, ExitStatus::kUsage, Outcome::kUsage,
                         "There is no run " + inspect::Escaped(options.input) + ".",
                         "See the runs: tarvekctl history."));
  }
  Descriptor lead(options.lead);
  if (!lead || !run->IsLead(lead)) lead = run->TakeLead();
  if (!lead) StopInUse(session, "Run " + run->id() + " is led already.", "Wait for it.");
  if (std::optional<Result> result = run->ReadResult()) return *result;
  Led led{std::move(*run), std::move(lead), {}};
  led.request = led.run.ReadRequest();
  Session its = session;
  its.command = led.request.command;
  its.again = CommandOf(its, led.request);
  its.tool = led.request.tool;
  its.break_lock = led.request.break_lock;
  const Request nobody;  // no run is the same: this one is to be led
  try {
    const Way way = FindWay(its, led.run.id(), nobody, kResumePatience);
    SettleRuns(its, led.run.id());
    Result result = LeadRun(its, led);
    Prune(its.store, led.request.keep);
    return result;
  } catch (Stop& stop) {
    EndRun(its, led.run, &stop.result);
    return stop.result;
  } catch (const std::exception& error) {
    Result result =
        Unchanged(its, ExitStatus::kUnfit, Outcome::kRefused, inspect::Escaped(error.what()) + ".",
                  "Make room or give rights there: tarvekctl doctor.");
    EndRun(its, led.run, &result);
    return result;
  }
}

}  // namespace tarvek::control
