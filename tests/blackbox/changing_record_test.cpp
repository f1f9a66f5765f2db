// A record that changes between a read that was cancelled and the next try, as it does when
// somebody else programs the BMC meanwhile. Whatever was read before it changed must count for
// nothing: a run does, tells and leaves what it would have, had the record always been the later
// one.
#include <algorithm>
#include <array>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/sweep.h"

namespace blackbox {
namespace {

struct Reader {
  const char* name;
  Words arguments;
  bool retries = true;  // a version query takes a cancelled read for an error
};

void PrintTo(const Reader& reader, std::ostream* out) { *out << reader.name; }

const std::vector<Reader> kReaders = {
    {"Version", {"-version", "-sdr"}, false},
    {"Update", {"-update", "-sdr"}},
    {"Forced", {"-update", "-sdr", "-force"}},
    {"ScriptOfTheBmc", {"-update", "-cfg"}},
    {"Compare", {"-update", "-cfg", "compare.cfg", "-force"}},
    {"Direct", {"-direct", "-sdr"}},
    {"Backup", {"-backup"}},
};

constexpr const char* kOutputs[] = {
    "sdrversion_HW",     "tarvek.log",       "tarvek_version.log", "Get_version.xml",
    "Update_normal.xml", "Update_force.xml", "BMCSDR.BAK",
};

/// A request to read a piece of a record, as an undisturbed run has sent it.
struct Piece {
  std::string command;  // as a fault plan names it
  int number;           // among the run's requests of that name, from 1
  int offset;
  int count;
  std::string next;  // the next record's ID, as two bytes in hex
};

/// A record's read: its pieces in order.
using Reading = std::vector<Piece>;

std::string Hex(const Bytes& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    std::array<char, 4> digits{};
    std::snprintf(digits.data(), digits.size(), " %02X", byte);
    text += digits.data();
  }
  return text;
}

SourceRecord OfType(std::uint8_t type, const Bytes& body) {
  Bytes bytes{0x00, 0x00, 0x51, type, static_cast<std::uint8_t>(body.size())};
  bytes.insert(bytes.end(), body.begin(), body.end());
  return {bytes, {}};
}

/// What a record may become: shorter ones, longer ones, others.
const std::vector<SourceRecord> kLater = {
    VersionRecord("S01.03"),
    VersionRecord("SDR Version of a board with a very long name is 01.04"),
    ScriptNameRecord("SHORT"),
    ScriptNameRecord("A-SCRIPT-WHOSE-NAME-IS-LONGER-THAN-THE-OTHER"),
    OfType(0xC0, {0x77, 0x00, 0x00}),
    OfType(0xC0, {}),
    OfType(0xC1, {0x77, 0x00, 0x00, 'S', '1'}),
    SensorRecord(9, "another"),
};

class ChangingRecord : public SimulatedServer, public ::testing::WithParamInterface<Reader> {
 protected:
  void SetUp() override {
    SimulatedServer::SetUp();
    CreateServer(0);
    for (const char* script : {"BOARDSCRIPT.CFG", "SHORT.CFG"}) {
      Write(script, "SDRNAME BMCSDR.SDR\n");
    }
    Write("compare.cfg", "SDRNAME BMCSDR.SDR COMPARE\n");
    Write("BMCSDR.SDR", SdrText({ScriptNameRecord("BOARDSCRIPT"),
                                 VersionRecord("SDR Version 01.02"), SensorRecord(1, "Fan")}));
    Run({"-update", "-sdr", "-force"}, "");
    ASSERT_EQ(Read("Update_force.xml"), ResultText("Complete"));
    Write("BMCSDR.SDR", SdrText(SdrSet(1)));
    KeepBmc();
  }

  void TearDown() override {
    SimulatedServer::TearDown();
    ReportRuns(runs_);
  }

