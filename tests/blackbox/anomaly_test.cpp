// Anomaly sweeps: in every mode, whatever goes wrong with whichever request, the run ends, tells,
// releases its lock, closes the spared mode, and leaves the BMC serving one whole set of records.
#include <cstdlib>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

using Words = std::vector<std::string>;

struct Mode {
  const char* name;
  Words arguments;
  const char* result_file;  // "": the mode leaves none
};

void PrintTo(const Mode& mode, std::ostream* out) { *out << mode.name; }

const Mode kModes[] = {
    {"Version", {"-version", "-sdr"}, "Get_version.xml"},
    {"Update", {"-update", "-sdr"}, "Update_normal.xml"},
    {"Forced", {"-update", "-sdr", "-force"}, "Update_force.xml"},
    {"Image", {"-update", "-bin", "-force"}, "Update_force.xml"},
    {"Script", {"-update", "-cfg", "a.cfg"}, "Update_normal.xml"},
    {"Compare", {"-update", "-cfg", "compare.cfg", "-force"}, "Update_force.xml"},
    {"Direct", {"-direct", "-sdr"}, ""},
    {"Backup", {"-backup"}, ""},
};

// Every sweep runs these; the long one, for which TARVEK_SWEEP=full asks, all that follow too.
const char* const kFaults[] = {
    "send-error", "receive-error", "cc C1",      "cc C5",
    "cancel",     "length 2",      "length 200", "data 5=AA",
};
const char* const kMoreFaults[] = {
    "select-error",   "cc C0",          "cc C2",          "cc C3",          "cc C4",
    "cc C6",          "cc C7",          "cc C8",          "cc C9",          "cc CA",
    "cc CB",          "cc CC",          "cc CD",          "cc CE",          "cc CF",
    "cc D0",          "cc D1",          "cc D2",          "cc D3",          "cc D4",
    "cc D5",          "cc D6",          "cc FF",          "cc-after C1",    "cc-after C5",
    "length 3",       "length 4",       "length 5",       "length 6",       "length 20",
    "netfn 00",       "netfn 1C",       "command 00",     "next FFFF",      "body-length 00",
    "body-length 0B", "body-length 40", "body-length 41", "body-length FF", "silence 1",
    "delay 100",
};

bool FullSweep() {
  const char* const wanted = std::getenv("TARVEK_SWEEP");
  return wanted != nullptr && std::string(wanted) == "full";
}

class Anomaly : public SimulatedServer, public ::testing::WithParamInterface<Mode> {
 protected:
  void SetUp() override {
    SimulatedServer::SetUp();
    Write("a.cfg", "SET CPU1\nSDRNAME BMCSDR.SDR\n");
    Write("compare.cfg", "SDRNAME BMCSDR.SDR COMPARE\n");
    Write("BMCSDR.SDR", SdrText(SdrSet(2)));
    CreateServer(1);
    Tarvek({"-update", "-sdr", "-force"});
    Tarvek({"-backup", "BMCSDR.BIN"});
    new_set_ = Repository();
  }

  Outcome RunWith(const std::string& fault, const std::string& driver) {
    CreateServer(1);
    old_set_ = Repository();
    for (const char* name : {"sdrversion_HW", "tarvek.log", "Get_version.xml", "Update_normal.xml",
                             "Update_force.xml"}) {
      Remove(name);
    }
    ClearTrace();
    RunOptions options;
    options.fault = fault;
    options.driver = driver;
    options.input = "y\n";
    return Tarvek(GetParam().arguments, options);
  }

  /// What must hold after any run that was not killed.
  void ExpectOrder(const Outcome& outcome) {
    EXPECT_EQ(outcome.signal, 0);
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_FALSE(LockExists());
    EXPECT_FALSE(Exists("Get_ratio.xml_tmp"));
    const std::vector<std::string> now = Repository();
    EXPECT_TRUE(now == old_set_ || now == new_set_) << ::testing::PrintToString(now);
    ExpectResult(now);
    ExpectSparedModeClosed();
  }

  /// The requests of a run without a fault.
  std::size_t CountRequests(const std::string& driver) {
    ExpectOrder(RunWith("", driver));
    return Requests().size();
  }

