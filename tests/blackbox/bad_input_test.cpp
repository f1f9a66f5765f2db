// SDR files that are not what they should be: each is told by its result code, and the BMC's
// repository is never touched.
#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

class BadInput : public SimulatedServer {
 protected:
  void SetUp() override {
    SimulatedServer::SetUp();
    CreateServer(1);
    // With the version known from the cache a run sends two requests before it reads its input.
    Write("BMCSDR.SDR", SdrText(SdrSet(1)));
    Tarvek({"-version", "-sdr"});
  }

  void ExpectResult(const std::string& code, const std::vector<std::string>& messages) {
    Remove("tarvek.log");
    ClearTrace();
    EXPECT_EQ(Tarvek({"-update", "-sdr"}).exit_status, 0);
    EXPECT_EQ(Read("Update_normal.xml"), ResultText(code));
    EXPECT_EQ(Requests(), (std::vector<std::string>{"18 01", "28 20"}));
    std::vector<std::string> expected{"=== Tarvek start ===", "Tarvek Tool Version 1.07",
                                      "<<execute -update/-direct>>", "Use OpenIPMI Driver",
                                      "GetBmcStatus() success."};
    expected.insert(expected.end(), messages.begin(), messages.end());
    expected.push_back("=== Tarvek end ===");
    EXPECT_EQ(Log(), expected);
  }
};

const char* const kOpenFailed = "Error, failed to open the specified SDR file";
const char* const kNameFirst = "Error, _LF_NAME should be the first tag in the file";
const char* const kParsing = "Error, parsing SDR file";

TEST_F(BadInput, Missing) {
  Remove("BMCSDR.SDR");
  ExpectResult("SDR068", {kOpenFailed});
}

TEST_F(BadInput, Empty) {
  Write("BMCSDR.SDR", "");
  ExpectResult("SDR068", {kOpenFailed});
}

TEST_F(BadInput, Directory) {
  Remove("BMCSDR.SDR");
  std::filesystem::create_directory(directory() / "BMCSDR.SDR");
  ExpectResult("SDR047", {kNameFirst});
}

TEST_F(BadInput, Binary) {
  std::string bytes;
  for (int i = 0; i < 4096; ++i) bytes += static_cast<char>(i * 37);
  Write("BMCSDR.SDR", bytes);
  ExpectResult("SDR047", {kNameFirst});
}

TEST_F(BadInput, OversizedFirstLine) {
  Write("BMCSDR.SDR", std::string(100000, 'A') + "\n" + SdrText(SdrSet(1)));
  ExpectResult("SDR047", {kNameFirst});
}

TEST_F(BadInput, RecordTooLong) {
  SourceRecord record = SensorRecord(1, "Long");
  record.bytes.resize(65);
  Write("BMCSDR.SDR", SdrText({VersionRecord(), record}));
  ExpectResult("SDR057", {"Error, invalid Sensor Data Record found, number 2", kParsing});
}

TEST_F(BadInput, EndsInsideTheRecordSection) {
  const std::string text = SdrText(SdrSet(1));
  Write("BMCSDR.SDR", text.substr(0, text.rfind(')')));
  ExpectResult("SDR062", {kParsing});
}

TEST_F(BadInput, TruncatedAtAnyTokenSendsNothing) {
  const std::string text = SdrText(SdrSet(2));
  const std::size_t last = text.rfind(')');
  for (std::size_t end = 1; end < last; ++end) {
    const bool token_ends = text[end] == ' ' || text[end] == '\n';
    if (!token_ends) continue;
    SCOPED_TRACE(end);
    Write("BMCSDR.SDR", text.substr(0, end));
    ClearTrace();
    EXPECT_EQ(Tarvek({"-update", "-sdr"}).exit_status, 0);
    EXPECT_EQ(Requests(), (std::vector<std::string>{"18 01", "28 20"}));
    EXPECT_EQ(Read("Update_normal.xml").find("<result_code>SDR0"), 49U);
  }
}

}  // namespace
}  // namespace blackbox
