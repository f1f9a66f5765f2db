#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "errors/reserve_block.h"
#include "tests/unit/sdrfile/allocation_failure.h"
#include "tests/unit/sdrfile/sdr_source.h"
#include "tests/unit/support/fresh_run.h"
#include "transport/ipmi_commands.h"

namespace tarvek_test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

Reply Answer(const Bytes& data) {
  Reply reply;
  reply.data = data;
  return reply;
}

/// A BMC with a repository and, while the spared mode is open, a copy of it that the OEM commands
/// work on.
class RepositoryBmc {
 public:
  std::vector<Bytes> records;                       // in service
  std::vector<Bytes> staged;                        // what the OEM commands see
  std::function<bool(const Bytes&, Reply*)> fault;  // true: the reply stands as it is

  Reply operator()(const Bytes& request) {
    Reply reply;
    if (fault && fault(request, &reply)) return reply;
    const bool oem = request[0] == 0xF8;
    switch (request[1]) {
      case 0x10:
        return Spared(request[2]);
      case 0x11:
      case 0x22:
        return Answer({0x00, 0x34, 0x12});
      case 0x12:
      case 0x23:
        return Get(oem ? staged : records, request);
      case 0x13:
        return Add(request);
      case 0x14:
        staged.clear();
        return Answer({0x00, 0x01});
      default:
        return Answer({0xC1});
    }
  }

 private:
  Reply Spared(std::uint8_t phase) {
    if (phase == 0) staged = records;
    if (phase == 2) records = staged;
    return Answer({0x00});
  }

  static Reply Get(const std::vector<Bytes>& from, const Bytes& request) {
    const std::size_t index = request[4] + 256U * request[5];
    if (index >= from.size()) return Answer({0xCB});
    const std::size_t next = index + 1 < from.size() ? index + 1 : 0xFFFF;
    Bytes data{0x00, static_cast<std::uint8_t>(next), static_cast<std::uint8_t>(next >> 8U)};
    const Bytes& record = from[index];
    for (std::size_t i = 0; i < request[7]; ++i) {
      const std::size_t at = request[6] + i;
      data.push_back(at < record.size() ? record[at] : 0);
    }
    return Answer(data);
  }

  Reply Add(const Bytes& request) {
    if (request[6] == 0) staged.emplace_back();
    staged.back().insert(staged.back().end(), request.begin() + 8, request.end());
    return Answer({0x00, static_cast<std::uint8_t>(staged.size()), 0x00});
  }
};

class LoaderTest : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    Start(kForcedUpdate);
  }

  /// The globals and the machine of a run that is about to load its input.
  void Start(RunMode mode) {
    ResetGlobals();
    FakeMachine::Reset();
    UseOpenIpmi();
    machine().bmc = [this](const Bytes& request) { return bmc(request); };
    g_eu_flg = mode;
    g_option_flg = kSdrFileInput;
    gTempFile = std::fopen("/dev/null", "w");
    for (const char* file : {"tarvek.log", "tarvek_version.log", "Update_normal.xml",
                             "Update_force.xml", "Get_version.xml", "Get_ratio.xml_tmp"}) {
      std::filesystem::remove(file);
    }
  }

  int Load(const std::string& text, const TagTbl* tags = nullptr) {
    WriteFile("BMCSDR.SDR", text);
    return loader.LoadFile("BMCSDR.SDR", tags);
  }

  /// Lets requests that begin with `start` fail with a completion code.
  void Refuse(const Bytes& start, std::uint8_t completion_code) {
    bmc.fault = [=](const Bytes& request, Reply* reply) {
      reply->data = {completion_code};
      return request.size() >= start.size() &&
             std::equal(start.begin(), start.end(), request.begin());
    };
  }

  RepositoryBmc bmc;
  Loader loader;
};

const Bytes kVersionBytes{0x00, 0x00, 0x51, 0xC0, 0x14, 0x77, 0x00, 0x00, 'S', 'D', 'R', ' ', 'V',
                          'e',  'r',  's',  'i',  'o',  'n',  ' ',  '0',  '1', '.', '0', '3'};
const Bytes kShortBytes{0x00, 0x00, 0x51, 0x12, 0x0B, 0x20, 0x00, 0x00,
                        0x00, 0x00, 0x00, 0x00, 0xC3, 'B',  'M',  'C'};
const std::string kTwoRecords = Source(kVersionRecord + kShortRecord);

const Bytes kSparedBegin0{0xF8, 0x10, 0x00};
const Bytes kSparedFailure1{0xF8, 0x10, 0x01};
const Bytes kSparedSuccess2{0xF8, 0x10, 0x02};
const Bytes kReserveOem{0xF8, 0x11};

const std::vector<Bytes> kClear{kReserveOem, {0xF8, 0x14, 0x34, 0x12, 'C', 'L', 'R', 0xAA}};
const std::vector<Bytes> kAddVersion{
    kReserveOem,
    {0xF8, 0x13, 0x34, 0x12, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x51, 0xC0,
     0x14, 0x77, 0x00, 0x00, 'S',  'D',  'R',  ' ',  'V',  'e',  'r',  's'},
    {0xF8, 0x13, 0x34, 0x12, 0x01, 0x00, 0x10, 0x01, 'i', 'o', 'n', ' ', '0', '1', '.', '0', '3'}};
