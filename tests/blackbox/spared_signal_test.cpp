// A signal at every instruction of every SparedSDR request: what the BMC is asked behind it is
// exactly what its state asks for, through both drivers.
#include <algorithm>
#include <csignal>
#include <map>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/stepped_run.h"
#include "tests/blackbox/sweep.h"

namespace blackbox {
namespace {

constexpr const char* kSetSparedSdr = "_ZN20RepositoryProgrammer12setSparedSDREh";

/// One SparedSDR request of an update, and what the BMC may be asked from there on to the run's
/// end, by how far the request had come when the signal struck.
struct Stretch {
  const char* name;
  const char* driver;
  const char* fault;  // in the update
  unsigned phase;     // of the request
  Words before;       // it has not gone out
  Words sent;         // it has, its answer was not yet taken
  Words answered;     // it was
};

void PrintTo(const Stretch& stretch, std::ostream* out) { *out << stretch.name; }

const std::string kBegin = "F8 10 00";
const std::string kDrop = "F8 10 01";
const std::string kKeep = "F8 10 02";

const std::vector<Stretch> kStretches = {
    {"Begin", "openipmi", "", 0, {}, {kBegin, kDrop}, {kBegin, kDrop}},
    {"BeginRefused", "openipmi", "spared: cc D5", 0, {}, {kBegin, kDrop}, {kBegin}},
    {"BeginNotTaken", "openipmi", "spared: send-error", 0, {}, {kBegin}, {kBegin}},
    {"BeginLostInSelect", "openipmi", "spared: select-error", 0, {}, {kBegin, kDrop}, {kBegin}},
    {"BeginLostInReceive", "openipmi", "spared: receive-error", 0, {}, {kBegin, kDrop}, {kBegin}},
    {"Keep", "openipmi", "", 2, {kDrop}, {kKeep}, {kKeep}},
    {"KeepRefused", "openipmi", "spared@2: cc D5", 2, {kDrop}, {kKeep}, {kKeep}},
    {"KeepNotTaken",
     "openipmi",
     "spared@2: send-error",
     2,
     {kDrop},
     {kKeep, kDrop},
     {kKeep, kDrop}},
    {"Drop", "openipmi", "oem-add@2: cc D5", 1, {kDrop}, {kDrop}, {kDrop}},
    {"MakersBegin", "maker", "", 0, {}, {}, {kBegin, kDrop}},
    {"MakersBeginRefused", "maker", "spared: cc D5", 0, {}, {}, {kBegin}},
    {"MakersBeginNotTaken", "maker", "spared: send-error", 0, {}, {}, {kBegin}},
    {"MakersKeep", "maker", "", 2, {kDrop}, {}, {kKeep}},
    {"MakersKeepRefused", "maker", "spared@2: cc D5", 2, {kDrop}, {}, {kKeep}},
    {"MakersDrop", "maker", "oem-add@2: cc D5", 1, {kDrop}, {}, {kDrop}},
};

/// An instruction of the stretch, and how far the request has come before it.
struct Moment {
  std::uintptr_t place = 0;  // in the program
  int anchor = 0;            // the step, up to this one, whose place comes there for the first time
  int ioctls = 0;            // calls of the driver that have returned
  int selects = 0;
  bool settled = false;  // and is over: signals were held after the wait
};

class SparedSignal : public SimulatedServer, public ::testing::WithParamInterface<Stretch> {
 protected:
  // So many instructions about the maker's call count for it: its request is noted before it and
  // its answer after it, and what comes between, and inside it, cannot be told apart.
  static constexpr int kNearCall = kInstrumented ? 200 : 16;
  static constexpr int kCloseToCalls = 150;  // instructions
  static constexpr int kSample = 31;

  void SetUp() override {
    SimulatedServer::SetUp();
    CreateServer(1);
    KeepBmc();
    old_set_ = Repository();
    Write("BMCSDR.SDR", SdrText(SdrSet(1)));
    const Places program = PlacesOf(TARVEK_PROGRAM, false);
    ASSERT_EQ(program.count(kSetSparedSdr), 1U) << "the program's symbols are needed";
    function_ = program.at(kSetSparedSdr);
    const Places library = PlacesOf(BMCSIM_LIBRARY, true);
    ioctl_ = library.at("ioctl");
    select_ = library.at("select");
  }

  void TearDown() override {
    SimulatedServer::TearDown();
    ReportRuns(runs_);
  }

  bool IsMaker() const { return std::string(GetParam().driver) == "maker"; }

  /// An update as new, at the stretch's first instruction.
  Started Begin() {
    ++runs_;
    RestoreBmc();
    for (const char* name :
         {"tarvek.log", "Update_normal.xml", "Get_ratio.xml_tmp", "sdrversion_HW"}) {
      Remove(name);
    }
    RemoveLock();
    ClearTrace();
    RunOptions options;
    options.driver = GetParam().driver;
    options.fault = GetParam().fault;
    return StartTraced({"-update", "-sdr"}, options);
  }

  bool GoToStretch(SteppedRun& run) const {
    do {
      if (!run.Enter(function_)) return false;
    } while ((run.SecondArgument() & 0xFF) != GetParam().phase);
    return true;
  }

