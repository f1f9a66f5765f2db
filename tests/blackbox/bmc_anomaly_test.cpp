// Anomaly sweeps over the BMC: in every mode, whatever goes wrong with whichever request, the run
// ends, tells, releases its lock, closes the spared mode, and leaves the BMC serving one whole set
// of records.
#include <algorithm>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/sweep.h"

namespace blackbox {
namespace {

// Every sweep runs these; the long one all that follow too.
const char* const kFaults[] = {
    "send-error", "receive-error", "cc C1",      "cc C5",
    "cancel",     "length 2",      "length 200", "data 5=AA",
};
const char* const kMoreFaults[] = {
    // Every generic completion code, and a few of a device's and of a command's own.
    "cc 01",
    "cc 7E",
    "cc 80",
    "cc 81",
    "cc BE",
    "cc C0",
    "cc C2",
    "cc C3",
    "cc C4",
    "cc C6",
    "cc C7",
    "cc C8",
    "cc C9",
    "cc CA",
    "cc CB",
    "cc CC",
    "cc CD",
    "cc CE",
    "cc CF",
    "cc D0",
    "cc D1",
    "cc D2",
    "cc D3",
    "cc D4",
    "cc D5",
    "cc D6",
    "cc FF",
    "cc-after C1",
    "cc-after C5",
    // Answers that are too short or too long.
    "length 0",
    "length 1",
    "length 3",
    "length 4",
    "length 5",
    "length 6",
    "length 9",
    "length 20",
    "length 70",
    "length 255",
    "length 256",
    "length 300",
    "length 2048",
    // Answers to something else.
    "netfn 00",
    "netfn 1C",
    "netfn FF",
    "command 00",
    "request 4=01 00",
    "request 4=02 00",
    "next 0001",
    "next FFFF",
    "next 1234",
    // Records whose length changes from one piece to the next.
    "body-length 00",
    "body-length 0B",
    "body-length 40",
    "body-length 41",
    "body-length FF",
    // A driver in trouble, and a BMC that is slow.
    "select-error",
    "send-error EINTR",
    "receive-error EAGAIN",
    "silence 1",
    "delay 100",
};

class BmcAnomaly : public Sweep {
 protected:
  void SetUp() override {
    Sweep::SetUp();
    DistrustBmc();
  }

  void ExpectOrderUnder(const std::string& plan, const std::string& driver = "openipmi") {
    SCOPED_TRACE(driver + ", " + plan);
    RunOptions options;
    options.fault = plan;
    options.driver = driver;
    options.limits = limits_;
    Excuses excuses;
    excuses.late = true;  // the answer to the very last request may be what got lost
    ExpectOrder(Run(options), excuses);
  }

  void LimitMemory() {
    if (kInstrumented) return;
    constexpr rlim_t kMemory = 64 << 20;
    limits_ = {{RLIMIT_AS, kMemory}};
  }

 private:
  std::vector<std::pair<__rlimit_resource, rlim_t>> limits_;
};

TEST_P(BmcAnomaly, AtEachRequestEndsInOrder) {
  Words faults(std::begin(kFaults), std::end(kFaults));
  if (FullSweep()) faults.insert(faults.end(), std::begin(kMoreFaults), std::end(kMoreFaults));
  for (const char* driver : {"openipmi", "maker"}) {
    const int requests = CountRequests(driver);
    ASSERT_EQ(requests > 0, GetParam().Asks());
    int first = 1;
    for (const std::string& fault : faults) {
      first = FullSweep() ? 1 : 3 - first;  // in the quick sweep one half of them and the other
      for (int k = first; k <= requests; k += Stride(2)) {
        ExpectOrderUnder(std::to_string(k) + ": " + fault, driver);
        if (HasFailure()) return;
      }
    }
    if (!FullSweep()) return;
  }
}

TEST_P(BmcAnomaly, FromEachRequestOnEndsInOrder) {
  const int requests = CountRequests();
  for (const std::string fault : {"cc FF", "send-error", "length 0", "cc C5"}) {
    for (int k = 1; k <= requests; k += Stride(5)) {
      ExpectOrderUnder(std::to_string(k) + "-: " + fault);
      if (HasFailure()) return;
    }
  }
}

/// A chain of records that leads back into itself is followed for as long as it could be a true
/// one.
TEST_P(BmcAnomaly, ARepositoryThatNeverEndsNeitherHangsTheRunNorFillsTheMemory) {
  LimitMemory();
  Words plans{"get-sdr: next 0001", "oem-get-sdr: next 0001"};
  const Words more{"get-sdr: next 0000", "oem-get-sdr: next 0000", "get-sdr: request 4=00 00",
                   "oem-get-sdr: request 4=00 00"};
  if (FullSweep()) plans.insert(plans.end(), more.begin(), more.end());
  if (!FullSweep() && GetParam().name == std::string("Verbose")) plans.resize(1);
  for (const std::string& plan : plans) {
    ExpectOrderUnder(plan);
    const Words log = Log(GetParam().log);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Error, insufficient memory"), 0) << plan;
  }
}

TEST_P(BmcAnomaly, RecordsThatAreAnotherEachTimeEndTheRunInOrder) {
  for (const char* plan : {"get-sdr: body-length FF", "oem-get-sdr: body-length 00",
                           "get-sdr@every 2: body-length 0B", "oem-get-sdr@every 2: body-length 40",
                           "get-sdr@every 3: body-length 41", "oem-get-sdr@every 3: body-length FF",
                           "get-sdr@2-9: request 4=00 00", "oem-get-sdr@2-9: request 4=02 00"}) {
    ExpectOrderUnder(plan);
  }
}

struct Retries {
  const char* request;
  int times;
  bool survives;
};

TEST_P(BmcAnomaly, ReservationsMayBeCancelledUpTo299Times) {
  const Retries rows[] = {
      {"oem-clear", 1, true},     {"oem-clear", 299, true},    {"oem-clear", 300, false},
      {"oem-clear", 301, false},  {"oem-add", 1, true},        {"oem-add", 299, true},
      {"oem-add", 300, false},    {"oem-add", 301, false},     {"oem-get-sdr", 1, true},
      {"oem-get-sdr", 299, true}, {"oem-get-sdr", 300, false}, {"oem-get-sdr", 301, false},
  };
  for (const Retries& row : rows) {
    ExpectOrderUnder(std::string(row.request) + "@1-" + std::to_string(row.times) + ": cc C5");
    if (GetParam().IsUpdate() && GetParam().Programs()) {
      EXPECT_EQ(ResultCode() == "Complete", row.survives) << row.request << row.times;
    }
  }
  for (const int times : {1, 299, 300, 301}) {
    ExpectOrderUnder("get-sdr@1-" + std::to_string(times) + ": cc C5");
  }
}

INSTANTIATE_TEST_SUITE_P(Sweep, BmcAnomaly, ::testing::ValuesIn(kModes), ModeName);

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
