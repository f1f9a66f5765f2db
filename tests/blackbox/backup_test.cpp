// Backups, and updates from their images.
#include <cstring>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

using Words = std::vector<std::string>;

constexpr std::size_t kAreaOffset = 128;  // header, identity and control block

class Backup : public SimulatedServer {
 protected:
  /// A server that holds `records`, and its backup in BMCSDR.BAK.
  void ProgramAndSave(const std::vector<SourceRecord>& records) {
    CreateServer(1);
    Write("BMCSDR.SDR", SdrText(records));
    Tarvek({"-update", "-sdr", "-force"});
    ASSERT_EQ(Repository(), HexOf(records));
    EXPECT_EQ(Tarvek({"-backup"}).exit_status, 0);
    Remove("tarvek.log");
  }

  /// Recomputes the checksums of an image that a test has changed.
  static void Seal(std::string& image) {
    const auto sum = [&](std::size_t from, std::size_t count) {
      unsigned total = 0;
      for (std::size_t i = 0; i < count; ++i) {
        total += static_cast<unsigned char>(image[from + i]);
      }
      return static_cast<char>(0x100 - (total & 0xFF));
    };
    image[63] = sum(0, 63);
    image[96 + 30] = sum(kAreaOffset, image.size() - kAreaOffset);
    image[96 + 31] = sum(96, 31);
  }
};