const std::vector<Bytes> kAddShort{
    kReserveOem, {0xF8, 0x13, 0x34, 0x12, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x51, 0x12,
                  0x0B, 0x20, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC3, 'B',  'M',  'C'}};

/// The requests that read the two records back, header first, with one pair of commands.
std::vector<Bytes> ReadBoth(std::uint8_t netfn, std::uint8_t reserve, std::uint8_t get) {
  return {{netfn, reserve},
          {netfn, get, 0x34, 0x12, 0x00, 0x00, 0x00, 0x05},
          {netfn, get, 0x34, 0x12, 0x00, 0x00, 0x05, 0x10},
          {netfn, get, 0x34, 0x12, 0x00, 0x00, 0x15, 0x04},
          {netfn, reserve},
          {netfn, get, 0x34, 0x12, 0x01, 0x00, 0x00, 0x05},
          {netfn, get, 0x34, 0x12, 0x01, 0x00, 0x05, 0x0B}};
}

std::vector<Bytes> Join(const std::vector<std::vector<Bytes>>& parts) {
  std::vector<Bytes> joined;
  for (const auto& part : parts) joined.insert(joined.end(), part.begin(), part.end());
  return joined;
}

const std::string kWriteError = "Error, SDR file unsuccessfully written";
const std::string kCompareError =
    "Error, SDR file does not match with what was programmed into memory";
const std::string kSparedError =
    "Error, unsupported SparedSDR command on BMC.Or, the time-out is generated by a system high "
    "load code = ";

// Updates.

TEST_F(LoaderTest, UpdateWritesReadsBackAndCommits) {
  g_eu_flg = kNormalUpdate;
  g_HW_sdr_version = "SDR Version 01.02";
  EXPECT_EQ(Load(kTwoRecords), 0);

  EXPECT_THAT(machine().requests, ElementsAreArray(Join({{kSparedBegin0},
                                                         kClear,
                                                         kAddVersion,
                                                         kAddShort,
                                                         ReadBoth(0xF8, 0x11, 0x12),
                                                         {kSparedSuccess2}})));
  EXPECT_THAT(bmc.records, ElementsAre(kVersionBytes, kShortBytes));
  EXPECT_THAT(LogTexts(), ElementsAre("CompareSDRVersion() success.", "Clearing SDR Repository...",
                                      "Writing SDR Record ", "Reading SDR Repository.",
                                      "SDR data was successfully written!"));
  EXPECT_EQ(gProgrammed, 1);
  EXPECT_EQ(g_ratio, 90);
  EXPECT_EQ(ReadFile("Get_ratio.xml_tmp"), ResultText("OK", "90"));
  EXPECT_EQ(g_inputSdrRecord, 3);
  EXPECT_EQ(g_input_sdr_version, "01.03");
  EXPECT_EQ(loader.SparedActive(), 0);
  EXPECT_EQ(loader.Read(), nullptr);
  EXPECT_EQ(loader.ReadBack(), nullptr);
}

TEST_F(LoaderTest, OlderFormatReadsBackInPiecesOf16) {
  std::string text = kTwoRecords;
  text.replace(text.find("'1.5'"), 5, "'1.3'");
  text.replace(text.find("'1.50'"), 6, "0100");
  EXPECT_EQ(Load(text), 0);
  const std::vector<Bytes> read_back{{0xF8, 0x11},
                                     {0xF8, 0x12, 0x34, 0x12, 0x00, 0x00, 0x00, 0x10},
                                     {0xF8, 0x12, 0x34, 0x12, 0x00, 0x00, 0x10, 0x09},
                                     {0xF8, 0x11},
                                     {0xF8, 0x12, 0x34, 0x12, 0x01, 0x00, 0x00, 0x10}};
  EXPECT_THAT(
      machine().requests,
      ElementsAreArray(
          Join({{kSparedBegin0}, kClear, kAddVersion, kAddShort, read_back, {kSparedSuccess2}})));
}

TEST_F(LoaderTest, ForcedUpdateNeedsNoVersion) {
  EXPECT_EQ(Load(Source(kShortRecord)), 0);
  EXPECT_THAT(bmc.records, ElementsAre(kShortBytes));
}

TEST_F(LoaderTest, EmptySectionLeavesAnEmptyRepository) {
  bmc.records = {kShortBytes};
  EXPECT_EQ(Load(Source("")), 0);
  EXPECT_THAT(bmc.records, IsEmpty());
  EXPECT_THAT(LogTexts(), testing::Contains("SDR data was successfully written!"));
}

TEST_F(LoaderTest, TagsDecideWhatIsWritten) {
  const std::string cpu = "_SDR_TYPE 01\n_SDR_TAG 'CPU#'\n_REC_LEN 5\n0000510100\n";
  const std::string fan = "_SDR_TYPE 01\n_SDR_TAG 'FAN'\n_REC_LEN 5\n0000510200\n";
  const auto tags = TagList({"cpu2"});
  EXPECT_EQ(Load(Source(cpu + fan + kShortRecord), tags.get()), 0);
  EXPECT_THAT(bmc.records, ElementsAre(Bytes{0x00, 0x00, 0x51, 0x01, 0x00}, kShortBytes));
}

