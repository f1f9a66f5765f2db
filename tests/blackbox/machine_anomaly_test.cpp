// Anomaly sweeps over the machine: in every mode, whatever call of the C library fails, however
// little memory, disk or writable directory there is, and whoever sets the clock, the run ends in
// order, and what it tells is true.
#include <sys/mount.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/sweep.h"

namespace blackbox {
namespace {

/// A call that the tool makes.
struct Call {
  std::string function;
  std::string file;
};

/// How a call fails. The first way is the quick sweep's.
const std::map<std::string, Words> kFailures = {
    {"open", {"EACCES", "ENOENT", "ENOSPC", "EIO", "EMFILE"}},
    {"openat", {"EACCES", "ENOENT", "ENOSPC", "EIO", "EMFILE"}},
    {"fopen", {"EACCES", "ENOENT", "ENOSPC", "EIO", "EMFILE"}},
    {"fdopen", {"ENOMEM"}},
    {"read", {"EIO", "EINTR"}},
    {"lseek", {"EIO"}},
    {"fgets", {"EIO"}},
    {"getc", {"EIO"}},
    {"poll", {"EINTR"}},
    {"write", {"ENOSPC", "SHORT", "EIO", "EDQUOT", "EINTR"}},
    {"pwrite", {"ENOSPC", "SHORT", "EIO", "EDQUOT", "EINTR"}},
    {"fwrite", {"ENOSPC", "EIO"}},
    {"fputs", {"ENOSPC", "EIO"}},
    {"fputc", {"ENOSPC", "EIO"}},
    {"putc", {"ENOSPC", "EIO"}},
    {"fprintf", {"ENOSPC", "EIO"}},
    {"fflush", {"ENOSPC", "EIO"}},
    {"ftruncate", {"EIO"}},
    {"close", {"EIO", "ENOSPC"}},
    {"fclose", {"ENOSPC", "EIO"}},
    {"access", {"EACCES", "ENOENT", "EIO"}},
    {"unlink", {"EACCES", "EIO", "EROFS"}},
    {"rename", {"EACCES", "ENOSPC"}},
    {"linkat", {"ENOENT", "EACCES", "ENOSPC"}},
    {"fstat", {"EIO"}},
    {"stat", {"EACCES"}},
    {"lstat", {"EACCES"}},
    {"get_current_dir_name", {"ENOENT", "EACCES"}},
    {"sem_open", {"EACCES", "ENOSPC", "EMFILE"}},
    {"sem_unlink", {"EACCES"}},
    {"localtime", {"ENOMEM"}},
};

class MachineAnomaly : public Sweep {
 protected:
  /// The calls of a run in which nothing goes wrong, allocations left out.
  std::vector<Call> ListCalls() {
    RunOptions options;
    options.failing = "list";
    ExpectDone(Run(options));
    std::vector<Call> calls;
    for (const std::string& line : TakeCallReport()) {
      std::istringstream words(line);
      std::string kind;
      Call call;
      words >> kind >> call.function >> call.file;
      if (kind == "call") calls.push_back(call);
    }
    return calls;
  }

  /// Runs with a rule for failing calls.
  /// @param report  receives the calls that failed.
  Outcome RunFailing(const std::string& rule, Words& report) {
    RunOptions options;
    options.failing = rule;
    const Outcome outcome = Run(options);
    report = TakeCallReport();
    return outcome;
  }

  /// What the failure of call `k` (from 0) of these excuses.
  Excuses ExcusesOf(const std::vector<Call>& calls, std::size_t k) {
    const Call& call = calls[k];
    Excuses excuses;
    excuses.log = call.file == GetParam().log;
    excuses.lock = call.function == "sem_unlink";
    // A lock that cannot be taken, and a question whose answer cannot be read, refuse the run.
    const bool answer = call.file == "stdin" && calls[k - 1].file != "stdin";
    if (call.function == "sem_open" || answer) excuses.exit_status = 1;
    // What fails in the writing of a result is done again; and a new one is there before it opens.
    excuses.result = GetParam().IsUpdate() && call.function == "open" &&
                     call.file == GetParam().result_file && IsLastWord(calls, k);
    // A backup that was written but not closed is not trusted.
    excuses.late = call.function == "close" && call.file == "BMCSDR.BAK";
    return excuses;
  }

  /// Whether call `k` belongs to the last writing of the file that it is about.
  static bool IsLastWord(const std::vector<Call>& calls, std::size_t k) {
    return std::none_of(
        calls.begin() + static_cast<std::ptrdiff_t>(k) + 1, calls.end(),
        [&](const Call& later) { return later.function == "open" && later.file == calls[k].file; });
  }