  /// What a run leaves that anybody can see, but for the traffic in its log.
  std::vector<std::string> Left(const std::string& plan) {
    RestoreBmc();
    for (const char* name : kOutputs) Remove(name);
    Run(GetParam().arguments, plan);
    std::vector<std::string> left = Repository();
    for (const char* name : kOutputs) {
      left.emplace_back(name);
      const std::string file(name);
      if (file.find(".log") == std::string::npos) {
        const bool has_time = file == "BMCSDR.BAK" && Exists(file);
        left.push_back(has_time ? Read(file).substr(kImageHeader) : Read(file));
        continue;
      }
      if (!Exists(file)) continue;
      for (const std::string& line : Log(file)) {
        if (line.rfind("Snd: ", 0) != 0 && line.rfind("Rec: ", 0) != 0) left.push_back(line);
      }
    }
    return left;
  }

  /// Every record that an undisturbed run reads.
  std::vector<Reading> Readings() {
    Left("");
    std::vector<Reading> readings;
    int standard = 0;
    int oem = 0;
    const Words trace = Trace();
    for (std::size_t i = 0; i + 1 < trace.size(); ++i) {
      const std::string& line = trace[i];
      const bool is_oem = line.rfind("> F8 12", 0) == 0;
      if (!is_oem && line.rfind("> 28 23", 0) != 0) continue;
      const auto byte = [&line](std::size_t n) {
        return std::stoi(line.substr(2 + 3 * n, 2), nullptr, 16);
      };
      const int number = is_oem ? ++oem : ++standard;
      const Piece piece{is_oem ? "oem-get-sdr" : "get-sdr", number, byte(6), byte(7),
                        trace[i + 1].substr(2 + 3 * 3, 5)};
      if (piece.offset == 0) readings.emplace_back();
      readings.back().push_back(piece);
    }
    return readings;
  }

  /// The rules by which the BMC answers the reading of `record`, from the run's request `number`
  /// on.
  static std::string Answers(const Piece& first, int number, const Bytes& record) {
    constexpr std::uint8_t kBehindRecord = 0xEE;
    std::string rules;
    const int total = static_cast<int>(record.size());
    for (int offset = 0; offset < total; ++number) {
      const int count = offset == 0 ? first.count : std::min(16, total - offset);
      Bytes bytes;
      for (int i = offset; i < offset + count; ++i) {
        bytes.push_back(i < total ? record[static_cast<std::size_t>(i)] : kBehindRecord);
      }
      rules += "; " + first.command + "@" + std::to_string(number) + ": answer 00 " + first.next +
               Hex(bytes);
      offset += count;
    }
    return rules;
  }

  static std::string Cancel(const Piece& piece) {
    return piece.command + "@" + std::to_string(piece.number) + ": cc C5";
  }

 private:
  static constexpr std::size_t kImageHeader = 64;  // which tells when the image was made

  void Run(const Words& arguments, const std::string& plan) {
    ++runs_;
    RunOptions options;
    options.direct = true;
    options.input = "y\n";
    options.fault = plan;
    ClearTrace();
    EXPECT_EQ(Tarvek(arguments, options).exit_status, 0);
  }

  int runs_ = 0;
};

TEST_P(ChangingRecord, CountsForNothingInItsEarlierForm) {
  const std::vector<Reading> readings = Readings();
  ASSERT_GE(readings.size(), 3U);
  int turn = 0;
  for (const Reading& reading : readings) {
    for (const SourceRecord& later : kLater) {
      if (++turn % Stride(3) != 0) continue;
      const Piece& first = reading.front();
      // Without the "; " in front.
      const auto always = Left(Answers(first, first.number, later.bytes).substr(2));
      for (const Piece& piece : reading) {
        const std::string plan = Cancel(piece) + Answers(first, piece.number + 1, later.bytes);
        SCOPED_TRACE(plan);
        const auto left = Left(plan);
        if (GetParam().retries) {
          EXPECT_EQ(left, always);
        } else {
          EXPECT_FALSE(Exists("sdrversion_HW"));
          EXPECT_EQ(Read("Get_version.xml"), VersionResult("SDR030", "", ""));
        }
        if (HasFailure()) return;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sweep, ChangingRecord, ::testing::ValuesIn(kReaders),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace blackbox