TEST_F(LoaderTest, CounterLineEndsAfterTheReadBack) {
  g_display_flg = 1;
  const std::string console = ConsoleOf([&] { EXPECT_EQ(Load(kTwoRecords), 0); });
  EXPECT_EQ(console,
            "Clearing SDR Repository...\nWriting SDR Record \n"
            " ----- > #1\r ----- > #2\r\n"
            "Reading SDR Repository.\n ----- > #1\r ----- > #2\r\n"
            "SDR data was successfully written!\n");
}

TEST_F(LoaderTest, DirectUpdateLeavesNoResultFiles) {
  g_eu_flg = kNormalUpdate;
  g_direct_flg = 1;
  g_HW_sdr_version = "SDR Version 01.02";
  EXPECT_EQ(Load(kTwoRecords), 0);
  EXPECT_FALSE(std::filesystem::exists("Get_ratio.xml_tmp"));
  EXPECT_EQ(g_ratio, 90);
  EXPECT_THAT(bmc.records, ElementsAre(kVersionBytes, kShortBytes));
}

// Compare only.

TEST_F(LoaderTest, CompareOnlyReadsTheRepositoryInService) {
  gSDRCompare = 1;
  gProgrammed = 1;
  bmc.records = {kVersionBytes, kShortBytes};
  EXPECT_EQ(Load(kTwoRecords), 0);
  EXPECT_THAT(machine().requests, ElementsAreArray(ReadBoth(0x28, 0x22, 0x23)));
  EXPECT_THAT(LogTexts(),
              ElementsAre("Reading SDR Repository.", "SDR data was successfully compared!"));
  EXPECT_EQ(gProgrammed, 0);
  EXPECT_EQ(g_ratio, 90);
}

TEST_F(LoaderTest, CompareOnlyTellsADifference) {
  gSDRCompare = 1;
  bmc.records = {kVersionBytes, kShortBytes};
  bmc.records[1][15] = 'D';
  EXPECT_EQ(Load(kTwoRecords), 32);
  EXPECT_THAT(machine().requests, ElementsAreArray(ReadBoth(0x28, 0x22, 0x23)));
  EXPECT_THAT(LogTexts(), ElementsAre("Reading SDR Repository.",
                                      "Verify 2 ++++++++ data error i=15 fSensData->Record[i]=68 "
                                      "eSensData->Record[i]=67",
                                      kCompareError, "Snd: 28 23 34 12 01 00 05 0B ",
                                      "Rec: 2C 23 00 FF FF 20 00 00 00 00 00 00 C3 42 4D 44 "));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR032"));
}

TEST_F(LoaderTest, CompareOnlyTellsAnEmptyRepository) {
  gSDRCompare = 1;
  EXPECT_EQ(Load(kTwoRecords), 32);
  EXPECT_THAT(LogTexts(), testing::Contains("No Sensor Data Records found on the server "));
  EXPECT_THAT(LogTexts(), testing::Contains(kCompareError));
}

// Failures of an update. The BMC's repository stays as it was in all of them.

TEST_F(LoaderTest, SparedModeThatCannotBeOpenedEndsTheLoadAtOnce) {
  const int descriptors = OpenDescriptors();
  bmc.records = {kShortBytes};
  gProgrammed = 1;
  Refuse({0xF8, 0x10}, 0xC1);
  EXPECT_EQ(Load(kTwoRecords), 81);
  EXPECT_THAT(machine().requests, ElementsAre(kSparedBegin0));
  EXPECT_THAT(LogTexts(), ElementsAre(kSparedError + "C1", "Snd: F8 10 00 ", "Rec: FC 10 C1 "));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR077"));
  EXPECT_EQ(loader.SparedActive(), 0);
  EXPECT_EQ(gProgrammed, 1) << "an earlier load's";
  EXPECT_EQ(g_ratio, 0);
  EXPECT_EQ(OpenDescriptors(), descriptors) << "the source file stays open";
  EXPECT_THAT(loader.Records(), ElementsAre(kVersionBytes, kShortBytes));
  EXPECT_THAT(bmc.records, ElementsAre(kShortBytes));
}

TEST_F(LoaderTest, DriverFailureAtTheStartIsReturnedAsItIs) {
  bmc.fault = [](const Bytes&, Reply* reply) { return reply->send_fails = true; };
  EXPECT_EQ(Load(kTwoRecords), 29);
  EXPECT_EQ(machine().requests.size(), 1U);
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR029"));
}