  /// Fails the Kth allocation, or all from the Kth on, until a run has no Kth.
  void SweepAllocations(const char* onwards) {
    for (int k = 1;; k += Stride(4)) {
      SCOPED_TRACE("alloc@" + std::to_string(k) + onwards);
      Words report;
      const Outcome outcome = RunFailing("alloc@" + std::to_string(k) + onwards, report);
      ExpectOrder(outcome, ExcusesOfAllocations(report));
      RemoveLock();
      if (HasFailure() || report.empty()) return;
    }
  }

  /// When the C library cannot note the lock that it has just created, it says that it could not,
  /// and leaves the name: the run cannot tell that from another run's lock.
  static Excuses ExcusesOfAllocations(const Words& report) {
    Excuses excuses;
    excuses.late = GetParam().IsScript();  // which has more files to look for
    excuses.lock = std::any_of(report.begin(), report.end(), [](const std::string& line) {
      return line.find(" tarvek_exe") != std::string::npos;
    });
    excuses.exit_status = excuses.lock ? 1 : 0;
    return excuses;
  }
};

TEST_P(MachineAnomaly, EachCallMayFail) {
  const std::vector<Call> calls = ListCalls();
  ASSERT_GT(calls.size(), 10U);
  for (std::size_t k = 1; k <= calls.size(); k += static_cast<std::size_t>(Stride(3))) {
    const Call& call = calls[k - 1];
    const auto failures = kFailures.find(call.function);
    ASSERT_NE(failures, kFailures.end()) << call.function;
    for (const std::string& error : failures->second) {
      SCOPED_TRACE("call@" + std::to_string(k) + "=" + error + ": " + call.function + " " +
                   call.file);
      Words report;
      const Outcome outcome = RunFailing("call@" + std::to_string(k) + "=" + error, report);
      EXPECT_EQ(report, Words{"fail call " + call.function + " " + call.file});
      const Excuses excuses = ExcusesOf(calls, k - 1);
      ExpectOrder(outcome, excuses);
      if (excuses.result) {
        EXPECT_EQ(Read(ResultPath()), ResultText("OK")) << "a result that cannot be opened stays";
      }
      RemoveLock();
      if (HasFailure()) return;
      if (!FullSweep()) break;
    }
  }
}

/// The disk fills up, or the descriptors run out, in the middle of the run.
TEST_P(MachineAnomaly, ACallMayFailFromEachTimeOn) {
  for (const std::string rule :
       {"write@", "pwrite@", "open@", "close@", "fdopen@", "fgets@", "unlink@", "linkat@"}) {
    bool failed = true;
    for (int k = 1; failed && !HasFailure(); k += Stride(7)) {
      SCOPED_TRACE(rule + std::to_string(k) + "-");
      Words report;
      const Outcome outcome = RunFailing(rule + std::to_string(k) + "-", report);
      failed = !report.empty();
      Excuses excuses;
      excuses.log = true;
      excuses.result = true;
      excuses.progress_file = rule == "unlink@";
      excuses.late = GetParam().IsScript();  // which has more files to look for
      ExpectOrder(outcome, excuses);
    }
  }
}

/// What is reported when the BMC fails and there is no memory left to report it with.
TEST_P(MachineAnomaly, MemoryMayBeGoneWhenTheBmcFails) {
  const int requests = CountRequests();
  for (int k = 1; k <= requests; k += Stride(9)) {
    for (int j = 8; j <= 48; j += FullSweep() ? 4 : 20) {
      RunOptions options;
      options.fault = std::to_string(k) + ": cc C1";
      options.failing = "alloc@" + std::to_string(j) + "-";
      SCOPED_TRACE(options.fault + ", " + options.failing);
      const Outcome outcome = Run(options);
      Excuses excuses = ExcusesOfAllocations(TakeCallReport());
      excuses.late = true;
      ExpectOrder(outcome, excuses);
      RemoveLock();
      if (HasFailure()) return;
    }
  }
}

TEST_P(MachineAnomaly, WritesMayBeShort) {
  RunOptions options;
  options.failing = "write@1-=SHORT pwrite@1-=SHORT";
  const Outcome outcome = Run(options);
  // A block of a backup image is written in one go or not at all.
  if (GetParam().IsBackup()) return ExpectOrder(outcome);
  ExpectDone(outcome);
}

TEST_P(MachineAnomaly, EachAllocationMayFail) { SweepAllocations(""); }

TEST_P(MachineAnomaly, AllAllocationsMayFailFromEachOneOn) { SweepAllocations("-"); }

/// The names of a binary's dynamic symbols, without their versions.
std::set<std::string> SymbolsOf(const char* file, const char* which) {
  const Outcome nm = RunProgram({NM_PROGRAM, "-D", which, "--format=just-symbols", file}, "/");
  EXPECT_EQ(nm.exit_status, 0) << nm.errors;
  std::istringstream lines(nm.console);
  std::set<std::string> names;
  for (std::string name; lines >> name;) names.insert(name.substr(0, name.find('@')));
  return names;
}

bool IsHarmless(const std::string& name) {
  const Words leads{"_Z", "_ITM", "_Unwind", "__cxa", "__gxx", "mem", "__mem", "str", "bcmp"};
  const std::set<std::string> others{
      "_exit",          "alarm",           "clearerr", "feof",           "ferror",
      "fileno",         "geteuid",         "rewind",   "signal",         "sigaddset",
      "sigemptyset",    "sigprocmask",     "snprintf", "__snprintf_chk", "vsnprintf",
      "stdin",          "__vsnprintf_chk", "stdout",   "time",           "timezone",
      "__timezone",     "tzset",           "ungetc",   "isprint",        "isspace",
      "isxdigit",       "tolower",         "toupper",  "__fdelt_chk",    "__stack_chk_fail",
      "__gmon_start__", "__errno_location"};
  return others.count(name) != 0 ||
         std::any_of(leads.begin(), leads.end(),
                     [&](const std::string& lead) { return name.rfind(lead, 0) == 0; });
}

/// The sweeps fail what libfailing_calls.so knows: it must know every call of the tool that can.
TEST(FailingCalls, AreAllThatTheToolMakes) {
  if (kInstrumented) GTEST_SKIP() << "instruments call what the tool does not";
  const std::set<std::string> known = SymbolsOf(FAILING_CALLS_LIBRARY, "--defined-only");
  for (const std::string& name : SymbolsOf(TARVEK_PROGRAM, "--undefined-only")) {
    EXPECT_TRUE(known.count(name) != 0 || IsHarmless(name)) << name;
  }
}

INSTANTIATE_TEST_SUITE_P(Sweep, MachineAnomaly, ::testing::ValuesIn(kModes), ModeName);

using VersionLog = SimulatedServer;

TEST_F(VersionLog, GrowsOnWhereItCannotBeMovedAndLosesNothing) {
  struct Row {
    const char* failing;
    bool moved;
  };
  const std::string full(2000001, 'x');
  CreateServer(1);
  Write("BMCSDR.SDR", SdrText(SdrSet(2)));
  for (const Row& row : {Row{"open@2", false},
                         {"fdopen@1", false},
                         {"fstat@1", true},
                         {"fstat@2", false},
                         {"fclose@1", true},
                         {"unlink@1", true},
                         {"rename@1", false}}) {
    SCOPED_TRACE(row.failing);
    Write("tarvek_version.log", full);
    Remove("tarvek_version.old");
    RunOptions options;
    options.direct = true;
    options.failing = row.failing;
    EXPECT_EQ(Tarvek({"-version", "-sdr"}, options).exit_status, 0);
    EXPECT_EQ(TakeCallReport().size(), 1U);
    EXPECT_EQ(Read("Get_version.xml"), VersionResult("OK", "Upper", "01.02"));
    EXPECT_EQ(Exists("tarvek_version.old"), row.moved);
    const std::string kept = Read(row.moved ? "tarvek_version.old" : "tarvek_version.log");
    EXPECT_EQ(kept.compare(0, full.size(), full), 0);
  }
}

/// A working directory that is a file system of its own.
class MountedDirectory : public Sweep {
 protected:
  void TearDown() override {
    Unmount();
    Sweep::TearDown();
  }