  /// Goes through the stretch once, in the quick sweep not far beyond its last call of the driver.
  void Explore() {
    SteppedRun run(Begin(), TARVEK_PROGRAM);
    ASSERT_TRUE(GoToStretch(run));
    const std::uintptr_t library = run.BaseOf(BMCSIM_LIBRARY);
    std::map<std::uintptr_t, int> first_steps;
    Moment now;
    for (bool on = true; on; on = run.Step()) {
      const int step = static_cast<int>(moments_.size());
      const bool is_ioctl = run.called() == library + ioctl_;
      const bool is_select = run.called() == library + select_;
      now.ioctls += is_ioctl ? 1 : 0;
      now.selects += is_select ? 1 : 0;
      if (is_ioctl || is_select) calls_.push_back(step - 1);
      if (run.called() != 0 && now.selects > 0 && run.Holds(SIGTERM)) now.settled = true;
      now.place = run.Place();
      const bool is_new = first_steps.emplace(now.place, step).second;
      now.anchor = is_new ? step : moments_.back().anchor;
      moments_.push_back(now);
      if (!FullSweep() && !calls_.empty() && step > calls_.back() + kCloseToCalls) break;
    }
    run.LetGo(0);
    ASSERT_FALSE(calls_.empty());
  }

  /// Whether a moment is worth a signal: those next to the calls of the driver, in the long sweep
  /// all that come until the request's report, and a sample of all others that come for the first
  /// time.
  bool IsWorth(int step) const {
    if (FullSweep() && step <= calls_.back() + kCloseToCalls) return true;
    const bool next_to_call = std::any_of(calls_.begin(), calls_.end(), [step](int call) {
      return step >= call - 1 && step <= call + 2;
    });
    const bool is_sample =
        step % kSample == 0 && moments_[static_cast<std::size_t>(step)].anchor == step;
    return next_to_call || is_sample || step + 1 == Moments();
  }

  /// A run that the signal strikes at that moment.
  void Strike(int step) {
    const auto at = [this](int n) -> const Moment& {
      return moments_[static_cast<std::size_t>(n)];
    };
    const Moment& moment = at(step);
    SteppedRun run(Begin(), TARVEK_PROGRAM);
    ASSERT_TRUE(GoToStretch(run));
    const std::size_t asked = Requests().size();
    if (moment.anchor > 0) {
      ASSERT_TRUE(run.RunTo(at(moment.anchor).place));
    }
    for (int n = moment.anchor; n < step; ++n) run.Step();
    ASSERT_EQ(run.Place(), moment.place) << "the runs differ";
    const bool held = run.Holds(SIGTERM);
    const Outcome outcome = run.LetGo(SIGTERM);
    EXPECT_EQ(outcome.exit_status, SIGTERM);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_FALSE(LockExists());
    Words rest = Requests();
    rest.erase(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(asked));
    if (IsMaker()) {
      ExpectOfMaker(rest, step);
    } else {
      EXPECT_EQ(rest, ExpectedOfOpenIpmi(moment, held));
    }
    const bool kept = std::count(rest.begin(), rest.end(), kKeep) == 1 && *GetParam().fault == '\0';
    EXPECT_EQ(Repository(), kept ? HexOf(SdrSet(1)) : old_set_);
  }

  int Moments() const { return static_cast<int>(moments_.size()); }

 private:
  /// A signal that is held strikes when the call is over for which it is.
  Words ExpectedOfOpenIpmi(const Moment& moment, bool held) const {
    const Stretch& stretch = GetParam();
    if (moment.settled || moment.ioctls > 1 || (moment.selects > 0 && held)) {
      return stretch.answered;
    }
    return moment.ioctls > 0 || held ? stretch.sent : stretch.before;
  }

  /// In the maker's call, and close to it, a begin is followed by the drop and an end by nothing,
  /// whether the BMC has got it or not.
  void ExpectOfMaker(const Words& rest, int step) const {
    const Stretch& stretch = GetParam();
    const int call = calls_.front();
    const Words& certain = step > call ? stretch.answered : stretch.before;
    const bool near = step >= call - kNearCall && step <= call + 1 + kNearCall;
    if (!near || rest == certain) {
      EXPECT_EQ(rest, certain);
      return;
    }
    Words in_call;
    if (step > call) in_call.push_back("F8 10 0" + std::to_string(stretch.phase));
    if (stretch.phase == 0) in_call.push_back(kDrop);
    EXPECT_EQ(rest, in_call);
  }

  std::vector<std::string> old_set_;
  std::uintptr_t function_ = 0;
  std::uintptr_t ioctl_ = 0;
  std::uintptr_t select_ = 0;
  int runs_ = 0;
  std::vector<Moment> moments_;  // of the stretch, in order
  std::vector<int> calls_;       // the steps that call the driver
};

TEST_P(SparedSignal, AtEachInstructionHasTheBmcAskedWhatItsStateAsksFor) {
  std::string reason;
  if (!SteppedRun::IsPossible(reason)) GTEST_SKIP() << reason;
  Explore();
  for (int step = 0; step < Moments() && !HasFailure(); ++step) {
    if (!IsWorth(step)) continue;
    SCOPED_TRACE("before instruction " + std::to_string(step));
    Strike(step);
  }
}

INSTANTIATE_TEST_SUITE_P(Sweep, SparedSignal, ::testing::ValuesIn(kStretches),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace blackbox
