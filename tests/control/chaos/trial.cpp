#include "tests/control/chaos/trial.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "simulator/run_environment.h"
#include "tests/blackbox/call_ledger.h"
#include "tests/blackbox/child_program.h"
#include "tests/control/chaos/bmc.h"
#include "tests/control/chaos/processes.h"
#include "tests/unit/support/lock_name.h"

namespace chaos {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;
using Set = std::vector<std::string>;

constexpr std::chrono::seconds kLimit{60};
constexpr std::chrono::seconds kSoon{5};  // what a tool without its leader may take
constexpr useconds_t kLookAgain = 300;
constexpr const char* kFiller = "filler";

/// A command of tarvekctl that has ended.
struct Ended {
  int status = -1;  // -1: a signal ended it
  int signal = 0;
  bool hung = false;
  Json result;  // null: none
  std::string said;
};

class Trial {
 public:
  Trial(const Scenario& scenario, std::string place)
      : scenario_(scenario), place_(std::move(place)) {}

  Verdict Run() {
    Prepare();
    Command();
    Judge();
    Clean();
    return std::move(verdict_);
  }

 private:
  // ---- what surrounds the command
  void Prepare();
  void WriteTool() const;
  void WriteInputs() const;
  void Clean();
  void Mount(unsigned kib, unsigned long flags) const;
  std::string Path(const std::string& name) const { return place_ + "/" + name; }
  blackbox::Surroundings Around(bool faulty) const;

  // ---- the command, and what comes after it
  void Command();
  Ended Ctl(const Words& words, bool faulty);
  bool Await(pid_t pid, bool strikes);
  void StrikeNow();
  void Signal(int signal, bool leader, bool tool) const;
  void AfterKill();
  pid_t DetachedLeader() const;
  std::string LastRun() const;

  // ---- what must hold
  void Judge();
  void JudgeResult(const Ended& ended);
  void JudgeTruth(const Json& result);
  void JudgeStatus(int status);
  void JudgeQuiet(int status);
  void JudgeBackup(const Json& result);
  void JudgeLock();
  void JudgeState();
  void JudgeUse();
  void Violated(const std::string& what) { verdict_.violations.push_back(what); }
  /// A tool that dies together with its leader, between taking the lock and its first line, leaves
  /// nothing that tells whose the lock is.
  bool LeavesNoTrace() const { return scenario_.strike == Strike::kKillBoth && !scenario_.at_stop; }
  /// Whether nothing was in the way of a second try at reading.
  bool IsKnowable() const {
    const bool confined = scenario_.plan.empty() || scenario_.plan_in != 0;
    return confined && scenario_.failing.empty() && scenario_.disk_kib == 0 &&
           !scenario_.strangers_lock && !replaced_ && !LeavesNoTrace();
  }
  bool MayBe(const Set& set) const { return served_ == set || (replaced_ && kept_ == set); }

  const Scenario& scenario_;
  std::string place_;
  Verdict verdict_;
  Set before_;
  Set input_;
  Set served_;
  Set kept_;  // what was served when somebody else replaced it