  /// Puts what the run reads where it will run.
  void FillDirectory(bool caller_reads_it) {
    std::filesystem::create_directories(Path(kDirectory));
    for (const char* name : {"BMCSDR.SDR", "BMCSDR.BIN", "a.cfg", "compare.cfg", "mchk_fil"}) {
      std::filesystem::copy_file(Path(name), directory() / kDirectory / name);
    }
    Remove("ZetaInfo.xml");
    Write(caller_reads_it ? std::string(kDirectory) + "/ZetaInfo.xml" : "ZetaInfo.xml", "");
  }

  bool MountReadOnly() {
    const std::string path = Path(kDirectory);
    mounted_ = mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) == 0;
    return mounted_ &&
           mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0;
  }

  bool MountTiny() {
    std::filesystem::create_directories(Path(kDirectory));
    mounted_ = mount("tmpfs", Path(kDirectory).c_str(), "tmpfs", 0, "size=64k") == 0;
    return mounted_;
  }

  /// Leaves no room for a byte.
  void FillUp() {
    std::ofstream ballast(Path(kDirectory) + "/ballast", std::ios::binary | std::ios::app);
    while (ballast.put('x').flush()) {
    }
  }

  Outcome RunInDirectory() {
    RunOptions options;
    options.directory = kDirectory;
    return Run(options);
  }

  void Unmount() {
    if (mounted_) umount2(Path(kDirectory).c_str(), MNT_DETACH);
    mounted_ = false;
  }

  static constexpr const char* kDirectory = "place";
  static constexpr const char* kMayNotMount = "only root may mount, and not everywhere";