TEST_F(Backup, SaysWhatItDoesAndLeavesNoResultFile) {
  CreateServer(2);
  const Outcome outcome = Tarvek({"-backup"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.console,
            "=== Tarvek start ===\n"
            "Tarvek Tool Version 1.07\n"
            "<<execute -backup>>\n"
            "Use OpenIPMI Driver\n"
            "GetBmcStatus() success.\n"
            "SDRReocrd Reading\n"
            " ----- > #1\r ----- > #2\r ----- > #3\r\n"
            "SDR backup complete.\n"
            "=== Tarvek end ===\n");
  for (const char* name :
       {"Get_version.xml", "Update_normal.xml", "Update_force.xml", "Get_ratio.xml_tmp"}) {
    EXPECT_FALSE(Exists(name)) << name;
  }
  EXPECT_FALSE(LockExists());
}

TEST_F(Backup, RestoresWhatItSavedAndSavesTheSameAgain) {
  ProgramAndSave(SdrSet(30));
  const std::string saved = Read("BMCSDR.BAK");
  CreateBmc({"--records", "3"});
  EXPECT_EQ(Tarvek({"-update", "-force", "-bin", "BMCSDR.BAK"}).exit_status, 0);
  EXPECT_EQ(Read("Update_force.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository(), HexOf(SdrSet(30)));

  Tarvek({"-backup", "AGAIN.BAK"});
  EXPECT_EQ(Read("AGAIN.BAK").substr(kAreaOffset), saved.substr(kAreaOffset));
}

TEST_F(Backup, LogsARestoreToTheLine) {
  ProgramAndSave(SdrSet(1));
  CreateBmc({"--records", "1"});
  Remove("sdrversion_HW");
  Tarvek({"-update", "-force", "-bin", "BMCSDR.BAK"});
  EXPECT_EQ(Log(), (Words{"=== Tarvek start ===", "Tarvek Tool Version 1.07",
                          "<<execute -update/-direct + -force>>", "Use OpenIPMI Driver",
                          "GetBmcStatus() success.", "SDRReocrd Reading",
                          "Clearing SDR Repository...", "Writing SDR Record ",
                          "Reading SDR Repository.", "SDR data was successfully written!",
                          "Programming complete, reboot server for normal operation ", "",
                          "=== Tarvek end ==="}));
}

TEST_F(Backup, ImagesAreComparedByVersionLikeFiles) {
  ProgramAndSave(SdrSet(2, "SDR Version 01.03"));
  Tarvek({"-version", "-bin", "BMCSDR.BAK"});
  EXPECT_EQ(Read("Get_version.xml"), VersionResult("OK", "Even", "01.03"));
  Tarvek({"-update", "-bin", "BMCSDR.BAK"});
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Down Grade"));
}

TEST_F(Backup, ReadsBmcsdrBinByDefault) {
  ProgramAndSave(SdrSet(2));
  std::filesystem::rename(directory() / "BMCSDR.BAK", directory() / "BMCSDR.BIN");
  Tarvek({"-update", "-bin", "-force"});
  EXPECT_EQ(Read("Update_force.xml"), ResultText("Complete"));
}

struct BadImage {
  const char* name;
  void (*spoil)(std::string& image);
  bool seal;
  const char* code;
  const char* message;  // of the last error line
};

TEST_F(Backup, RefusesASpoiltImageBeforeTheBmcIsChanged) {
  const BadImage rows[] = {
      {"empty", [](std::string& i) { i.clear(); }, false, "SDR031",
       "Error, Backup File I/O error _read : errno=0"},
      {"short header", [](std::string& i) { i.resize(63); }, false, "SDR031",
       "Error, Backup File I/O error _read : errno=0"},
      {"truncated records", [](std::string& i) { i.pop_back(); }, false, "SDR031",
       "Error, Backup File I/O error _read : errno=0"},
      {"file ID", [](std::string& i) { i[0] = 'k'; }, false, "SDR075",
       "Error, BIN file not Backup file illegal File ID"},
      {"header", [](std::string& i) { i[12] ^= 1; }, false, "SDR076",
       "Error, BIN file Checksum error IPMI header infomation"},
      {"control block", [](std::string& i) { i[96 + 2] ^= 1; }, false, "SDR076",
       "Error, BIN file Checksum error IPMI SDR Contorol infomation"},
      {"record area", [](std::string& i) { i[140] ^= 1; }, false, "SDR076",
       "Error, BIN file Checksum error IPMI SDR Records"},
      {"body of 65 bytes", [](std::string& i) { i[kAreaOffset + 4] = 65; }, true, "SDR058",
       "Error, invalid Sensor Data Record length found"},
      {"last record runs out", [](std::string& i) { i[96 + 20] -= 1, i.pop_back(); }, true,
       "SDR058", "Error, invalid Sensor Data Record length found"},
      {"area of 32768 bytes", [](std::string& i) { i[96 + 21] = '\x80', i.resize(128 + 32768); },
       true, "SDR031", "Error, Backup File I/O error _read : errno=0"},
      {"area of 65536 bytes",
       [](std::string& i) { i[96 + 20] = 0, i[96 + 21] = 0, i[96 + 22] = 1, i.resize(128); }, true,
       "SDR031", "Error, Backup File I/O error _read : errno=0"},
  };
  ProgramAndSave(SdrSet(3));
  const std::string good = Read("BMCSDR.BAK");
  const std::vector<std::string> before = Repository();
  for (const BadImage& row : rows) {
    SCOPED_TRACE(row.name);
    std::string image = good;
    row.spoil(image);
    if (row.seal) Seal(image);
    Write("BMCSDR.BIN", image);
    Remove("tarvek.log");
    ClearTrace();
    EXPECT_EQ(Tarvek({"-update", "-force", "-bin"}).exit_status, 0);
    EXPECT_EQ(Read("Update_force.xml"), ResultText(row.code));
    const Words log = Log();
    ASSERT_GE(log.size(), 2U);
    EXPECT_EQ(log[log.size() - 2], row.message);
    EXPECT_EQ(Repository(), before);
    for (const std::string& request : Requests()) EXPECT_NE(request.substr(0, 2), "F8");
  }
}

TEST_F(Backup, KnowsSlotAndAuxiliaryRevisionInTheIdentityBlock) {
  struct Row {
    Words options;
    std::string tail;  // bytes 28 to 30
  };
  for (const Row& row :
       {Row{{"--slot", "070000"}, {'\x07', '\x01', '\x01'}},
        Row{{"--no-aux", "--slot", "070000"}, {'\x07', '\x01', '\x00'}},
        Row{{"--no-aux"}, {'\x00', '\x00', '\x00'}},
        Row{{"--slot", "070000", "--ipmi-version", "1.0"}, {'\x00', '\x00', '\x01'}}}) {
    SCOPED_TRACE(::testing::PrintToString(row.options));
    CreateServer(1);
    CreateBmc(row.options);
    Tarvek({"-backup"});
    EXPECT_EQ(Read("BMCSDR.BAK").substr(64 + 28, 3), row.tail);
  }
}

TEST_F(Backup, TellsADeviceInPlaceOfAnImage) {
  CreateServer(1);
  Tarvek({"-update", "-force", "-bin", "/dev/zero"});
  EXPECT_EQ(Read("Update_force.xml"), ResultText("SDR066"));
}

TEST_F(Backup, TellsAnImageThatIsNotThere) {
  CreateServer(1);
  Tarvek({"-update", "-force", "-bin", "none.bin"});
  EXPECT_EQ(Read("Update_force.xml"), ResultText("SDR066"));
  const Words log = Log();
  EXPECT_EQ(log[log.size() - 2], "Error, failed to open the specified input file none.bin");
}

TEST_F(Backup, TellsWhereItCannotWrite) {
  CreateServer(1);
  const Outcome full = Tarvek({"-backup", "/dev/full"});
  EXPECT_NE(full.console.find("Error, Backup File I/O error No Space\n"), std::string::npos);
  const Outcome nowhere = Tarvek({"-backup", "no/such/place.bak"});
  EXPECT_NE(nowhere.console.find("Error, failed to open output bin file _open : errno=2\n"),
            std::string::npos);
}

TEST_F(Backup, LeavesAnImageOfMoreThan32767BytesUnfinishedAndSaysSo) {
  CreateServer(1);
  CreateBmc({"--records", "900"});
  const Outcome outcome = Tarvek({"-backup"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_NE(outcome.console.find("Error, Backup File I/O error _write : errno="),
            std::string::npos);
  EXPECT_EQ(outcome.console.find("SDR backup complete."), std::string::npos);
  EXPECT_TRUE(Exists("BMCSDR.BAK"));
}

}  // namespace
}  // namespace blackbox