  pid_t leader_ = -1;
  Clock::time_point start_;
  bool struck_ = false;
  bool replaced_ = false;
  bool killed_ = false;   // a leader was
  bool unbegun_ = false;  // by a signal that came before it could take any
  bool again_ = false;    // the result is that of a second update
  Ended ended_;
};

std::string Text(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void Trial::Mount(unsigned kib, unsigned long flags) const {
  const std::string options = "size=" + std::to_string(kib) + "k,mode=700";
  if (mount("tmpfs", Path("ctl").c_str(), "tmpfs", flags, options.c_str()) != 0) {
    throw std::runtime_error("no small disk can be mounted");
  }
}

void Trial::Prepare() {
  EndOthers();
  umount2(Path("ctl").c_str(), MNT_DETACH);
  for (const auto& entry : fs::directory_iterator(place_)) fs::remove_all(entry.path());
  tarvek_test::RemoveLock();
  fs::create_directory(Path("work"));
  fs::create_directory(Path("ctl"));
  MakeBmc(Path("bmc"), scenario_.old_set);
  WriteInputs();
  WriteTool();
  before_ = HexOf(scenario_.old_set);
  input_ = HexOf(scenario_.new_set);
  if (scenario_.disk_kib != 0) Mount(scenario_.disk_kib, 0);
  if (scenario_.looked_before) Ctl({"status"}, false);
  if (scenario_.strangers_lock) tarvek_test::TakeLockAsAnotherRun();
}

void Trial::WriteInputs() const {
  const auto write = [&](const std::string& name, const std::string& bytes) {
    std::ofstream(Path("work/" + name), std::ios::binary) << bytes;
  };
  write("mchk_fil", "01a3\n");
  write("new.sdr", SdrText(scenario_.new_set));
  if (scenario_.form == "image") write("new.bak", ImageOf(scenario_.new_set));
  const std::string mode = scenario_.form == "compare" ? " COMPARE LAST" : "";
  write("new.cfg", "CONFIGURATION \"Chaos\"\nSDRNAME new.sdr" + mode + "\n");
}

/// A tool that has the plan and the failing calls in one of its starts alone.
void Trial::WriteTool() const {
  std::string script = "#!/bin/sh\nn=0\nread n <" + Path("starts") + "\nn=$((n + 1))\necho $n >" +
                       Path("starts") + "\nif [ $n = " + std::to_string(scenario_.plan_in) +
                       " ]; then\n";
  if (!scenario_.plan.empty()) script += "export BMCSIM_FAULT='" + scenario_.plan + "'\n";
  if (!scenario_.failing.empty()) {
    script += std::string("export ") + failing_calls::kRulesVariable + "='" + scenario_.failing +
              "' " + failing_calls::kReportVariable + "=" + Path("calls") +
              " LD_PRELOAD=" FAILING_CALLS_LIBRARY ":" BMCSIM_LIBRARY "\n";
  }
  script += "fi\nexec " TARVEK_PROGRAM " \"$@\"\n";
  std::ofstream(Path("tool")) << script;
  std::ofstream(Path("starts")) << "0\n";
  fs::permissions(Path("tool"), fs::perms::owner_all);
}

blackbox::Surroundings Trial::Around(bool faulty) const {
  blackbox::Surroundings around;
  const char* const sanitizer = std::getenv("ASAN_OPTIONS");
  around.environment = {
      {bmcsim::kStateVariable, Path("bmc")},
      {bmcsim::kClockVariable, "virtual"},
      {bmcsim::kOpenIpmiNodeVariable, bmcsim::kDefaultOpenIpmiNode},
      {bmcsim::kFaultVariable, faulty && scenario_.plan_in == 0 ? scenario_.plan : ""},
      {"LD_PRELOAD", BMCSIM_LIBRARY},
      {"ASAN_OPTIONS", (sanitizer == nullptr ? std::string() : std::string(sanitizer) + ":") +
                           "verify_asan_link_order=0"}};
  return around;
}

void Trial::Clean() {
  EndOthers();
  umount2(Path("ctl").c_str(), MNT_DETACH);
  tarvek_test::RemoveLock();
}

// ---- the command

void Trial::Signal(int signal, bool leader, bool tool) const {
  for (const Process& process : OtherProcesses()) {
    const bool is_leader = process.pid == leader_;
    // What tarvekctl does in a copy of itself bears its name.
    const bool is_tool = process.parent == leader_ && process.name != "tarvekctl";
    if ((leader && is_leader) || (tool && is_tool)) kill(process.pid, signal);
  }
}

void Trial::StrikeNow() {
  struck_ = true;
  switch (scenario_.strike) {
    case Strike::kNone:
      return;
    case Strike::kTermLeader:
      return Signal(SIGTERM, true, false);
    case Strike::kIntLeader:
      return Signal(SIGINT, true, false);
    case Strike::kHangupLeader:
      return Signal(SIGHUP, true, false);
    case Strike::kKillLeader:
      return Signal(SIGKILL, true, false);
    case Strike::kTermTwiceLeader:
      Signal(SIGTERM, true, false);
      usleep(kLookAgain);
      return Signal(SIGTERM, true, false);
    case Strike::kTermTool:
      return Signal(SIGTERM, false, true);
    case Strike::kKillTool:
      return Signal(SIGKILL, false, true);
    case Strike::kKillBoth:
      return Signal(SIGKILL, true, true);
    case Strike::kResetBmc:
      return ResetBmc(Path("bmc"));
    case Strike::kReplaceSet:
      kept_ = ServedBy(Path("bmc"));
      replaced_ = true;
      return ReplaceSet(Path("bmc"), scenario_.third_set);
    case Strike::kFillDisk:
      std::ofstream(Path("ctl/") + kFiller) << std::string(std::size_t{8} << 20U, 'x');
      return;
  }
}

/// Waits for a child's end; strikes meanwhile, and lets what has stopped go on.
/// @return false when it hangs.
bool Trial::Await(pid_t pid, bool strikes) {
  const Clock::time_point end = Clock::now() + kLimit;
  const auto delay = std::chrono::microseconds(scenario_.strike_delay);
  const bool stops = scenario_.at_stop;
  strikes = strikes && scenario_.strike != Strike::kNone;
  for (;;) {
    siginfo_t info{};
    if (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0) return true;
    if (info.si_pid == pid) return true;
    if (Clock::now() >= end) return false;
    if (strikes && !struck_ && !stops && Clock::now() - start_ >= delay) StrikeNow();
    if (stops) {
      for (const Process& process : OtherProcesses()) {
        if (process.state != 'T') continue;
        if (strikes && !struck_) StrikeNow();
        kill(process.pid, SIGCONT);
      }
    }
    usleep(kLookAgain);
  }
}

Ended Trial::Ctl(const Words& words, bool faulty) {
  Words all{TARVEKCTL_PROGRAM, "--json", "--state-dir", Path("ctl")};
  if (faulty && scenario_.plan_in != 0) all.insert(all.end(), {"--tool", Path("tool")});
  all.insert(all.end(), words.begin(), words.end());
  const blackbox::Started started = blackbox::StartProgram(all, Path("work"), Around(faulty));
  leader_ = started.pid;
  start_ = Clock::now();
  Ended ended;
  ended.hung = !Await(started.pid, faulty && !scenario_.detach);
  if (ended.hung) EndOthers();
  const blackbox::Outcome outcome = blackbox::WaitFor(started);
  ended.status = outcome.exit_status;
  ended.signal = outcome.signal;
  ended.said = outcome.console + outcome.errors;
  std::istringstream lines(outcome.console);
  for (std::string line; std::getline(lines, line);) {
    Json json = Json::parse(line, nullptr, false);
    if (json.is_discarded() && ended.signal == 0) Violated("no JSON: " + line);
    if (json.is_object() && !json.contains("phase")) ended.result = std::move(json);
  }
  verdict_.evidence += "$ tarvekctl";
  for (const std::string& word : words) verdict_.evidence += ' ' + word;
  verdict_.evidence += "  -> " + std::to_string(ended.status) +
                       (ended.signal != 0 ? " signal " + std::to_string(ended.signal) : "") + '\n' +
                       ended.said;
  if (ended.hung || ended.signal == SIGALRM) Violated("it hangs");
  return ended;
}

pid_t Trial::DetachedLeader() const {
  for (const Process& process : OtherProcesses()) {
    if (process.parent == getpid() && process.name == "tarvekctl") return process.pid;
  }
  return -1;
}

std::string Trial::LastRun() const {
  std::string last;
  if (!fs::exists(Path("ctl/runs"))) return last;
  for (const auto& entry : fs::directory_iterator(Path("ctl/runs"))) {
    const std::string name = entry.path().filename();
    if (name.front() != '.') last = std::max(last, name);
  }
  return last;
}

void Trial::Command() {
  ended_ = Ctl(scenario_.CommandLine(), true);
  verdict_.outcome = ended_.signal != 0 ? "signal" : std::to_string(ended_.status);
  killed_ = ended_.signal == SIGKILL;
  // Before its first instructions, when nothing was begun, any signal ends it.
  unbegun_ = ended_.signal != 0 && LastRun().empty() && ended_.said.empty() && !scenario_.at_stop;
  if (ended_.signal != 0 && !killed_ && !unbegun_) Violated("a signal ended tarvekctl");
  const bool detached = ended_.status == 0 && scenario_.detach &&
                        (scenario_.command == "update" || scenario_.command == "restore");
  if (detached) {
    leader_ = DetachedLeader();
    start_ = Clock::now();
    if (leader_ > 0 && !Await(leader_, true)) Violated("the detached run hangs");
    int status = 0;
    if (leader_ > 0 && waitpid(leader_, &status, 0) == leader_) killed_ = WIFSIGNALED(status);
  }
  if (scenario_.strike == Strike::kFillDisk) fs::remove(Path("ctl/") + kFiller);
  if (detached) {
    const std::string run = ended_.result["run"];
    ended_ = Ctl({"wait", run}, false);
  } else if (killed_) {
    AfterKill();
  }
}

void Trial::AfterKill() {
  const std::string run = LastRun();
  const bool writes = scenario_.command == "update" || scenario_.command == "restore";
  ended_ = {};
  if (!writes || run.empty()) return;
  switch (scenario_.after_kill) {
    case 0:
      ended_ = Ctl({"wait", run}, false);
      return;
    case 1: {
      // Until the tool has ended there is nothing to finish.
      Ctl({"status"}, false);
      const Clock::time_point end = Clock::now() + kSoon;
      while (!fs::exists(Path("ctl/runs/" + run + "/result.json")) && Clock::now() < end) {
        for (const Process& process : OtherProcesses()) {
          if (process.state == 'T') kill(process.pid, SIGCONT);
          if (process.state == 'Z') waitpid(process.pid, nullptr, WNOHANG);
        }
        usleep(kLookAgain);
        if (OtherProcesses().empty()) Ctl({"status"}, false);
      }
      for (const Process& process : OtherProcesses()) {
        verdict_.evidence += "left: " + process.name + ' ' + process.state + '\n';
      }
      ended_ = Ctl({"show", run}, false);
      if (!fs::exists(Path("ctl/runs/" + run + "/result.json")) && !scenario_.strangers_lock) {
        Violated("status does not finish the run");
      }
      return;
    }
    default:
      again_ = true;
      ended_ = Ctl(scenario_.CommandLine(), false);
      if (scenario_.detach && ended_.status == 0) ended_ = Ctl({"wait", LastRun()}, false);
  }
}

// ---- what must hold

void Trial::Judge() {
  served_ = ServedBy(Path("bmc"));
  if (ended_.result.is_object()) JudgeResult(ended_);
  if (!killed_ && !unbegun_ && !ended_.result.is_object()) Violated("no result");
  if (unbegun_ && served_ != before_ && !replaced_) Violated("changed, though nothing was begun");
  JudgeLock();
  JudgeState();
  if (killed_ || scenario_.disk_kib != 0 || scenario_.seed % 8 == 0) JudgeUse();
  if (verdict_.violations.empty()) return;
  const auto show = [&](const std::string& what, const Set& set) {
    verdict_.evidence += what + ":\n";
    for (const std::string& line : set) verdict_.evidence += "  " + line + '\n';
  };
  show("before", before_);
  show("INPUT", input_);
  show("served", served_);
}

void Trial::JudgeResult(const Ended& ended) {
  const Json& result = ended.result;
  const int status = result.at("status");
  if (status != ended.status) Violated("the exit status is not the result's");
  for (const char* const part : {"what", "state", "remedy"}) {
    if (result.at("message").at(part).get<std::string>().empty()) Violated("a sentence is missing");
  }
  if (result.at("changed").is_null() != (result.at("in_service") == "unknown")) {
    Violated("changed is null where it is known, or the other way round");
  }
  if (status == 64) Violated("wrong use");
  // Of a lying BMC nobody can know what it serves.
  if (scenario_.lies) return;
  JudgeTruth(result);
  JudgeStatus(status);
  JudgeBackup(result);
  if (scenario_.IsQuiet()) JudgeQuiet(status);
}

void Trial::JudgeTruth(const Json& result) {
  const std::string in_service = result.at("in_service");
  if (in_service == "input" && !MayBe(input_)) Violated("in_service \"input\" is not true");
  const bool previous = MayBe(before_) || (again_ && MayBe(input_));
  if (in_service == "previous" && !previous) Violated("in_service \"previous\" is not true");
  if (in_service == "unknown" && IsKnowable() && result.at("status") != 5) {
    Violated("in_service \"unknown\" though it could be read");
  }
  const bool other = served_ != before_ && served_ != input_;
  if (in_service == "other" && !other) Violated("in_service \"other\" is not true");
  const Json& changed = result.at("changed");
  if (changed.is_boolean() && !again_ && !replaced_ && changed != (served_ != before_)) {
    Violated("changed is not true");
  }
  const Json& differs = result.at("differs");
  if (differs.is_boolean() && !replaced_ && differs != (served_ != input_)) {
    Violated("differs is not true");
  }
}

void Trial::JudgeStatus(int status) {
  const bool writes = scenario_.command == "update" || scenario_.command == "restore";
  const bool ended = !ended_.result.contains("percent");
  if (writes && ended && status == 0 && !MayBe(input_)) Violated("0 though INPUT is not served");
  const bool nothing = status == 2 || status == 3 || status == 4;
  if (nothing && !again_ && !MayBe(before_)) Violated("refused, or nothing to do, but changed");
  if (!writes && served_ != before_ && !replaced_) Violated("a reading command has changed it");
}

/// Nothing went wrong: the status is what the contract says.
void Trial::JudgeQuiet(int status) {
  const auto version = [](const std::vector<SourceRecord>& set) -> std::string {
    for (const SourceRecord& record : set) {
      const std::string text(record.bytes.begin() + 5, record.bytes.end());
      if (text.size() == 20 && text[3] == 'S') return text.substr(15);
    }
    return "";
  };
  const auto has = [](const std::vector<SourceRecord>& set, bool longs) {
    return std::any_of(set.begin(), set.end(), [&](const SourceRecord& record) {
      return longs ? record.bytes.size() > 64 : record.bytes.size() < 16;
    });
  };
  const bool forced = scenario_.force || scenario_.command == "restore";
  const bool identical = before_ == input_ && !before_.empty();
  int expected = 0;
  if (scenario_.strangers_lock && !scenario_.break_lock) {
    expected = 5;
  } else if (scenario_.command == "status") {
    expected = 0;
  } else if (scenario_.command == "backup") {
    expected = before_.empty() ? 2 : 0;
  } else if (!scenario_.no_backup && has(scenario_.old_set, true) &&
             has(scenario_.old_set, false)) {
    expected = 4;
  } else if (scenario_.form == "compare") {
    expected = before_ == input_ ? 2 : 1;
  } else if (forced) {
    expected = identical && !scenario_.reprogram ? 2 : 0;
  } else if (version(scenario_.new_set).empty()) {
    expected = 3;
  } else if (!before_.empty() && version(scenario_.old_set) >= version(scenario_.new_set)) {
    expected = 2;
  }
  if (status != expected) Violated("nothing went wrong, but not " + std::to_string(expected));
}

void Trial::JudgeBackup(const Json& result) {
  const Json& backup = result.at("backup");
  if (!backup.is_string() || scenario_.command == "status" || again_ || replaced_) return;
  const fs::path path = fs::path(Path("work")) / backup.get<std::string>();
  try {
    if (RecordsInImage(path) != before_) Violated("the backup holds other records");
  } catch (const std::exception& error) {
    Violated(std::string("the backup cannot be read: ") + error.what());
  }
}

void Trial::JudgeLock() {
  if (killed_) return;  // the next command sees to it
  const bool locked = tarvek_test::LockExists();
  if (scenario_.strangers_lock) {
    if (!locked && !scenario_.break_lock) Violated("a stranger's lock was removed");
  } else if (locked && scenario_.failing.empty()) {
    // A tool whose calls fail may leave it, and end as if it had not.
    Violated("a lock is left");
  }
}

void Trial::JudgeState() {
  const bool full = scenario_.disk_kib != 0;
  if (killed_ || full || !fs::exists(Path("ctl/runs"))) return;
  for (const auto& entry : fs::directory_iterator(Path("ctl"))) {
    if (entry.path().filename().string().front() == '.') Violated("left: " + entry.path().string());
  }
  for (const auto& entry : fs::directory_iterator(Path("ctl/runs"))) {
    const Json kept = Json::parse(Text(entry.path() / "result.json"), nullptr, false);
    if (!kept.is_object()) Violated("a run has no result: " + entry.path().string());
    if (fs::exists(entry.path() / "ballast")) Violated("the ballast is left");
  }
}

/// Whatever happened, the next commands work.
void Trial::JudgeUse() {
  if (scenario_.disk_kib != 0) Mount(8000, MS_REMOUNT);
  // A tool that goes on without its leader is waited for.
  const std::string run = LastRun();
  if (!run.empty()) Ctl({"wait", run}, false);
  Ctl({"status"}, false);
  Words words{"backup", "last.bak"};
  if (LeavesNoTrace() && !scenario_.strangers_lock) words.emplace_back("--break-lock");
  const Ended backup = Ctl(words, false);
  const int expected = tarvek_test::LockExists() ? 5 : ServedBy(Path("bmc")).empty() ? 2 : 0;
  if (backup.status != expected) Violated("the next command does not work");
  const bool excused = scenario_.strangers_lock || !scenario_.failing.empty();
  if (tarvek_test::LockExists() && !excused) Violated("a lock stays");
  if (backup.status == 0 && RecordsInImage(Path("work/last.bak")) != ServedBy(Path("bmc"))) {
    Violated("the next backup holds other records");
  }
  if (!fs::exists(Path("ctl/runs"))) return;
  for (const auto& entry : fs::directory_iterator(Path("ctl/runs"))) {
    const bool named = entry.path().filename().string().front() != '.';
    if (named && expected != 5 && !fs::exists(entry.path() / "result.json")) {
      Violated("a run stays open: " + entry.path().string());
    }
  }
}

}  // namespace

Verdict TryScenario(const Scenario& scenario, const std::string& place) {
  return Trial(scenario, place).Run();
}

}  // namespace chaos