 private:
  bool mounted_ = false;
};

TEST_P(MountedDirectory, MayBeReadOnly) {
  for (const bool caller_reads_it : {false, true}) {
    SCOPED_TRACE(caller_reads_it);
    FillDirectory(caller_reads_it);
    if (!MountReadOnly()) GTEST_SKIP() << kMayNotMount;
    Excuses excuses;
    excuses.log = true;
    excuses.result = caller_reads_it;
    const Outcome outcome = RunInDirectory();
    ExpectOrder(outcome, excuses);
    EXPECT_EQ(ServesNewSet(), GetParam().Programs());
    if (caller_reads_it) {
      EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Path(kDirectory)), {}), 6);
    } else if (*GetParam().result_file != '\0') {
      EXPECT_EQ(ResultCode(), GetParam().code);
    }
    Unmount();
    std::filesystem::remove_all(Path(kDirectory));
  }
}

TEST_P(MountedDirectory, MayBeFull) {
  for (const bool caller_reads_it : {false, true}) {
    SCOPED_TRACE(caller_reads_it);
    if (!MountTiny()) GTEST_SKIP() << kMayNotMount;
    FillDirectory(caller_reads_it);
    FillUp();
    Excuses excuses;
    excuses.log = true;
    excuses.result = caller_reads_it;
    ExpectOrder(RunInDirectory(), excuses);
    if (caller_reads_it && *GetParam().result_file != '\0') {
      EXPECT_EQ(Read(std::string(kDirectory) + "/" + GetParam().result_file), "");
    }
    Unmount();
  }
}

/// A result that is there already has its place on a full disk.
TEST_P(MountedDirectory, MayBeFullBesideAFormerResult) {
  if (!MountTiny()) GTEST_SKIP() << kMayNotMount;
  FillDirectory(true);
  LookForResultIn(std::string(kDirectory) + "/");
  if (*GetParam().result_file != '\0') Write(ResultPath(), std::string(300, 'x'));
  FillUp();
  Excuses excuses;
  excuses.log = true;
  ExpectOrder(RunInDirectory(), excuses);
}

INSTANTIATE_TEST_SUITE_P(Sweep, MountedDirectory, ::testing::ValuesIn(kModes), ModeName);

class Clock : public Sweep {
 protected:
  static constexpr long kHour = 3600;
  static constexpr long kDay = 24 * kHour;

  /// Runs while the clock is set, and expects that nobody but the time stamps notices.
  void ExpectDoneUnder(const std::string& which, long step) {
    const std::string sign = step < 0 ? "-" : "+";
    RunOptions options;
    options.fault = which + ": clock " + sign + std::to_string(std::labs(step));
    SCOPED_TRACE(options.fault);
    ExpectDone(Run(options));
    ASSERT_TRUE(Struck());
    // The caller sees the result at most half a minute later than it would have otherwise, and the
    // last progress for ten seconds whatever the clock shows.
    constexpr long kHold = 30;
    constexpr long kLastProgress = 10;
    const long took = LoggedSeconds() - step;
    EXPECT_GE(took, GetParam().IsUpdate() ? kLastProgress : 0);
    EXPECT_LE(took, undisturbed_ + kHold);
  }

  void Measure() {
    ExpectDone(Run());
    undisturbed_ = LoggedSeconds();
  }

 private:
  /// From the log's first time stamp to its last.
  long LoggedSeconds() {
    const std::string log = Read(GetParam().log);
    return Stamp(log) - Stamp(log.substr(log.rfind('\n', log.size() - 2) + 1));
  }

  static long Stamp(const std::string& line) {
    std::tm time{};
    EXPECT_NE(strptime(line.c_str(), "%Y/%m/%d %H:%M:%S", &time), nullptr) << line;
    return -timegm(&time);
  }

  long undisturbed_ = 0;
};

TEST_P(Clock, MayBeSetDuringEachWait) {
  Measure();
  const int waits = CountWaits();
  ASSERT_EQ(waits > 0, GetParam().Asks());
  for (const long step : {-kHour, kDay}) {
    for (int k = 1; k <= waits; k += Stride(11)) {
      ExpectDoneUnder("wait@" + std::to_string(k), step);
      if (HasFailure()) return;
    }
    if (waits > 0) ExpectDoneUnder("wait@" + std::to_string(waits), step);
  }
}

TEST_P(Clock, MayBeSetAtEachRequest) {
  Measure();
  const int requests = CountRequests();
  for (const long step : {-kHour, kDay}) {
    for (int k = 1; k <= requests; k += Stride(17)) {
      ExpectDoneUnder(std::to_string(k), step);
      if (HasFailure()) return;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sweep, Clock, ::testing::ValuesIn(kModes), ModeName);

}  // namespace
}  // namespace blackbox