TEST_F(LoaderTest, FailedClearEndsInTheFailurePhaseWithoutReadBack) {
  bmc.records = {kShortBytes};
  Refuse({0xF8, 0x14}, 0xD5);
  EXPECT_EQ(Load(kTwoRecords), 33);
  EXPECT_THAT(machine().requests,
              ElementsAreArray(Join({{kSparedBegin0}, kClear, {kSparedFailure1}})));
  const std::string sent = "Snd: F8 14 34 12 43 4C 52 AA ";
  const std::string received = "Rec: FC 14 D5 ";
  EXPECT_THAT(LogTexts(), ElementsAre("Clearing SDR Repository...", kSparedError + "D5", sent,
                                      received, "Error, failed to clear the SDR repository", sent,
                                      received, kWriteError, sent, received));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR077"));
  EXPECT_EQ(gProgrammed, 0);
  EXPECT_EQ(g_ratio, 65);
  EXPECT_EQ(loader.SparedActive(), 0);
  EXPECT_THAT(bmc.records, ElementsAre(kShortBytes));
}

TEST_F(LoaderTest, FailedRecordEndsInTheFailurePhaseWithoutReadBack) {
  bmc.records = {kShortBytes};
  Refuse({0xF8, 0x13, 0x34, 0x12, 0x01}, 0x80);
  EXPECT_EQ(Load(kTwoRecords), 33);
  EXPECT_THAT(machine().requests,
              ElementsAreArray(Join({{kSparedBegin0}, kClear, kAddVersion, {kSparedFailure1}})));
  EXPECT_THAT(LogTexts(), testing::Contains(kWriteError));
  EXPECT_EQ(gProgrammed, 0);
  EXPECT_THAT(bmc.records, ElementsAre(kShortBytes));
}

TEST_F(LoaderTest, RecordWhoseOwnLengthIsTooLargeEndsInTheFailurePhase) {
  const std::string record = "_SDR_TYPE 01\n_REC_LEN 5\n0000510141\n";
  EXPECT_EQ(Load(Source(record)), 33);
  EXPECT_THAT(machine().requests,
              ElementsAreArray(Join({{kSparedBegin0}, kClear, {kSparedFailure1}})));
}

TEST_F(LoaderTest, FailedReadBackIsReportedWithItsOwnStatusFirst) {
  bmc.records = {kShortBytes};
  bmc.fault = [](const Bytes& request, Reply* reply) {
    reply->data = {0x00, 0xFF, 0xFF};
    return request[1] == 0x12;
  };
  EXPECT_EQ(Load(kTwoRecords), 33);
  EXPECT_THAT(
      machine().requests,
      ElementsAreArray(Join({{kSparedBegin0},
                             kClear,
                             kAddVersion,
                             kAddShort,
                             {{0xF8, 0x11}, {0xF8, 0x12, 0x34, 0x12, 0x00, 0x00, 0x00, 0x05}},
                             {kSparedFailure1}})));
  const std::string sent = "Snd: F8 12 34 12 00 00 00 05 ";
  const std::string received = "Rec: FC 12 00 FF FF ";
  EXPECT_THAT(LogTexts(),
              ElementsAre("Clearing SDR Repository...", "Writing SDR Record ",
                          "Reading SDR Repository.", "Error, wrong number of bytes read", sent,
                          received, kWriteError, sent, received));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR005"));
  EXPECT_EQ(g_ratio, 90) << "the progress rises all the same";
  EXPECT_EQ(ReadFile("Get_ratio.xml_tmp"), ResultText("OK", "90"));
  EXPECT_EQ(gProgrammed, 1);
  EXPECT_THAT(bmc.records, ElementsAre(kShortBytes));
}

TEST_F(LoaderTest, DifferenceAfterWritingEndsInTheFailurePhase) {
  bmc.records = {kShortBytes};
  bmc.fault = [this](const Bytes& request, Reply*) {
    if (request[1] == 0x12) bmc.staged[0][24] = '4';
    return false;
  };
  EXPECT_EQ(Load(kTwoRecords), 33);
  EXPECT_EQ(machine().requests.back(), kSparedFailure1);
  EXPECT_THAT(LogTexts(),
              testing::IsSupersetOf({std::string("Verify 1 ++++++++ data error i=24 "
                                                 "fSensData->Record[i]=52 eSensData->Record[i]=51"),
                                     kWriteError}));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR033"));
  EXPECT_THAT(bmc.records, ElementsAre(kShortBytes));
}

TEST_F(LoaderTest, FailureToCommitIsTheResult) {
  Refuse(kSparedSuccess2, 0xC1);
  EXPECT_EQ(Load(kTwoRecords), 26);
  EXPECT_EQ(machine().requests.back(), kSparedSuccess2);
  EXPECT_EQ(LogTexts().at(4), kSparedError + "C1");
  EXPECT_EQ(loader.SparedActive(), 0);
  EXPECT_THAT(bmc.records, IsEmpty());
}

TEST_F(LoaderTest, FailureToDropDoesNotReplaceTheFirstFailure) {
  bmc.fault = [](const Bytes& request, Reply* reply) {
    reply->data = {0xC1};
    return request[1] == 0x14 || request == kSparedFailure1;
  };
  EXPECT_EQ(Load(kTwoRecords), 33);
  EXPECT_EQ(machine().requests.back(), kSparedFailure1);
  EXPECT_EQ(loader.SparedActive(), 0);
}

