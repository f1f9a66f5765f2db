#include "transport/ipmi_commands.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>

#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"
#include "tests/unit/support/small_bmc.h"
#include "transport/checksum.h"
#include "transport/ipmi_driver.h"

namespace tarvek_test {
namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kBadCode =
    "Error, failed to receive BMC response, bad completion code code = ";
constexpr const char* kCommandError = "Error, IPMI comand error for Backup/GetSdrVersion ";
constexpr unsigned char kUntouched = 0xA5;

const Bytes kReserve{0x28, 0x22};

Bytes GetRequest(unsigned reservation, unsigned record, int offset, int count) {
  const auto byte = [](unsigned value) { return static_cast<std::uint8_t>(value & 0xFF); };
  return {0x28,
          0x23,
          byte(reservation),
          byte(reservation >> 8),
          byte(record),
          byte(record >> 8),
          static_cast<std::uint8_t>(offset),
          static_cast<std::uint8_t>(count)};
}

bool IsGetSdr(const Bytes& request) { return request[0] == 0x28 && request[1] == 0x23; }

class Commands : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    g_eu_flg = kBackup;  // errors reach the log alone
    UseOpenIpmi();
    machine().bmc = [this](const Bytes& request) { return bmc_.Answer(request); };
    ipmi_err_type = kUntouched;
    ipmi_err_status = kUntouched;
    out_.fill(kUntouched);
  }

  void AnswerWith(const Reply& reply) {
    machine().bmc = [reply](const Bytes&) { return reply; };
  }
  Bytes Out(std::size_t n) const {
    return Bytes(out_.begin(), out_.begin() + static_cast<std::ptrdiff_t>(n));
  }
  bool UntouchedBehind(std::size_t n) const {
    return std::all_of(out_.begin() + static_cast<std::ptrdiff_t>(n), out_.end(),
                       [](unsigned char byte) { return byte == kUntouched; });
  }
  void ExpectFailure(unsigned char type, unsigned char status) {
    EXPECT_EQ(ipmi_err_type, type);
    EXPECT_EQ(ipmi_err_status, status);
  }

  SmallBmc bmc_;
  std::array<unsigned char, 512> out_{};
};

TEST_F(Commands, GetDeviceIdTellsItsAnswerFromTheCompletionCodeOn) {
  int length = 0;
  EXPECT_EQ(get_device_id(out_.data(), &length), 1);
  EXPECT_THAT(machine().requests, ElementsAre(Bytes{0x18, 0x01}));
  EXPECT_THAT(machine().capacities, ElementsAre(30));
  EXPECT_EQ(length, 12);
  EXPECT_EQ(Out(12),
            (Bytes{0x00, 0x20, 0x01, 0x02, 0x34, 0x51, 0x9F, 0x77, 0x00, 0x00, 0xA3, 0x01}));
  EXPECT_TRUE(UntouchedBehind(12));

  bmc_.device_id.insert(bmc_.device_id.end(), {0xF1, 0xF2, 0xF3, 0xF4});
  EXPECT_EQ(get_device_id(out_.data(), &length), 1);
  EXPECT_EQ(length, 16);
  EXPECT_EQ(Out(16), (Bytes{0x00, 0x20, 0x01, 0x02, 0x34, 0x51, 0x9F, 0x77, 0x00, 0x00, 0xA3, 0x01,
                            0xF1, 0xF2, 0xF3, 0xF4}));
  EXPECT_TRUE(UntouchedBehind(16));
}

TEST_F(Commands, GetSdrRepositoryInfoTells15Bytes) {
  EXPECT_EQ(get_sdr_repository_info(out_.data()), 1);
  EXPECT_THAT(machine().requests, ElementsAre(Bytes{0x28, 0x20}));
  EXPECT_THAT(machine().capacities, ElementsAre(30));
  EXPECT_EQ(Out(15), (Bytes{0x00, 0x51, 0x02, 0x00, 0x00, 0x10, 0x04, 0x03, 0x02, 0x01, 0x08, 0x07,
                            0x06, 0x05, 0x2F}));
  EXPECT_TRUE(UntouchedBehind(15));
}

TEST_F(Commands, ReserveSdrRepositoryTellsTheReservationLowByteFirst) {
  bmc_.next_reservation = 0xBEEF;
  unsigned short id = 0;
  EXPECT_EQ(reserve_sdr_repository(&id), 1);
  EXPECT_THAT(machine().requests, ElementsAre(kReserve));
  EXPECT_THAT(machine().capacities, ElementsAre(14));
  EXPECT_EQ(id, 0xBEEF);
}

TEST_F(Commands, GetSlotInformationTellsThreeBytes) {
  unsigned char a = 0;
  unsigned char b = 0;
  unsigned char c = 0;
  EXPECT_EQ(get_slot_information(&a, &b, &c), 1);
  EXPECT_THAT(machine().requests, ElementsAre(Bytes{0xF8, 0xE0}));
  EXPECT_THAT(machine().capacities, ElementsAre(30));
  EXPECT_EQ((Bytes{a, b, c}), (Bytes{0x07, 0x08, 0x09}));
}

struct Wrapper {
  const char* name;
  std::function<int()> call;
  std::uint8_t response_netfn;
  std::uint8_t command;
  std::set<std::size_t> lengths;  // of a good response image
};

/// Every wrapper that sends a single request; `out` holds what they give.
std::vector<Wrapper> Wrappers(unsigned char* out) {
  return {
      {"get_device_id",
       [out] {
         int length = 0;
         return get_device_id(out, &length);
       },
       0x1C,
       0x01,
       {14, 18}},
      {"get_sdr_repository_info", [out] { return get_sdr_repository_info(out); }, 0x2C, 0x20, {17}},
      {"reserve_sdr_repository",
       [] {
         unsigned short id = 0;
         return reserve_sdr_repository(&id);
       },
       0x2C,
       0x22,
       {5}},
      {"get_slot_information",
       [out] { return get_slot_information(out, out + 1, out + 2); },
       0xFC,
       0xE0,
       {6}},
  };
}