 private:
  void ExpectResult(const std::vector<std::string>& now) {
    const std::string name = GetParam().result_file;
    if (name.empty()) return;
    const std::string result = Read(name);
    EXPECT_EQ(result.rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Response>", 0), 0U);
    const bool complete = result == ResultText("Complete");
    // "Complete" is never told of anything but the new set; an update that fails leaves the old
    // one, unless it was only the answer to its very last request that got lost.
    if (complete && GetParam().name != std::string("Compare")) {
      EXPECT_EQ(now, new_set_);
    }
    if (name != "Get_version.xml") {
      EXPECT_NE(result, ResultText("OK"));
    }
  }

  /// A spared mode that the tool has seen open is closed by its last request.
  void ExpectSparedModeClosed() {
    const std::vector<std::string> trace = Trace();
    bool open = false;
    for (std::size_t i = 0; i + 1 < trace.size(); ++i) {
      if (trace[i] == "> F8 10 00" && trace[i + 1] == "< FC 10 00") open = true;
      if (trace[i] == "> F8 10 01" || trace[i] == "> F8 10 02") open = false;
    }
    EXPECT_FALSE(open);
  }

  std::vector<std::string> old_set_;
  std::vector<std::string> new_set_;
};

TEST_P(Anomaly, AtEachRequestEndsInOrder) {
  Words faults(std::begin(kFaults), std::end(kFaults));
  if (FullSweep()) faults.insert(faults.end(), std::begin(kMoreFaults), std::end(kMoreFaults));
  for (const char* driver : {"openipmi", "maker"}) {
    const std::size_t requests = CountRequests(driver);
    ASSERT_GT(requests, 0U);
    for (const std::string& fault : faults) {
      for (std::size_t k = 1; k <= requests; ++k) {
        const std::string plan = std::to_string(k) + ": " + fault;
        SCOPED_TRACE(std::string(driver) + ", " + plan);
        ExpectOrder(RunWith(plan, driver));
        if (HasFailure()) return;
      }
    }
    if (!FullSweep()) return;
  }
}

TEST_P(Anomaly, FromEachRequestOnEndsInOrder) {
  const std::size_t requests = CountRequests("openipmi");
  for (const std::string fault : {"cc FF", "send-error", "length 0", "cc C5"}) {
    const std::size_t step = FullSweep() ? 1 : 5;
    for (std::size_t k = 1; k <= requests; k += step) {
      const std::string plan = std::to_string(k) + "-: " + fault;
      SCOPED_TRACE(plan);
      ExpectOrder(RunWith(plan, "openipmi"));
      if (HasFailure()) return;
    }
  }
}

TEST_P(Anomaly, ARepositoryThatNeverEndsDoesNotHangTheRun) {
  for (const char* plan : {"get-sdr: next 0001", "oem-get-sdr: next 0001",
                           "get-sdr: body-length FF", "oem-get-sdr: body-length 00"}) {
    SCOPED_TRACE(plan);
    ExpectOrder(RunWith(plan, "openipmi"));
  }
}

struct Retries {
  const char* request;
  int times;
  bool survives;
};

TEST_P(Anomaly, ReservationsMayBeCancelledUpTo299Times) {
  for (const Retries& row : {Retries{"oem-clear", 1, true},
                             {"oem-clear", 299, true},
                             {"oem-clear", 300, false},
                             {"oem-clear", 301, false},
                             {"oem-add", 299, true},
                             {"oem-add", 300, false},
                             {"oem-get-sdr", 299, true},
                             {"oem-get-sdr", 300, false}}) {
    const std::string plan =
        std::string(row.request) + "@1-" + std::to_string(row.times) + ": cc C5";
    SCOPED_TRACE(plan);
    ExpectOrder(RunWith(plan, "openipmi"));
    const std::string result = GetParam().result_file;
    if (result.rfind("Update", 0) == 0 && GetParam().name != std::string("Compare")) {
      EXPECT_EQ(Read(result) == ResultText("Complete"), row.survives);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Modes, Anomaly, ::testing::ValuesIn(kModes),
                         [](const auto& row) { return std::string(row.param.name); });

using EndlessErase = SimulatedServer;

/// The tool waits for an erase for as long as the BMC says that it goes on: half a second between
/// two questions, until it is done or the run is ended.
TEST_F(EndlessErase, IsWaitedForUntilTheRunIsEnded) {
  CreateServer(1);
  Write("BMCSDR.SDR", SdrText(SdrSet(2)));
  const std::vector<std::string> before = Repository();
  RunOptions options;
  options.fault = "oem-clear: stuck; oem-clear@2000: signal TERM";
  EXPECT_EQ(Tarvek({"-update", "-sdr"}, options).exit_status, 15);
  EXPECT_FALSE(LockExists());
  EXPECT_EQ(Repository(), before);
}

}  // namespace
}  // namespace blackbox