TEST_F(LoaderTest, WhateverRequestFailsTheSparedModeIsClosedAndTheRepositoryWhole) {
  for (std::size_t failing = 0;; ++failing) {
    Start(kForcedUpdate);
    bmc = RepositoryBmc();
    bmc.records = {kShortBytes};
    std::size_t count = 0;
    bmc.fault = [&](const Bytes&, Reply* reply) {
      reply->data = {0xC1};
      return count++ == failing;
    };
    const int status = Load(kTwoRecords);
    if (count <= failing) {
      EXPECT_EQ(status, 0);
      EXPECT_EQ(count, 16U);
      break;
    }
    const std::vector<Bytes>& requests = machine().requests;
    EXPECT_NE(status, 0) << "request " << failing;
    EXPECT_THAT(bmc.records, ElementsAre(kShortBytes)) << "request " << failing;
    if (failing == 0) {
      EXPECT_EQ(requests.size(), 1U);
    } else if (failing < 15) {
      EXPECT_EQ(requests.back(), kSparedFailure1) << "request " << failing;
      EXPECT_EQ(std::count(requests.begin(), requests.end(), kSparedFailure1), 1);
    }
    EXPECT_EQ(std::count(requests.begin(), requests.end(), kSparedSuccess2), failing == 15 ? 1 : 0);
  }
}

TEST_F(LoaderTest, EveryFailedAllocationOfAnUpdateIsReportedAndDropsWhatWasWritten) {
  int failures = 0;
  for (int nth = 1;; ++nth) {
    Start(kForcedUpdate);
    bmc = RepositoryBmc();
    bmc.records = {kShortBytes};
    const FailingAllocation failing(nth);
    const int status = Load(kTwoRecords);
    if (!failing.Happened()) break;
    ++failures;
    const bool while_parsing = nth <= 3;
    EXPECT_EQ(status, while_parsing ? 2 : 33) << nth;
    EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR002"));
    EXPECT_EQ(gErrorBlock, nullptr);
    EXPECT_THAT(bmc.records, ElementsAre(kShortBytes));
    if (while_parsing) {
      EXPECT_THAT(LogTexts(), ElementsAre("Error, insufficient memory"));
      EXPECT_THAT(machine().requests, IsEmpty());
    } else {
      EXPECT_THAT(LogTexts(),
                  testing::IsSupersetOf({std::string("Error, insufficient memory"), kWriteError}));
      EXPECT_EQ(machine().requests.back(), kSparedFailure1);
    }
  }
  EXPECT_EQ(failures, 5) << "three while parsing, and one for each record read back";
}

// What stops before the BMC is changed.

TEST_F(LoaderTest, VersionQueryAnswersAndSendsNothing) {
  Start(kVersionQuery);
  g_HW_sdr_version = "SDR Version 01.02";
  EXPECT_EQ(Load(kTwoRecords), 81);
  EXPECT_THAT(machine().requests, IsEmpty());
  EXPECT_EQ(ReadFile("Get_version.xml"),
            ResultText("OK", "<cmp>Upper</cmp><version>01.02</version>"));
  EXPECT_THAT(LogTexts("tarvek_version.log"), IsEmpty());
}

TEST_F(LoaderTest, DownGradeIsRefused) {
  for (const char* version : {"SDR Version 01.03", "SDR Version 01.04"}) {
    Start(kNormalUpdate);
    g_HW_sdr_version = version;
    EXPECT_EQ(Load(kTwoRecords), 81);
    EXPECT_THAT(machine().requests, IsEmpty());
    EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("Down Grade"));
    EXPECT_THAT(LogTexts(), ElementsAre("SDRVersion unmatched.:Down Grade"));
    EXPECT_EQ(loader.Read(), nullptr);
  }
}

TEST_F(LoaderTest, NormalUpdateNeedsAVersion) {
  Start(kNormalUpdate);
  EXPECT_EQ(Load(Source(kShortRecord)), 81);
  EXPECT_THAT(machine().requests, IsEmpty());
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC07"));
  EXPECT_THAT(LogTexts(), ElementsAre("Not Found SDRVersion Record in input file."));
}

TEST_F(LoaderTest, VersionOfAnUnselectedRecordDoesNotCount) {
  Start(kNormalUpdate);
  std::string tagged = kVersionRecord;
  tagged.insert(tagged.find("_REC_LEN"), "_SDR_TAG 'CPU1'\n");
  EXPECT_EQ(Load(Source(tagged + kShortRecord)), 81);
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC07"));
}

TEST_F(LoaderTest, FileThatCannotBeOpenedIsReported) {
  EXPECT_EQ(loader.LoadFile("missing.sdr", nullptr), 68);
  EXPECT_THAT(LogTexts(), ElementsAre("Error, failed to open the specified SDR file"));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR068"));
  EXPECT_THAT(machine().requests, IsEmpty());
}