TEST_F(Commands, EveryWrapperAcceptsItsLengthsAlone) {
  for (const Wrapper& wrapper : Wrappers(out_.data())) {
    const bool reserves = wrapper.command == 0x22;
    for (std::size_t length = 3; length <= (reserves ? 16U : 32U); ++length) {
      SCOPED_TRACE(testing::Message() << wrapper.name << " " << length);
      ipmi_err_type = kUntouched;
      ipmi_err_status = kUntouched;
      AnswerWith(Ok(Bytes(length - 3, 0x01)));
      const bool good = wrapper.lengths.count(length) != 0;
      EXPECT_EQ(wrapper.call(), good ? 1 : 0);
      if (good) {
        ExpectFailure(kUntouched, kUntouched);
      } else {
        ExpectFailure(8, static_cast<unsigned char>(length));
      }
    }
  }
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(Commands, AFailedExchangeLeavesTheKindOfFailureUntouched) {
  for (const Wrapper& wrapper : Wrappers(out_.data())) {
    SCOPED_TRACE(wrapper.name);
    for (const Reply& reply : {DriverFails(), Refuse(0xC1), Refuse(0xC5)}) {
      AnswerWith(reply);
      EXPECT_EQ(wrapper.call(), 0);
      ExpectFailure(kUntouched, kUntouched);
      EXPECT_TRUE(UntouchedBehind(0));
    }
  }
}

TEST_F(Commands, TheNetFnIsCheckedBeforeTheLength) {
  UseMakerDriver();
  for (const Wrapper& wrapper : Wrappers(out_.data())) {
    SCOPED_TRACE(wrapper.name);
    for (const std::size_t length : {std::size_t{3}, *wrapper.lengths.begin()}) {
      Bytes image(length, 0x00);
      image[0] = static_cast<std::uint8_t>(wrapper.response_netfn - 4);
      AnswerWith(WholeImage(image));
      EXPECT_EQ(wrapper.call(), 0);
      ExpectFailure(6, static_cast<unsigned char>(wrapper.response_netfn - 4));
    }
  }
}

TEST_F(Commands, TheCompletionCodeOfAStrangeNetFnFailsTheExchangeFirst) {
  UseMakerDriver();
  for (const Wrapper& wrapper : Wrappers(out_.data())) {
    AnswerWith(WholeImage(Bytes{0x00, wrapper.command, 0xC1}));
    EXPECT_EQ(wrapper.call(), 0) << wrapper.name;
    ExpectFailure(kUntouched, kUntouched);
  }
}

TEST_F(Commands, TheCommandByteOfAResponseIsNotCompared) {
  UseMakerDriver();
  for (const Wrapper& wrapper : Wrappers(out_.data())) {
    Bytes image(*wrapper.lengths.begin(), 0x00);
    image[0] = wrapper.response_netfn;
    image[1] = 0x99;
    AnswerWith(WholeImage(image));
    EXPECT_EQ(wrapper.call(), 1) << wrapper.name;
  }
}

TEST_F(Commands, AnEmptyResponseIsAWrongNetFn) {
  UseMakerDriver();
  for (const Wrapper& wrapper : Wrappers(out_.data())) {
    AnswerWith(WholeImage({}));
    EXPECT_EQ(wrapper.call(), 0) << wrapper.name;
    ExpectFailure(6, 0x00);
  }
}

TEST_F(Commands, EveryWrapperWorksOverTheMakersDriver) {
  UseMakerDriver();
  for (const Wrapper& wrapper : Wrappers(out_.data())) EXPECT_EQ(wrapper.call(), 1) << wrapper.name;
  EXPECT_THAT(machine().requests,
              ElementsAre(Bytes{0x18, 0x01}, Bytes{0x28, 0x20}, kReserve, Bytes{0xF8, 0xE0}));
}

TEST_F(Commands, AnUnknownSlotCommandIsSilentAndNothingElseIs) {
  AnswerWith(Refuse(0xC1));
  unsigned char slot = 0;
  EXPECT_EQ(get_slot_information(&slot, &slot, &slot), 0);
  EXPECT_EQ(gErrMsgRepr, 0);
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
  EXPECT_EQ(get_sdr_repository_info(out_.data()), 0);
  EXPECT_THAT(LogTexts(),
              ElementsAre(std::string(kBadCode) + "C1", "Snd: 28 20 ", "Rec: 2C 20 C1 "));
}

/// get_sdr() with a caller's variables.
class GetSdr : public Commands {
 protected:
  int Read(unsigned short id = 0) {
    id_ = id;
    return get_sdr(&id_, out_.data(), &length_);
  }
  /// Lets the first `times` Get SDR requests, from number `from` on, be cancelled.
  void Cancel(int times, int from = 1) {
    bmc_.intercept = [this, times, from](const Bytes& request) -> std::optional<Reply> {
      if (!IsGetSdr(request)) return std::nullopt;
      ++reads_;
      if (reads_ < from || reads_ >= from + times) return std::nullopt;
      return Refuse(0xC5);
    };
  }

  unsigned short id_ = 0;
  unsigned char length_ = 0;
  int reads_ = 0;
};

TEST_F(GetSdr, ReadsTheHeaderAndThenPiecesOf16Bytes) {
  struct Case {
    int body;
    std::vector<int> counts;
  };
  const Case cases[] = {
      {0, {5}},
      {1, {5, 1}},
      {16, {5, 16}},
      {17, {5, 16, 1}},
      {64, {5, 16, 16, 16, 16}},
      {250, {5, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 10}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.body);
    machine().requests.clear();
    machine().capacities.clear();
    out_.fill(kUntouched);
    bmc_.records = {CountingRecord(0x0701, c.body)};
    const unsigned reservation = bmc_.next_reservation;
    EXPECT_EQ(Read(), 1);
    std::vector<Bytes> expected{kReserve};
    int offset = 0;
    for (const int count : c.counts) {
      expected.push_back(GetRequest(reservation, 0, offset, count));
      offset += count;
    }
    EXPECT_EQ(machine().requests, expected);
    std::vector<int> capacities(c.counts.size() + 1, 30);
    capacities[0] = 14;
    EXPECT_EQ(machine().capacities, capacities);
    EXPECT_EQ(length_, c.body + 5);
    EXPECT_EQ(id_, 0xFFFF);
    EXPECT_EQ(Out(length_), bmc_.records[0]);
    EXPECT_TRUE(UntouchedBehind(length_));
  }
  ExpectFailure(kUntouched, kUntouched);
}

TEST_F(GetSdr, GivesTheNextRecordIdThatTheLastPieceNames) {
  bmc_.intercept = [](const Bytes& request) -> std::optional<Reply> {
    if (!IsGetSdr(request)) return std::nullopt;
    if (request[6] == 0) return Ok({0x11, 0x11, 0x34, 0x12, 0x51, 0x01, 0x02});
    return Ok({0xCD, 0xAB, 0x01, 0x02});
  };
  EXPECT_EQ(Read(0x1234), 1);
  EXPECT_EQ(id_, 0xABCD);
  EXPECT_EQ(machine().requests[1], GetRequest(0x1234, 0x1234, 0, 5));
  EXPECT_EQ(machine().requests[2], GetRequest(0x1234, 0x1234, 5, 2));
}

TEST_F(GetSdr, IsSilentAboutCancelledReservationsWhileItReads) {
  std::vector<int> flags;
  bmc_.records = {CountingRecord(1, 1)};
  bmc_.intercept = [&](const Bytes&) -> std::optional<Reply> {
    flags.push_back(gErrRtyMsg);
    return std::nullopt;
  };
  EXPECT_EQ(Read(), 1);
  EXPECT_THAT(flags, ElementsAre(0, 1, 1));
  EXPECT_EQ(gErrRtyMsg, 0);
}

TEST_F(GetSdr, AFailedReservationSetsNothing) {
  AnswerWith(Refuse(0xC1));
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(machine().requests.size(), 1U);
  ExpectFailure(kUntouched, kUntouched);
  EXPECT_EQ(gErrRtyMsg, 0);
  EXPECT_THAT(LogTexts(),
              ElementsAre(std::string(kBadCode) + "C1", "Snd: 28 22 ", "Rec: 2C 22 C1 "));
}

TEST_F(GetSdr, ADriverFailureSetsNothing) {
  bmc_.intercept = [](const Bytes& request) -> std::optional<Reply> {
    return IsGetSdr(request) ? std::optional(DriverFails()) : std::nullopt;
  };
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(machine().requests.size(), 2U);
  ExpectFailure(kUntouched, kUntouched);
  EXPECT_EQ(gErrRtyMsg, 0);
  EXPECT_EQ(LogTexts().front(), "Error, failed to send IPMI command");
}

TEST_F(GetSdr, ABadCompletionCodeIsType7AlthoughTheExchangeFailed) {
  bmc_.records = {CountingRecord(1, 20)};
  for (const std::uint8_t offset : Bytes{0, 5}) {
    bmc_.intercept = [offset](const Bytes& request) -> std::optional<Reply> {
      if (!IsGetSdr(request) || request[6] != offset) return std::nullopt;
      return Refuse(0xCB);
    };
    EXPECT_EQ(Read(), 0);
    ExpectFailure(7, 0xCB);
    EXPECT_EQ(id_, 0);
    EXPECT_EQ(gErrRtyMsg, 0);
    EXPECT_EQ(LogTexts().front(), std::string(kBadCode) + "CB");
  }
}

TEST_F(GetSdr, AWrongNetFnIsType6BeforeTheCompletionCodeCounts) {
  UseMakerDriver();
  for (const std::uint8_t code : Bytes{0x00, 0xC5, 0xCB}) {
    machine().requests.clear();
    bmc_.intercept = [code](const Bytes& request) -> std::optional<Reply> {
      if (!IsGetSdr(request)) return std::nullopt;
      return WholeImage(Bytes{0x28, 0x23, code, 0x00});
    };
    EXPECT_EQ(Read(), 0);
    ExpectFailure(6, 0x28);
    EXPECT_EQ(machine().requests.size(), 2U);
  }
}

TEST_F(GetSdr, AWrongLengthIsType8) {
  for (const std::size_t length : {3U, 9U, 11U, 32U}) {
    bmc_.intercept = [length](const Bytes& request) -> std::optional<Reply> {
      return IsGetSdr(request) ? std::optional(Ok(Bytes(length - 3, 0x00))) : std::nullopt;
    };
    EXPECT_EQ(Read(), 0);
    ExpectFailure(8, static_cast<unsigned char>(length));
    EXPECT_TRUE(UntouchedBehind(0));
  }
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(GetSdr, ACancelledReservationRestartsTheWholeRecordWithANewOne) {
  bmc_.records = {CountingRecord(1, 20)};
  Cancel(1, 2);
  EXPECT_EQ(Read(), 1);
  EXPECT_THAT(machine().requests,
              ElementsAre(kReserve, GetRequest(0x1234, 0, 0, 5), GetRequest(0x1234, 0, 5, 16),
                          kReserve, GetRequest(0x1235, 0, 0, 5), GetRequest(0x1235, 0, 5, 16),
                          GetRequest(0x1235, 0, 21, 4)));
  EXPECT_EQ(Out(25), bmc_.records[0]);
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(GetSdr, SurvivesThreeHundredCancelledReservations) {
  bmc_.records = {CountingRecord(1, 0)};
  Cancel(300);
  EXPECT_EQ(Read(), 1);
  EXPECT_EQ(machine().requests.size(), 2U * 301U);
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(GetSdr, GivesUpAtTheThreeHundredAndFirst) {
  bmc_.records = {CountingRecord(1, 0)};
  Cancel(301);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(machine().requests.size(), 2U * 301U);
  ExpectFailure(7, 0xC5);
  EXPECT_EQ(gErrRtyMsg, 0);
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(GetSdr, AVersionQueryGivesUpAtTheFirst) {
  g_eu_flg = kVersionQuery;
  bmc_.records = {CountingRecord(1, 0)};
  Cancel(1);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(machine().requests.size(), 2U);
  ExpectFailure(7, 0xC5);
  EXPECT_FALSE(std::filesystem::exists("tarvek_version.log"));
}

TEST_F(GetSdr, AFailedReservationAmongTheRestartsSetsNothing) {
  bmc_.intercept = [this](const Bytes& request) -> std::optional<Reply> {
    if (IsGetSdr(request)) return Refuse(0xC5);
    return machine().requests.size() == 1 ? std::nullopt : std::optional(Refuse(0xC1));
  };
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(machine().requests.size(), 3U);
  ExpectFailure(kUntouched, kUntouched);
  EXPECT_EQ(gErrRtyMsg, 0);
}

// Header and body do not fit the one byte that holds a record's total length.
TEST_F(GetSdr, ABodyOf251BytesOrMoreIsRefused) {
  for (const std::uint8_t body : Bytes{251, 252, 255}) {
    machine().requests.clear();
    bmc_.intercept = [body](const Bytes& request) -> std::optional<Reply> {
      if (!IsGetSdr(request)) return std::nullopt;
      Bytes data(request[7] + 2U, body);
      return Ok(data);
    };
    EXPECT_EQ(Read(), 0);
    EXPECT_EQ(machine().requests.size(), 2U);
    ExpectFailure(8, body);
    EXPECT_TRUE(UntouchedBehind(5));
  }
}

TEST_F(GetSdr, ALengthByteThatChangesOnTheWayIsNotLookedAtAgain) {
  bmc_.intercept = [](const Bytes& request) -> std::optional<Reply> {
    if (!IsGetSdr(request)) return std::nullopt;
    if (request[6] == 0) return Ok({0xFF, 0xFF, 0x01, 0x00, 0x51, 0x01, 0x02});
    return Ok(Bytes(request[7] + 2U, 0xFF));
  };
  EXPECT_EQ(Read(), 1);
  EXPECT_EQ(length_, 7);
  EXPECT_TRUE(UntouchedBehind(7));
}

class BmcIdentity : public Commands {
 protected:
  /// `byte` at `offset` of an otherwise usual Get Device ID answer, from the completion code on.
  void SetIdByte(std::size_t offset, std::uint8_t byte) { bmc_.device_id[offset - 1] = byte; }

  static Bytes Block() { return Bytes(std::begin(ipm_ipmi), std::end(ipm_ipmi)); }
};

TEST_F(BmcIdentity, TheWholeBlock) {
  std::fill(std::begin(ipm_head), std::end(ipm_head), kUntouched);
  std::fill(std::begin(ipm_ipmi), std::end(ipm_ipmi), kUntouched);
  EXPECT_EQ(chk_ipmi_version(), 1);
  EXPECT_THAT(machine().requests, ElementsAre(Bytes{0x18, 0x01}, Bytes{0xF8, 0xE0}));
  Bytes expected{0x00, 0x20, 0x01, 0x02, 0x34, 0x51, 0x9F, 0x77, 0x00, 0x00, 0xA3, 0x01};
  expected.resize(28, 0x00);
  expected.insert(expected.end(), {0x07, 0x01, 0x00});
  // 20h+01h+02h+34h+51h+9Fh+77h+A3h+01h+07h+01h = 26Ah, and 96h brings it to 300h.
  expected.push_back(0x96);
  EXPECT_EQ(Block(), expected);
  EXPECT_THAT(ipm_head, Each(0));
}

TEST_F(BmcIdentity, TheWholeBlockWithTheAuxiliaryRevision) {
  bmc_.device_id.insert(bmc_.device_id.end(), {0x01, 0x02, 0x03, 0x04});
  EXPECT_EQ(chk_ipmi_version(), 1);
  Bytes expected{0x00, 0x20, 0x01, 0x02, 0x34, 0x51, 0x9F, 0x77,
                 0x00, 0x00, 0xA3, 0x01, 0x01, 0x02, 0x03, 0x04};
  expected.resize(28, 0x00);
  expected.insert(expected.end(), {0x07, 0x01, 0x01});
  expected.push_back(0x8B);  // 96h less the 0Bh that came in
  EXPECT_EQ(Block(), expected);
}

TEST_F(BmcIdentity, TheSlotIsAskedForByIpmiVersion) {
  struct Case {
    std::uint8_t version;
    bool asked;
  };
  for (const Case& c : {Case{0x51, true}, Case{0x02, true}, Case{0x01, false}, Case{0x15, false},
                        Case{0x20, false}, Case{0x00, false}, Case{0xFF, false}}) {
    machine().requests.clear();
    SetIdByte(5, c.version);
    EXPECT_EQ(chk_ipmi_version(), 1);
    EXPECT_EQ(machine().requests.size(), c.asked ? 2U : 1U) << int{c.version};
    EXPECT_EQ(ipm_ipmi[28], c.asked ? 0x07 : 0x00);
    EXPECT_EQ(ipm_ipmi[29], c.asked ? 1 : 0);
    EXPECT_EQ(calc_sum(ipm_ipmi, 32), 0);
  }
}

TEST_F(BmcIdentity, ABmcWithoutSlotInformationIsIdentifiedSilently) {
  for (const Reply& reply : {Refuse(0xC1), Ok({0x01, 0x02})}) {
    bmc_.intercept = [reply](const Bytes& request) -> std::optional<Reply> {
      return request[0] == 0xF8 ? std::optional(reply) : std::nullopt;
    };
    EXPECT_EQ(chk_ipmi_version(), 1);
    EXPECT_EQ(ipm_ipmi[28], 0);
    EXPECT_EQ(ipm_ipmi[29], 0);
    EXPECT_EQ(calc_sum(ipm_ipmi, 32), 0);
  }
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(BmcIdentity, VersionAndClass) {
  struct Case {
    std::uint8_t version;
    Bytes manufacturer;
    unsigned char ver;
    unsigned char kov;
    unsigned char type;
  };
  const Bytes maker{0x77, 0x00, 0x00};
  const Case cases[] = {
      {0x51, maker, 0x15, 1, 3},
      {0x02, maker, 0x20, 1, 3},
      {0x51, {0x78, 0x00, 0x00}, 0x15, 0, 3},
      {0x41, maker, 0x14, 1, 0},
      {0x41, {0x77, 0x01, 0x00}, 0x14, 0, 1},
      {0x01, maker, 0x10, 1, 0},
      {0x01, {0x77, 0x00, 0x01}, 0x10, 0, 1},
      {0x00, {0x00, 0x00, 0x00}, 0x00, 0, 1},
      {0xFF, maker, 0xFF, 1, 3},
  };
  for (const Case& c : cases) {
    SetIdByte(5, c.version);
    for (std::size_t i = 0; i < 3; ++i) SetIdByte(7 + i, c.manufacturer[i]);
    ipm_head[10] = 3;  // an older image's type is forgotten first
    EXPECT_EQ(chk_ipmi_version(), 1);
    EXPECT_EQ(ipm_ver, c.ver);
    EXPECT_EQ(ipm_kov, c.kov);
    EXPECT_EQ(ipm_type, c.type) << int{c.version};
  }
}

TEST_F(BmcIdentity, AFailureIsReportedByName) {
  AnswerWith(Ok(Bytes(13, 0x01)));  // 16 bytes with the header: neither 14 nor 18
  EXPECT_EQ(chk_ipmi_version(), 0);
  EXPECT_THAT(ipm_ipmi, Each(0));
  EXPECT_THAT(LogTexts(),
              ElementsAre(std::string(kCommandError) + "Command: Get Device ID illegal Size : 10 h",
                          "Snd: 18 01 ", "Rec: 1C 01 00 01 01 01 01 01 01 01 01 01 01 01 01 01 "));
}

TEST_F(BmcIdentity, ADriverFailureIsReportedTwiceOverByExchangeAndCommand) {
  ipmi_err_type = 0;
  AnswerWith(DriverFails());
  EXPECT_EQ(chk_ipmi_version(), 0);
  std::string received = "Rec: ";
  for (int i = 0; i < 30; ++i) received += "00 ";
  EXPECT_THAT(LogTexts(), ElementsAre("Error, failed to send IPMI command", "Snd: 18 01 ", received,
                                      std::string(kCommandError) + "Command: Get Device ID",
                                      "Snd: 18 01 ", received));
}

class CommandError : public Commands {};

TEST_F(CommandError, NamesTheCommandAndTheOffendingValue) {
  struct Case {
    unsigned char type;
    unsigned char status;
    const char* text;
  };
  const Case cases[] = {
      {6, 0x2C, "Command: Some Name illegal NetFn : 2C h"},
      {7, 0xC5, "Command: Some Name illegal Completion Code : C5 h"},
      {8, 0x0A, "Command: Some Name illegal Size : 0A h"},
      {0, 0x0A, "Command: Some Name"},
      {5, 0x0A, "Command: Some Name"},
      {9, 0x0A, "Command: Some Name"},
      {0xFF, 0x0A, "Command: Some Name"},
  };
  for (const Case& c : cases) {
    std::filesystem::remove("tarvek.log");
    ipmi_err_type = c.type;
    ipmi_err_status = c.status;
    char name[] = "Some Name";
    disp_cmd_err(name);
    EXPECT_THAT(LogTexts(), ElementsAre(std::string(kCommandError) + c.text, "", ""));
    ExpectFailure(c.type, c.status);
  }
}

TEST_F(CommandError, IsStatus30) {
  g_eu_flg = kNormalUpdate;
  disp_cmd_err("Get SDR");
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDR030"));
}

TEST_F(CommandError, AKindThatIsNotSetRepeatsTheWordingBefore) {
  AnswerWith(Ok({0x01}));
  EXPECT_EQ(chk_ipmi_version(), 0);
  AnswerWith(DriverFails());
  EXPECT_EQ(chk_ipmi_version(), 0);
  const std::vector<std::string> lines = LogTexts();
  EXPECT_EQ(std::count(lines.begin(), lines.end(),
                       std::string(kCommandError) + "Command: Get Device ID illegal Size : 04 h"),
            2);
}

/// The records 'version' and 'script' of the maker, as their texts mark them.
Bytes VersionRecord(const std::string& text) { return MakerRecord(1, TextBytes(text)); }
Bytes ScriptRecord(const std::string& name) {
  Bytes rest{0x16};
  const Bytes text = TextBytes(name);
  rest.insert(rest.end(), text.begin(), text.end());
  return MakerRecord(1, rest);
}

class WholeRepository : public Commands {
 protected:
  static Bytes Image(std::size_t n) { return Bytes(ipm_SDR, ipm_SDR + n); }
  Bytes RecordsBackToBack() const {
    Bytes all;
    for (const Bytes& record : bmc_.records) all.insert(all.end(), record.begin(), record.end());
    return all;
  }
};

TEST_F(WholeRepository, IsReadRecordByRecordIntoTheImage) {
  std::fill(std::begin(ipm_SDR), std::end(ipm_SDR), kUntouched);
  bmc_.records = {CountingRecord(1, 11), CountingRecord(7, 0), CountingRecord(9, 64)};
  EXPECT_EQ(get_new_sdr(), 1);
  EXPECT_EQ(ipm_sdr_size, 16 + 5 + 69);
  EXPECT_EQ(ipm_sdr_buf, ipm_SDR);
  EXPECT_EQ(Image(ipm_sdr_size), RecordsBackToBack());
  EXPECT_TRUE(std::all_of(ipm_SDR + ipm_sdr_size, std::end(ipm_SDR),
                          [](unsigned char byte) { return byte == 0; }));
  EXPECT_THAT(LogTexts(), ElementsAre("SDRReocrd Reading"));
  EXPECT_THAT(machine().requests,
              ElementsAre(kReserve, GetRequest(0x1234, 0, 0, 5), GetRequest(0x1234, 0, 5, 11),  //
                          kReserve, GetRequest(0x1235, 1, 0, 5),                                //
                          kReserve, GetRequest(0x1236, 2, 0, 5), GetRequest(0x1236, 2, 5, 16),
                          GetRequest(0x1236, 2, 21, 16), GetRequest(0x1236, 2, 37, 16),
                          GetRequest(0x1236, 2, 53, 16)));
}

TEST_F(WholeRepository, IsReadOncePerRun) {
  bmc_.records = {CountingRecord(1, 11)};
  EXPECT_EQ(get_new_sdr(), 1);
  machine().requests.clear();
  EXPECT_EQ(get_new_sdr(), 1);
  EXPECT_THAT(machine().requests, IsEmpty());
  EXPECT_THAT(LogTexts(), ElementsAre("SDRReocrd Reading"));
}

TEST_F(WholeRepository, OneRecordWhoseNextIsFFFFIsTheWholeImage) {
  bmc_.records = {CountingRecord(1, 3)};
  EXPECT_EQ(get_new_sdr(), 1);
  EXPECT_EQ(ipm_sdr_size, 8);
  EXPECT_EQ(Image(8), bmc_.records[0]);
}

TEST_F(WholeRepository, AnEmptyRepositoryFails) {
  EXPECT_EQ(get_new_sdr(), 0);
  EXPECT_EQ(ipm_sdr_size, 0);
  EXPECT_THAT(LogTexts(),
              ElementsAre("SDRReocrd Reading", std::string(kBadCode) + "CB",
                          "Snd: 28 23 34 12 00 00 00 05 ", "Rec: 2C 23 CB ",
                          std::string(kCommandError) +
                              "Command: Get SDR or Reserve SDR Repository illegal Completion "
                              "Code : CB h",
                          "Snd: 28 23 34 12 00 00 00 05 ", "Rec: 2C 23 CB "));
}

TEST_F(WholeRepository, AFailureInTheMiddleLeavesItUnread) {
  bmc_.records = {CountingRecord(1, 3), CountingRecord(2, 3)};
  bmc_.intercept = [](const Bytes& request) -> std::optional<Reply> {
    const bool second = IsGetSdr(request) && request[4] == 1;
    return second ? std::optional(DriverFails()) : std::nullopt;
  };
  EXPECT_EQ(get_new_sdr(), 0);
  EXPECT_EQ(ipm_sdr_size, 0);
  bmc_.intercept = nullptr;
  EXPECT_EQ(get_new_sdr(), 1);
  EXPECT_EQ(Image(ipm_sdr_size), RecordsBackToBack());
}

TEST_F(WholeRepository, MayFillTheImageToItsLastByte) {
  bmc_.records.assign(257, CountingRecord(1, 250));  // 257 * 255 = 65535
  EXPECT_EQ(get_new_sdr(), 1);
  EXPECT_EQ(ipm_sdr_size, 65535);
  EXPECT_EQ(Image(65535), RecordsBackToBack());
}

TEST_F(WholeRepository, OneByteTooManyIsAFailureReport) {
  bmc_.records.assign(256, CountingRecord(1, 250));
  bmc_.records.push_back(CountingRecord(1, 246));
  bmc_.records.push_back(CountingRecord(1, 0));  // 256 * 255 + 251 + 5 = 65536
  EXPECT_EQ(get_new_sdr(), 0);
  EXPECT_EQ(ipm_sdr_size, 0);
  const std::vector<std::string> lines = LogTexts();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0], "SDRReocrd Reading");
  EXPECT_EQ(lines[1], std::string(kCommandError) + "Command: Get SDR or Reserve SDR Repository");
}

TEST_F(WholeRepository, AChainThatLoopsEndsWhenTheImageIsFull) {
  for (const int body : {0, 11, 250}) {
    machine().requests.clear();
    const Bytes record = CountingRecord(1, body);
    bmc_.intercept = [record](const Bytes& request) -> std::optional<Reply> {
      if (!IsGetSdr(request)) return std::nullopt;
      Bytes data{0x00, 0x00};
      data.insert(data.end(), record.begin() + request[6],
                  record.begin() + request[6] + request[7]);
      return Ok(data);
    };
    EXPECT_EQ(get_new_sdr(), 0);
    EXPECT_EQ(ipm_sdr_size, 0);
    EXPECT_LE(machine().requests.size(), 3U * 13108U);
  }
}

struct TextCase {
  const char* name;
  std::vector<Bytes> records;
  std::string version;
  std::string script;
};

TEST_F(WholeRepository, NamesVersionAndScriptInRecordsOfTheMaker) {
  const Bytes other = CountingRecord(1, 11);
  const TextCase cases[] = {
      {"none", {other}, "", ""},
      {"version with its S", {VersionRecord("SDR Ver.01.02")}, "SDR Ver.01.02", ""},
      {"S alone", {VersionRecord("S")}, "S", ""},
      {"another letter", {VersionRecord("X01")}, "", ""},
      {"a small s", {VersionRecord("s01")}, "", ""},
      {"script behind its mark", {ScriptRecord("BOARD")}, "", "BOARD.CFG"},
      {"a script without a name", {ScriptRecord("")}, "", ".CFG"},
      {"both", {other, ScriptRecord("A"), other, VersionRecord("S1")}, "S1", "A.CFG"},
      {"the first of each wins",
       {VersionRecord("S1"), VersionRecord("S2"), ScriptRecord("A"), ScriptRecord("B")},
       "S1",
       "A.CFG"},
      {"a zero byte ends a text",
       {MakerRecord(1, {'S', '1', 0x00, '2'}), MakerRecord(1, {0x16, 'A', 0x00, 'B'})},
       "S1",
       "A.CFG"},
      {"a text ends with its record, whatever follows",
       {VersionRecord("SAB"), other, ScriptRecord("AB"), other},
       "SAB",
       "AB.CFG"},
      {"another manufacturer",
       {MakeRecord(1, 0xC0, {0x78, 0x00, 0x00, 'S', '1'}),
        MakeRecord(1, 0xC0, {0x77, 0x01, 0x00, 'S', '1'}),
        MakeRecord(1, 0xC0, {0x77, 0x00, 0x01, 0x16, 'A'})},
       "",
       ""},
      {"another record type", {MakeRecord(1, 0xC1, {0x77, 0x00, 0x00, 'S', '1'})}, "", ""},
      {"records too short to say anything",
       {MakeRecord(1, 0xC0, {}), MakeRecord(1, 0xC0, {0x77}), MakerRecord(1, {})},
       "",
       ""},
      {"the longest record",
       {VersionRecord("S" + std::string(246, 'v'))},
       "S" + std::string(246, 'v'),
       ""},
      {"bytes that are no text", {MakerRecord(1, {'S', '%', 's', 0xFF})}, "S%s\xFF", ""},
  };
  for (const TextCase& c : cases) {
    SCOPED_TRACE(c.name);
    ipm_sdr_size = 0;
    g_HW_sdr_version.clear();
    gCFGIdentifyOEMSDR.clear();
    bmc_.records = c.records;
    EXPECT_EQ(get_new_sdr(), 1);
    EXPECT_EQ(g_HW_sdr_version, c.version);
    EXPECT_EQ(gCFGIdentifyOEMSDR, c.script);
    EXPECT_EQ(Image(ipm_sdr_size), RecordsBackToBack());
  }
}

/// A record may change between a cancelled try and the next one: nothing of the first is taken for
/// the second's.
TEST_F(WholeRepository, ARecordThatIsAnotherWhenItIsReadAgainIsTheNewOneAlone) {
  const Bytes records[] = {
      VersionRecord("SDR Version 01.02 of a board with a long name"),
      VersionRecord("S01."),
      VersionRecord("S"),
      ScriptRecord("A-SCRIPT-WITH-A-LONG-NAME"),
      ScriptRecord("B"),
      ScriptRecord(""),
      MakerRecord(1, {}),
      MakerRecord(1, {'X', '0', '1'}),
      MakeRecord(1, 0xC0, {0x77}),
      MakeRecord(1, 0xC0, {}),
      MakeRecord(1, 0xC1, {0x77, 0x00, 0x00, 'S', '1'}),
      CountingRecord(1, 0),
      CountingRecord(1, 64),
  };
  const auto read = [this](const Bytes& record) {
    ipm_sdr_size = 0;
    g_HW_sdr_version.clear();
    gCFGIdentifyOEMSDR.clear();
    bmc_.records = {record};
    EXPECT_EQ(get_new_sdr(), 1);
  };
  for (const Bytes& after : records) {
    bmc_.intercept = nullptr;
    read(after);
    const std::string version = g_HW_sdr_version;
    const std::string script = gCFGIdentifyOEMSDR;
    for (const Bytes& before : records) {
      for (std::size_t cancelled = 0; cancelled < before.size(); ++cancelled) {
        bool changed = false;
        bmc_.intercept = [&](const Bytes& request) -> std::optional<Reply> {
          if (!IsGetSdr(request) || changed || request[6] != cancelled) return std::nullopt;
          changed = true;
          bmc_.records = {after};
          return Refuse(0xC5);
        };
        read(before);
        if (!changed) continue;
        EXPECT_EQ(g_HW_sdr_version, version);
        EXPECT_EQ(gCFGIdentifyOEMSDR, script);
        EXPECT_EQ(Image(ipm_sdr_size), after);
      }
    }
  }
}

TEST_F(WholeRepository, TextsThatAreKnownAlreadyStay) {
  g_HW_sdr_version = "S0";
  gCFGIdentifyOEMSDR = "OLD.CFG";
  bmc_.records = {VersionRecord("S1"), ScriptRecord("A")};
  EXPECT_EQ(get_new_sdr(), 1);
  EXPECT_EQ(g_HW_sdr_version, "S0");
  EXPECT_EQ(gCFGIdentifyOEMSDR, "OLD.CFG");
}

/// What the progress file held whenever a request was sent, without repetitions.
class ReadingProgress : public WholeRepository {
 protected:
  void SetUp() override {
    WholeRepository::SetUp();
    g_eu_flg = kNormalUpdate;
    g_ratio = 5;
    machine().bmc = [this](const Bytes& request) {
      Note();
      return bmc_.Answer(request);
    };
  }
  void Read(std::size_t records, int announced) {
    bmc_.records.assign(records, CountingRecord(1, 0));
    sdrRecordSize = announced;
    EXPECT_EQ(get_new_sdr(), 1);
    Note();
  }
  void Note() {
    if (!std::filesystem::exists("Get_ratio.xml_tmp")) return;
    const std::string text = ReadFile("Get_ratio.xml_tmp");
    if (written_.empty() || written_.back() != text) written_.push_back(text);
  }

  std::vector<std::string> written_;
};

TEST_F(ReadingProgress, RisesBy24PercentAndIsReportedEveryTenthRecord) {
  Read(35, 48);  // half a percent a record
  EXPECT_THAT(written_,
              ElementsAre(ResultText("OK", "10"), ResultText("OK", "15"), ResultText("OK", "20")));
  EXPECT_EQ(g_ratio, 22);
}

TEST_F(ReadingProgress, NineRecordsAreNotReported) {
  Read(9, 24);
  EXPECT_EQ(g_ratio, 14);
  EXPECT_THAT(written_, IsEmpty());
}

TEST_F(ReadingProgress, StopsAt30) {
  Read(40, 12);  // two percent a record: 30 at record 13
  EXPECT_EQ(g_ratio, 30);
  EXPECT_THAT(written_, ElementsAre(ResultText("OK", "25")));
}

TEST_F(ReadingProgress, ACountOfZeroRisesToTheCapAtOnce) {
  Read(20, 0);
  EXPECT_EQ(g_ratio, 30);
  EXPECT_THAT(written_, IsEmpty());
}

TEST_F(ReadingProgress, IsLeftAloneOnceItIsThere) {
  g_ratio = 30;
  Read(20, 20);
  EXPECT_EQ(g_ratio, 30);
  EXPECT_THAT(written_, IsEmpty());
}

TEST_F(ReadingProgress, IsTheUnattendedUpdatesAlone) {
  for (const int mode : {kVersionQuery, kBackup, kNoMode}) {
    g_eu_flg = mode;
    ipm_sdr_size = 0;
    ::testing::internal::CaptureStdout();
    Read(20, 20);
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(g_ratio, 5) << mode;
  }
  g_eu_flg = kNormalUpdate;
  g_direct_flg = 1;
  ipm_sdr_size = 0;
  Read(20, 20);
  EXPECT_EQ(g_ratio, 5);
  EXPECT_THAT(written_, IsEmpty());
}

TEST_F(ReadingProgress, AForcedUpdateShowsItToo) {
  g_eu_flg = kForcedUpdate;
  Read(10, 24);
  EXPECT_THAT(written_, ElementsAre(ResultText("OK", "15")));
}

TEST_F(WholeRepository, CountsItsRecordsOnTheConsole) {
  bmc_.records = {CountingRecord(1, 0), CountingRecord(2, 0), CountingRecord(3, 0)};
  g_display_flg = 1;
  EXPECT_EQ(ConsoleOf([] { get_new_sdr(); }),
            "SDRReocrd Reading\n ----- > #1\r ----- > #2\r ----- > #3\r\n");
  g_display_flg = 0;
  ipm_sdr_size = 0;
  EXPECT_EQ(ConsoleOf([] { get_new_sdr(); }), "");
}

class ControlBlock : public Commands {};

TEST_F(ControlBlock, TheWholeBlock) {
  const Bytes record = CountingRecord(1, 3, 0x01);  // adds up to 01h+51h+01h+03h+06h = 5Ch
  std::copy(record.begin(), record.end(), ipm_SDR);
  ipm_sdr_size = static_cast<unsigned short>(record.size());
  EXPECT_EQ(get_new_sdr_info(out_.data()), 1);
  EXPECT_THAT(machine().requests, ElementsAre(Bytes{0x28, 0x20}));
  const Bytes expected{0x00, 0x51, 0x02, 0x00, 0x00, 0x10, 0x04, 0x03, 0x02, 0x01, 0x08, 0x07, 0x06,
                       0x05, 0x2F, 0x00, 0x20, 0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x00, 0x00,
                       0x00, 0x00, 0x00, 0x00, 0xA4,
                       // 51h+02h+10h+24h+2Fh (times and support) +20h+08h+A4h = 182h
                       0x7E};
  EXPECT_EQ(Out(32), expected);
  EXPECT_TRUE(UntouchedBehind(32));
  EXPECT_EQ(calc_sum(out_.data(), 32), 0);
}

TEST_F(ControlBlock, TheLengthOfAFullImage) {
  ipm_sdr_size = 65535;
  std::fill(std::begin(ipm_SDR), std::end(ipm_SDR), static_cast<unsigned char>(1));
  EXPECT_EQ(get_new_sdr_info(out_.data()), 1);
  EXPECT_EQ((Bytes{out_[20], out_[21], out_[22], out_[23]}), (Bytes{0xFF, 0xFF, 0x00, 0x00}));
  EXPECT_EQ(out_[30], 0x01);  // 65535 = FFh modulo 100h
}

TEST_F(ControlBlock, AFailureLeavesAnEmptyBlockAndIsReportedByName) {
  AnswerWith(Ok(Bytes(13, 0x01)));
  EXPECT_EQ(get_new_sdr_info(out_.data()), 0);
  EXPECT_EQ(Out(32), Bytes(32, 0x00));
  EXPECT_TRUE(UntouchedBehind(32));
  EXPECT_EQ(LogTexts().front(),
            std::string(kCommandError) + "Command: Get SDR Repository Info illegal Size : 10 h");
}

class RecordAddress : public Commands {
 protected:
  void Load(const Bytes& image) {
    std::fill(std::begin(ipm_SDR), std::end(ipm_SDR), static_cast<unsigned char>(0));
    std::copy(image.begin(), image.end(), ipm_SDR);
    ipm_sdr_size = static_cast<unsigned short>(image.size());
  }
};

TEST_F(RecordAddress, FindsEveryRecordAndNoneBehindTheLast) {
  Bytes image = CountingRecord(1, 11);
  const Bytes second = CountingRecord(2, 0);
  const Bytes third = CountingRecord(3, 255);
  image.insert(image.end(), second.begin(), second.end());
  image.insert(image.end(), third.begin(), third.end());
  Load(image);
  unsigned short length = kUntouched;
  EXPECT_EQ(get_sdr_addr(0, &length), ipm_SDR);
  EXPECT_EQ(length, 11);
  EXPECT_EQ(get_sdr_addr(1, &length), ipm_SDR + 16);
  EXPECT_EQ(length, 0);
  EXPECT_EQ(get_sdr_addr(2, &length), ipm_SDR + 21);
  EXPECT_EQ(length, 255);
  for (const int index : {3, 4, 65535}) {
    EXPECT_EQ(get_sdr_addr(static_cast<unsigned short>(index), &length), nullptr);
  }
}

TEST_F(RecordAddress, AnEmptyImageHasNone) {
  unsigned short length = 0;
  EXPECT_EQ(get_sdr_addr(0, &length), nullptr);
}

TEST_F(RecordAddress, ALastRecordThatRunsPastTheImageIsGivenWithItsLength) {
  Load({0x01, 0x00, 0x51, 0x01, 0x40, 0x11});
  unsigned short length = 0;
  EXPECT_EQ(get_sdr_addr(0, &length), ipm_SDR);
  EXPECT_EQ(length, 64);
  EXPECT_EQ(get_sdr_addr(1, &length), nullptr);
}

TEST_F(RecordAddress, AHeaderThatTheImageCutsOffHasNoBody) {
  for (std::size_t n = 1; n < 5; ++n) {
    Load(Bytes(n, 0x11));
    unsigned short length = kUntouched;
    EXPECT_EQ(get_sdr_addr(0, &length), ipm_SDR);
    EXPECT_EQ(length, 0) << n;
    EXPECT_EQ(get_sdr_addr(1, &length), nullptr);
  }
}

TEST_F(RecordAddress, AHeaderAtTheVeryEndOfTheLargestImageIsNotReadPast) {
  for (int behind = 1; behind < 5; ++behind) {
    // Records of 255 bytes, and one of the rest, so that the last header is cut.
    Bytes image;
    for (int i = 0; i < 256; ++i) {
      const Bytes record = CountingRecord(1, 250);
      image.insert(image.end(), record.begin(), record.end());
    }
    const Bytes filler = CountingRecord(1, 250 - behind);
    image.insert(image.end(), filler.begin(), filler.end());
    image.resize(65535, 0xFF);
    Load(image);
    unsigned short length = kUntouched;
    EXPECT_EQ(get_sdr_addr(257, &length), ipm_SDR + 65535 - behind);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(get_sdr_addr(258, &length), nullptr);
  }
}

TEST_F(RecordAddress, AnImageOfZeroesIsRecordsWithoutBodies) {
  Load(Bytes(32767, 0x00));
  unsigned short length = 1;
  EXPECT_EQ(get_sdr_addr(6553, &length), ipm_SDR + 32765);
  EXPECT_EQ(length, 0);
  EXPECT_EQ(get_sdr_addr(6554, &length), nullptr);
}

}  // namespace
}  // namespace tarvek_test