TEST_F(LoaderTest, EmptyFileIsReportedLikeAMissingOne) {
  const int descriptors = OpenDescriptors();
  EXPECT_EQ(Load(""), 68);
  EXPECT_THAT(LogTexts(), ElementsAre("Error, failed to open the specified SDR file"));
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(LoaderTest, NoPathLeavesTheSourceFileOpen) {
  const struct {
    RunMode mode;
    std::string text;
  } rows[] = {{kForcedUpdate, kTwoRecords}, {kNormalUpdate, kTwoRecords},
              {kVersionQuery, kTwoRecords}, {kForcedUpdate, "_LF_NAME"},
              {kForcedUpdate, kHeaders},    {kForcedUpdate, ""}};
  for (const auto& row : rows) {
    Start(row.mode);
    g_HW_sdr_version = "SDR Version 09.99";
    const int descriptors = OpenDescriptors();
    Load(row.text);
    EXPECT_EQ(OpenDescriptors(), descriptors);
  }
}

TEST_F(LoaderTest, TruncatedFileIsNeverSent) {
  const std::size_t complete = kTwoRecords.find_last_of(')') + 1;
  for (std::size_t length = 0; length <= kTwoRecords.size(); ++length) {
    Start(kForcedUpdate);
    bmc = RepositoryBmc();
    const int status = Load(kTwoRecords.substr(0, length));
    if (length < complete) {
      EXPECT_NE(status, 0) << length;
      EXPECT_THAT(machine().requests, IsEmpty()) << length;
      EXPECT_THAT(LogTexts(), testing::Not(IsEmpty())) << length;
    } else {
      EXPECT_EQ(status, 0) << length;
      EXPECT_THAT(bmc.records, ElementsAre(kVersionBytes, kShortBytes)) << length;
    }
  }
}

// Several loads with one loader, as a script's files are loaded.

TEST_F(LoaderTest, EachLoadWritesItsOwnRecordsOnly) {
  EXPECT_EQ(Load(kTwoRecords), 0);
  EXPECT_EQ(Load(Source(kShortRecord)), 0);
  EXPECT_THAT(bmc.records, ElementsAre(kShortBytes));
  EXPECT_EQ(g_inputSdrRecord, 4) << "all loads count";
  EXPECT_EQ(g_input_sdr_version, "SDR Version 01.03") << "the first version found stays";
}

TEST_F(LoaderTest, LoadAfterAFailedOneStartsAfresh) {
  Refuse({0xF8, 0x10, 0x00}, 0xC1);
  EXPECT_EQ(Load(kTwoRecords), 81);
  bmc.fault = nullptr;
  EXPECT_EQ(Load(Source(kShortRecord)), 0);
  EXPECT_THAT(bmc.records, ElementsAre(kShortBytes));
}

TEST_F(LoaderTest, CompareOnlyAfterAWriteUsesTheStandardCommands) {
  EXPECT_EQ(Load(kTwoRecords), 0);
  machine().requests.clear();
  gSDRCompare = 1;
  EXPECT_EQ(Load(kTwoRecords), 0);
  EXPECT_THAT(machine().requests, ElementsAreArray(ReadBoth(0x28, 0x22, 0x23)));
  EXPECT_EQ(gProgrammed, 0);
}

// Backup images.

class ImageTest : public LoaderTest {
 protected:
  void SetUp() override {
    LoaderTest::SetUp();
    g_option_flg = kImageInput;
  }

  static void UseImage(const std::vector<Bytes>& records) {
    std::size_t used = 0;
    for (const Bytes& record : records) {
      std::copy(record.begin(), record.end(), ipm_SDR + used);
      used += record.size();
    }
    ipm_sdr_size = static_cast<unsigned short>(used);
  }

  static Bytes RecordOfBody(int length, std::uint8_t fill = 0xAA) {
    Bytes record{0x01, 0x00, 0x51, 0x01, static_cast<std::uint8_t>(length)};
    record.resize(record.size() + static_cast<std::size_t>(length), fill);
    return record;
  }
};

TEST_F(ImageTest, RecordsAreTakenInOrder) {
  UseImage({kVersionBytes, RecordOfBody(0), RecordOfBody(64), kShortBytes});
  ASSERT_EQ(loader.ParseBinInfo(), 0);
  std::vector<Bytes> records;
  std::vector<unsigned> lengths;
  for (const SDRecord* record = loader.Read(); record != nullptr; record = record->next) {
    records.emplace_back(record->Record, record->Record + record->Record[4] + 5);
    lengths.push_back(record->length);
    EXPECT_STREQ(record->tag, "");
  }
  EXPECT_THAT(records, ElementsAre(kVersionBytes, RecordOfBody(0), RecordOfBody(64), kShortBytes));
  EXPECT_THAT(lengths, ElementsAre(20, 0, 64, 11)) << "the body's lengths";
  EXPECT_EQ(g_inputSdrRecord, 5);
  EXPECT_EQ(g_input_sdr_version, "SDR Version 01.03");
}

TEST_F(ImageTest, ImageWithoutRecordsGivesAnEmptyList) {
  EXPECT_EQ(loader.ParseBinInfo(), 0);
  EXPECT_EQ(loader.Read(), nullptr);
  EXPECT_EQ(g_inputSdrRecord, 1);
}

TEST_F(ImageTest, FullImageOfShortestRecordsIsTaken) {
  UseImage(std::vector<Bytes>(65535 / 5, RecordOfBody(0)));
  ASSERT_EQ(ipm_sdr_size, 65535);
  EXPECT_EQ(loader.ParseBinInfo(), 0);
  EXPECT_EQ(g_inputSdrRecord, 65535 / 5 + 1);
}

TEST_F(ImageTest, BodyLongerThan64BytesIsRefused) {
  for (const int length : {65, 128, 255}) {
    Start(kForcedUpdate);
    g_option_flg = kImageInput;
    UseImage({kShortBytes, RecordOfBody(length), kShortBytes});
    EXPECT_EQ(loader.LoadFile("not looked at", nullptr), 58);
    EXPECT_THAT(LogTexts(), ElementsAre("Error, invalid Sensor Data Record length found"));
    EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR058"));
    EXPECT_THAT(machine().requests, IsEmpty());
    EXPECT_EQ(loader.Read(), nullptr);
  }
}

TEST_F(ImageTest, RecordThatRunsPastTheImageIsRefused) {
  const std::size_t whole = kVersionBytes.size() + kShortBytes.size();
  for (std::size_t size = 1; size <= whole; ++size) {
    Start(kForcedUpdate);
    bmc = RepositoryBmc();
    g_option_flg = kImageInput;
    UseImage({kVersionBytes, kShortBytes});
    ipm_sdr_size = static_cast<unsigned short>(size);
    const int status = loader.LoadFile(nullptr, nullptr);
    if (size == kVersionBytes.size() || size == whole) {
      EXPECT_EQ(status, 0) << size;
    } else {
      EXPECT_EQ(status, 58) << size;
      EXPECT_THAT(machine().requests, IsEmpty()) << size;
    }
  }
}

TEST_F(ImageTest, RecordAtTheVeryEndOfAFullImageIsChecked) {
  // A header that only begins inside the image's 65535 bytes.
  std::vector<Bytes> records(1191, RecordOfBody(50));
  records.insert(records.end(), 5, RecordOfBody(0));
  records.push_back(RecordOfBody(64));
  records.back().resize(5);
  UseImage(records);
  ASSERT_EQ(ipm_sdr_size, 65535);
  EXPECT_EQ(loader.ParseBinInfo(), 58);
  for (int missing = 1; missing < 5; ++missing) {
    loader.FreeSDRMem(&loader.Read());
    ipm_sdr_size = static_cast<unsigned short>(65535 - missing);
    EXPECT_EQ(loader.ParseBinInfo(), 58);
  }
}

TEST_F(ImageTest, ImageIsRestored) {
  UseImage({kVersionBytes, kShortBytes});
  EXPECT_EQ(loader.LoadFile("not looked at", nullptr), 0);
  const std::vector<Bytes> read_back{{0xF8, 0x11},
                                     {0xF8, 0x12, 0x34, 0x12, 0x00, 0x00, 0x00, 0x10},
                                     {0xF8, 0x12, 0x34, 0x12, 0x00, 0x00, 0x10, 0x09},
                                     {0xF8, 0x11},
                                     {0xF8, 0x12, 0x34, 0x12, 0x01, 0x00, 0x00, 0x10}};
  EXPECT_THAT(
      machine().requests,
      ElementsAreArray(
          Join({{kSparedBegin0}, kClear, kAddVersion, kAddShort, read_back, {kSparedSuccess2}})));
  EXPECT_THAT(bmc.records, ElementsAre(kVersionBytes, kShortBytes));
}

TEST_F(ImageTest, FailedAllocationIsReported) {
  UseImage({kVersionBytes, kShortBytes});
  for (const int nth : {1, 2}) {
    ASSERT_NE(gErrorBlock, nullptr);
    const FailingAllocation failing(nth);
    EXPECT_EQ(loader.LoadFile(nullptr, nullptr), 2);
    EXPECT_TRUE(failing.Happened());
    EXPECT_EQ(gErrorBlock, nullptr);
    EXPECT_THAT(LogTexts(), ElementsAre("Error, insufficient memory"));
    EXPECT_THAT(machine().requests, IsEmpty());
    Start(kForcedUpdate);
    g_option_flg = kImageInput;
    UseImage({kVersionBytes, kShortBytes});
  }
}

// The input's version.

class InputVersionTest : public ImageTest {
 protected:
  /// The version that an image of these records gives.
  std::string VersionOf(const std::vector<Bytes>& records) {
    ResetGlobals();
    loader.FreeSDRMem(&loader.Read());
    for (auto bytes = records.rbegin(); bytes != records.rend(); ++bytes) {
      auto record = tarvek::NewRecord();
      std::copy(bytes->begin(), bytes->end(), record->Record);
      record->next = loader.Read();
      loader.Read() = record.release();
    }
    loader.setInputSdrVersion();
    return g_input_sdr_version;
  }

  static Bytes Changed(Bytes bytes, std::size_t at, std::uint8_t value) {
    bytes[at] = value;
    return bytes;
  }
};

TEST_F(InputVersionTest, ComesFromTheMakersVersionRecord) {
  EXPECT_EQ(VersionOf({kShortBytes, kVersionBytes}), "SDR Version 01.03");
}

TEST_F(InputVersionTest, ComesFromNoOtherRecord) {
  EXPECT_EQ(VersionOf({}), "");
  EXPECT_EQ(VersionOf({kShortBytes}), "");
  EXPECT_EQ(VersionOf({Changed(kVersionBytes, 3, 0xC1)}), "");
  EXPECT_EQ(VersionOf({Changed(kVersionBytes, 5, 0x78)}), "");
  EXPECT_EQ(VersionOf({Changed(kVersionBytes, 6, 0x01)}), "");
  EXPECT_EQ(VersionOf({Changed(kVersionBytes, 7, 0x01)}), "");
  EXPECT_EQ(VersionOf({Changed(kVersionBytes, 8, 's')}), "");
  EXPECT_EQ(VersionOf({Changed(kVersionBytes, 8, 0x16)}), "");
}

TEST_F(InputVersionTest, FirstRecordWins) {
  const Bytes second = Changed(kVersionBytes, 24, '9');
  EXPECT_EQ(VersionOf({kVersionBytes, second}), "SDR Version 01.03");
  EXPECT_EQ(VersionOf({second, kVersionBytes}), "SDR Version 01.09");
}

TEST_F(InputVersionTest, EarlierInputsVersionStays) {
  g_input_sdr_version = "SDR Version 00.01";
  loader.Read() = tarvek::NewRecord().release();
  std::copy(kVersionBytes.begin(), kVersionBytes.end(), loader.Read()->Record);
  loader.setInputSdrVersion();
  EXPECT_EQ(g_input_sdr_version, "SDR Version 00.01");
}

TEST_F(InputVersionTest, EndsWithTheRecordsBody) {
  EXPECT_EQ(VersionOf({Changed(kVersionBytes, 4, 0x13)}), "SDR Version 01.0");
  EXPECT_EQ(VersionOf({Changed(kVersionBytes, 4, 0x04)}), "S");
  EXPECT_EQ(loader.Read()->Record[9], 0);
}

TEST_F(InputVersionTest, EndsWithAZeroByteInTheText) {
  EXPECT_EQ(VersionOf({Changed(kVersionBytes, 11, 0)}), "SDR");
}

TEST_F(InputVersionTest, LengthThatLeadsOutOfTheRecordStaysInside) {
  Bytes longest = kVersionBytes;
  longest.resize(69, 'x');
  const std::string text(longest.begin() + 8, longest.end());
  for (const int length : {64, 65, 66, 128, 255}) {
    EXPECT_EQ(VersionOf({Changed(longest, 4, static_cast<std::uint8_t>(length))}), text) << length;
  }
}

TEST_F(InputVersionTest, LengthThatEndsBeforeTheTextIsNoDanger) {
  // Such a record's own bytes are cut, and the text behind them may still be read.
  for (const int length : {0, 1, 2, 3}) {
    const std::string version =
        VersionOf({Changed(kVersionBytes, 4, static_cast<std::uint8_t>(length))});
    EXPECT_EQ(loader.Read()->Record[length + 5], 0);
    EXPECT_EQ(version, length == 3 ? "" : "SDR Version 01.03");
  }
}

TEST_F(InputVersionTest, EveryRecordIsCounted) {
  VersionOf({kShortBytes, kVersionBytes, kVersionBytes});
  EXPECT_EQ(g_inputSdrRecord, 4);
  loader.setInputSdrVersion();
  EXPECT_EQ(g_inputSdrRecord, 7) << "over several loads";
}

TEST_F(InputVersionTest, WithoutMemoryForItIsAFailure) {
  UseImage({kVersionBytes, kShortBytes});
  ASSERT_NE(gErrorBlock, nullptr);
  std::string().swap(g_input_sdr_version);  // without the room that an earlier version has left
  {
    const FailingAllocation failing(1, Failing::kWithException);
    EXPECT_EQ(loader.LoadFile(nullptr, nullptr), 2);
    EXPECT_TRUE(failing.Happened());
  }
  EXPECT_EQ(gErrorBlock, nullptr);
  EXPECT_THAT(LogTexts(), ElementsAre("Error, insufficient memory"));
  EXPECT_THAT(machine().requests, IsEmpty());
}

// State at the start.

TEST_F(LoaderTest, IsMadeWithoutAnArgument) {
  const SDRFile plain;
  const SDRFile with_the_value(3232);
  EXPECT_EQ(plain.IsStaticData("00"), 1);
}

TEST_F(LoaderTest, FreshLoaderHoldsNothing) {
  EXPECT_EQ(loader.Read(), nullptr);
  EXPECT_EQ(loader.ReadBack(), nullptr);
  EXPECT_EQ(loader.SparedActive(), 0);
  EXPECT_EQ(gIPMI_Version, 1);
}

TEST_F(LoaderTest, NothingChangesTheScriptsDefaultPass) {
  EXPECT_EQ(Load(kTwoRecords), 0);
  EXPECT_EQ(gIPMI_Version, 1);
}

}  // namespace
}  // namespace tarvek_test
