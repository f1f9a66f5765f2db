// What the README, the manual pages and the pages of docs/ say where a reader could think
// otherwise: each test holds a sentence of theirs. What they say of a run that goes well is held
// elsewhere.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

using Words = std::vector<std::string>;

constexpr const char* kNew = "SDR Version 01.03";
constexpr const char* kOld = "SDR Version 01.02";
const std::string kParsing = "Error, parsing SDR file";

class Documented : public SimulatedServer {
 protected:
  void SetUp() override {
    SimulatedServer::SetUp();
    NewServer();
  }

  /// A BMC with old records; a file with new ones, one with other old ones, and one that is wrong.
  void NewServer() {
    CreateServer(2);
    Remove("sdrversion_HW");
    Remove("tarvek.log");
    Write("new.sdr", SdrText(new_set_));
    Write("old.sdr", SdrText(old_set_));
    Write("wrong.sdr", Changed("_REC_LEN 28", "_REC_LEN 41"));
    ClearTrace();
  }

  /// The new file with one piece of its text in place of another.
  std::string Changed(const std::string& from, const std::string& to) const {
    std::string text = SdrText(new_set_);
    const std::size_t place = text.find(from);
    EXPECT_NE(place, std::string::npos) << from;
    return place == std::string::npos ? text : text.replace(place, from.size(), to);
  }

  std::string Update(const Words& input, const std::string& fault = "") {
    return ResultOf({"-update"}, input, "Update_normal.xml", fault);
  }
  std::string Forced(const Words& input, const std::string& fault = "") {
    return ResultOf({"-update", "-force"}, input, "Update_force.xml", fault);
  }
  std::string Version(const Words& input, const std::string& fault = "") {
    return ResultOf({"-version"}, input, "Get_version.xml", fault);
  }
  /// As Update(), from a script of this text.
  std::string UpdateBy(const std::string& script) {
    Write("a.cfg", script);
    return Update({"-cfg", "a.cfg"});
  }

  bool HasLogged(const std::string& line) {
    const Words log = Log();
    return std::find(log.begin(), log.end(), line) != log.end();
  }

  std::vector<SourceRecord> new_set_ = SdrSet(3, kNew);
  std::vector<SourceRecord> old_set_ = SdrSet(2, kOld);

 private:
  /// Runs to the end of the process, and gives the code in the result file.
  std::string ResultOf(Words arguments, const Words& input, const char* file,
                       const std::string& fault) {
    arguments.insert(arguments.end(), input.begin(), input.end());
    RunOptions options;
    options.fault = fault;
    EXPECT_EQ(Tarvek(arguments, options).exit_status, 0);
    const std::string text = Read(file);
    const std::string tag = "<result_code>";
    const std::size_t begin = text.find(tag);
    if (begin == std::string::npos) return "";
    return text.substr(begin + tag.size(), text.find('<', begin + 1) - begin - tag.size());
  }
};

// README, "An empty repository"; tarvek(8), CAVEATS.

TEST_F(Documented, AnEmptyRepositoryStopsEveryRunThatMustReadIt) {
  Tarvek({"-backup", "board.bak"});
  CreateBmc({"--records", "0"});
  ClearTrace();
  EXPECT_EQ(Version({"-sdr", "new.sdr"}), "SDR026");
  EXPECT_EQ(Update({"-sdr", "new.sdr"}), "SDR026");
  EXPECT_EQ(Forced({"-sdr", "new.sdr"}), "SDR026");
  EXPECT_EQ(Forced({"-bin", "board.bak"}), "SDR026");
  EXPECT_EQ(Forced({"-cfg"}), "SDR026");
  EXPECT_TRUE(HasLogged("Error, failed to receive BMC response, bad completion code code = CB"));
  Tarvek({"-backup", "empty.bak"});
  EXPECT_FALSE(Exists("empty.bak"));
  EXPECT_TRUE(Repository().empty());
}

TEST_F(Documented, AForcedScriptFillsAnEmptyRepository) {
  CreateBmc({"--records", "0"});
  Write("FILL.CFG", "SDRNAME new.sdr\n");
  EXPECT_EQ(Update({"-cfg", "FILL.CFG"}), "SDR026");
  EXPECT_EQ(Forced({"-cfg", "FILL.CFG"}), "Complete");
  EXPECT_EQ(Repository(), HexOf(new_set_));
}

// README, "Exit status"; tarvek(8), EXIT STATUS.

TEST_F(Documented, ASignalDuringTheWaitsAfterTheProgrammingComesAfterTheSuccess) {
  RunOptions counting;
  counting.fault = "wait: clock +0";  // leaves a line for each
  Tarvek({"-update", "-sdr", "new.sdr"}, counting);
  const Words trace = Trace();
  const auto waits = std::count(trace.begin(), trace.end(), "! clock +0");
  ASSERT_GT(waits, 2);
  for (const long last : {1L, 0L}) {  // 30 seconds before the final word, 10 after it
    NewServer();
    RunOptions options;
    options.fault = "wait@" + std::to_string(waits - last) + ": signal TERM";
    EXPECT_EQ(Tarvek({"-update", "-sdr", "new.sdr"}, options).exit_status, SIGTERM);
    EXPECT_EQ(Read("Update_normal.xml"), ResultText(last == 1 ? "OK" : "Complete"));
    EXPECT_EQ(Repository(), HexOf(new_set_));
    EXPECT_FALSE(LockExists());
    EXPECT_TRUE(Exists("Get_ratio.xml_tmp"));
    Tarvek({"-version", "-sdr", "new.sdr"});
    EXPECT_EQ(Read("Get_version.xml"), VersionResult("OK", "Even", "01.03"));
    EXPECT_EQ(Update({"-sdr", "new.sdr"}), "Down Grade");
  }
}

// docs/security.md, "What is checked of an input".

TEST_F(Documented, AnOddDigitBeforeTheLastTokenIsTakenForZeros) {
  new_set_[1].bytes[7] = 0x5A;
  Write("odd.sdr", Changed(" 5A ", " 5A7 "));
  EXPECT_EQ(Update({"-sdr", "odd.sdr"}), "Complete");
  new_set_[1].bytes[7] = 0x00;
  EXPECT_EQ(Repository(), HexOf(new_set_));
}

TEST_F(Documented, ABodyLengthThatIsNotSoIsProgrammedAsItStands) {
  const std::size_t size = new_set_[1].bytes.size();
  new_set_[1].bytes[4] = static_cast<std::uint8_t>(new_set_[1].bytes[4] - 2);
  Write("short.sdr", SdrText(new_set_));
  EXPECT_EQ(Update({"-sdr", "short.sdr"}), "Complete");
  std::vector<SourceRecord> served = new_set_;
  served[1].bytes.resize(size - 2);
  EXPECT_EQ(Repository(), HexOf(served));

  NewServer();
  new_set_[1].bytes[4] = static_cast<std::uint8_t>(new_set_[1].bytes[4] + 4);
  Write("long.sdr", SdrText(new_set_));
  EXPECT_EQ(Update({"-sdr", "long.sdr"}), "Complete");
  served = new_set_;
  served[1].bytes.resize(size + 2, 0x00);
  EXPECT_EQ(Repository(), HexOf(served));
}

TEST_F(Documented, ABodyLengthOfMoreThan64IsFoundWhileWriting) {
  const Words before = Repository();
  new_set_[1].bytes[4] = 65;
  Write("long.sdr", SdrText(new_set_));
  EXPECT_EQ(Update({"-sdr", "long.sdr"}), "SDR033");
  EXPECT_EQ(Requests().back(), "F8 10 01");
  EXPECT_EQ(Repository(), before);
}

TEST_F(Documented, DataBehindTheDeclaredLengthIsPassedOver) {
  Write("cut.sdr", Changed("_REC_LEN 28", "_REC_LEN 27"));
  EXPECT_EQ(Update({"-sdr", "cut.sdr"}), "Complete");
  new_set_[1].bytes.back() = 0x00;
  EXPECT_EQ(Repository(), HexOf(new_set_));
}

TEST_F(Documented, ATypeInTheDataNeedNotBeTheOneDeclared) {
  Write("typed.sdr", Changed("_SDR_TYPE 02", "_SDR_TYPE 12"));
  EXPECT_EQ(Update({"-sdr", "typed.sdr"}), "Complete");
  EXPECT_EQ(Repository(), HexOf(new_set_));
}

TEST_F(Documented, AMisspeltKeywordBetweenRecordsHidesARecord) {
  Write("typo.sdr", Changed("_SDR_TYPE 02", "_SDR_TPYE 02"));
  EXPECT_EQ(Update({"-sdr", "typo.sdr"}), "Complete");
  new_set_.erase(new_set_.begin() + 1);
  EXPECT_EQ(Repository(), HexOf(new_set_));
}

TEST_F(Documented, WhatStandsBehindTheSectionIsPassedOver) {
  Write("behind.sdr", SdrText(new_set_) + "_SDR_TYPE no hex\n");
  EXPECT_EQ(Update({"-sdr", "behind.sdr"}), "Complete");
}

TEST_F(Documented, ALineOfMoreThan255BytesIsReadAsSeveral) {
  // The comment's end stands where a new line begins, and ends the section.
  const std::string comment = "//" + std::string(253, '-') + " )\n";
  Write("long.sdr", Changed("_SDR_TYPE 02", comment + "_SDR_TYPE 02"));
  EXPECT_EQ(Update({"-sdr", "long.sdr"}), "Complete");
  EXPECT_EQ(Repository(), HexOf({new_set_[0]}));
}

TEST_F(Documented, WhichFaultARecordHasIsNotTold) {
  const std::vector<std::pair<const char*, const char*>> faults = {
      {"_SDR_TYPE 02", "_SDR_TYPE xx"},            // 38
      {"_SDR_TYPE 02", "_SDR_TYPE 02 _X"},         // 50
      {"_REC_LEN 28", "_REC_LEN xx"},              // 37
      {"_REC_LEN 28", "_REC_LEN 41"},              // 58
      {"_REC_LEN 28", "_SDR_TAG no _REC_LEN 28"},  // 63
      {" 51 02", " 51 xx"},                        // 1
  };
  ASSERT_EQ(new_set_[1].bytes.size(), 0x28U);
  for (const auto& [from, to] : faults) {
    SCOPED_TRACE(to);
    NewServer();
    Write("fault.sdr", Changed(from, to));
    EXPECT_EQ(Forced({"-sdr", "fault.sdr"}), "SDR057");
    const Words log = Log();
    EXPECT_EQ(log[log.size() - 3], "Error, invalid Sensor Data Record found, number 2");
    EXPECT_EQ(log[log.size() - 2], kParsing);
  }
}

// docs/formats.md and tarvek-cfg(5): tags, several files, COMPARE.

TEST_F(Documented, ATagOfMoreThan31CharactersIsNeverSet) {
  const std::string longest(31, 'T');
  new_set_[1].tags = {longest};
  new_set_[2].tags = {longest + "T"};
  Write("tags.sdr", SdrText(new_set_));
  EXPECT_EQ(UpdateBy("SET " + longest + "\nSDRNAME tags.sdr\n"), "Complete");
  EXPECT_EQ(Repository(), HexOf({new_set_[0], new_set_[1], new_set_[3]}));
  EXPECT_EQ(UpdateBy("SET " + longest + "T\nSDRNAME tags.sdr\n"), "SDR011");
}

TEST_F(Documented, AFileThatIsWrongLeavesTheOneBeforeItInService) {
  EXPECT_EQ(UpdateBy("SDRNAME new.sdr\nSDRNAME wrong.sdr\n"), "SDR057");
  EXPECT_EQ(Repository(), HexOf(new_set_));
}

TEST_F(Documented, AFileThatCannotBeWrittenLeavesTheOneBeforeItInService) {
  Write("a.cfg", "SDRNAME new.sdr\nSDRNAME old.sdr\n");
  const std::string fault = "oem-clear@4-: cc FF";  // the first file takes three
  EXPECT_EQ(Forced({"-cfg", "a.cfg"}, fault), "SDR077");
  EXPECT_EQ(Repository(), HexOf(new_set_));
}

TEST_F(Documented, AComparisonThatFailsLeavesWhatWasProgrammedBeforeIt) {
  EXPECT_EQ(UpdateBy("SDRNAME new.sdr FIRST\nSDRNAME old.sdr COMPARE LAST\n"), "SDR032");
  EXPECT_EQ(Repository(), HexOf(new_set_));
}

TEST_F(Documented, AFileThatIsMissingIsFoundBeforeAnyIsProgrammed) {
  const Words before = Repository();
  EXPECT_EQ(UpdateBy("SDRNAME new.sdr\nSDRNAME missing.sdr\n"), "SDR068");
  EXPECT_EQ(Repository(), before);
}

TEST_F(Documented, TheFirstFilesVersionDecidesForAll) {
  EXPECT_EQ(UpdateBy("SDRNAME new.sdr\nSDRNAME old.sdr\n"), "Complete");
  EXPECT_EQ(Repository(), HexOf(old_set_));
  NewServer();
  EXPECT_EQ(UpdateBy("SDRNAME old.sdr\nSDRNAME new.sdr\n"), "Down Grade");
}

TEST_F(Documented, ComparingAloneNeedsForce) {
  EXPECT_EQ(Forced({"-sdr", "old.sdr"}), "Complete");
  EXPECT_EQ(UpdateBy("SDRNAME old.sdr COMPARE\n"), "Down Grade");
  EXPECT_FALSE(HasLogged("SDR data was successfully compared!"));
  EXPECT_EQ(Forced({"-cfg", "a.cfg"}), "Complete");
  EXPECT_TRUE(HasLogged("SDR data was successfully compared!"));
}

// README, "Trying without changing anything".

TEST_F(Documented, AVersionQueryTriesAnInput) {
  EXPECT_EQ(Version({"-sdr", "new.sdr"}), "OK");
  EXPECT_EQ(Version({"-sdr", "wrong.sdr"}), "SDR057");
  Write("a.cfg", "SDRNAME new.sdr\nSDRNAME missing.sdr\n");
  EXPECT_EQ(Version({"-cfg", "a.cfg"}), "SDR068");
  Write("a.cfg", "SDRNAME new.sdr\nNONSENSE\n");
  EXPECT_EQ(Version({"-cfg", "a.cfg"}), "SDR011");
  Write("a.cfg", "SDRNAME new.sdr\nSDRNAME wrong.sdr\n");
  EXPECT_EQ(Version({"-cfg", "a.cfg"}), "OK");  // the first file alone is loaded
  for (const std::string& request : Requests()) {
    EXPECT_TRUE(request.rfind("18 01", 0) == 0 || request.rfind("28 20", 0) == 0 ||
                request.rfind("28 22", 0) == 0 || request.rfind("28 23", 0) == 0)
        << request;
  }
}

// README, "Which servers?".

TEST_F(Documented, AListThatNamesNoBoardShowsTheBmcsIdentity) {
  Write("mchk_fil", "");
  EXPECT_EQ(Version({"-sdr"}), "SDRC04");  // there is no BMCSDR.SDR, and none is looked for
  EXPECT_EQ(Requests(), Words{"18 01"});
  const Words log = Log("tarvek_version.log");
  const std::string response = log[log.size() - 2];
  EXPECT_EQ(response, "response = 1C 01 00 20 01 01 10 51 9F 77 00 00 A3 01 00 00 00 00 ");
}

TEST_F(Documented, AStandardRequestThatIsUnknownIsTold) {
  for (const char* request : {"get-sdr-repository-info", "reserve", "get-sdr"}) {
    Remove("sdrversion_HW");
    EXPECT_EQ(Version({"-sdr", "new.sdr"}, std::string(request) + ": cc C1"), "SDR026") << request;
  }
}

TEST_F(Documented, TheManufacturerIsNotLookedAt) {
  CreateBmc({"--records", "1", "--version-text", kOld, "--manufacturer", "010203"});
  EXPECT_EQ(Forced({"-sdr", "new.sdr"}), "Complete");
}

TEST_F(Documented, WhatLooksLikeFourDigitsNamesABoard) {
  for (const char* list : {"# not for 01A3\n", "order 201A35\n"}) {
    Write("mchk_fil", list);
    EXPECT_EQ(Version({"-sdr", "new.sdr"}), "OK") << list;
  }
}

// docs/security.md: who can choose the script.

TEST_F(Documented, TheCacheCanNameAScriptOutsideTheDirectory) {
  EXPECT_EQ(Version({"-sdr", "new.sdr"}), "OK");
  const std::string cache = Read("sdrversion_HW");
  const std::string stamps = cache.substr(0, cache.find("SDR"));
  std::filesystem::create_directory(Path("away"));
  Write("away/other.cfg", "DISPLAY \"the cache's\"\nSDRNAME new.sdr\n");
  Write("sdrversion_HW", stamps + kNew + "\naway/../away/other.cfg\n");
  EXPECT_EQ(Update({"-sdr", "new.sdr"}), "Down Grade");  // it shows another version, too
  EXPECT_EQ(Forced({"-cfg"}), "Complete");
  EXPECT_TRUE(HasLogged("the cache's"));

  Remove("tarvek.log");
  Write("a.cfg", "SDRNAME new.sdr\n");
  EXPECT_EQ(Forced({"-cfg", "a.cfg"}), "Complete");
  EXPECT_FALSE(HasLogged("the cache's"));
}

TEST_F(Documented, TheBmcCanNameAScriptOutsideTheDirectory) {
  CreateBmc({"--records", "1", "--version-text", kOld, "--config-name", "../other"});
  std::filesystem::create_directory(Path("here"));
  Write("other.CFG", "DISPLAY \"the BMC's\"\nSDRNAME new.sdr\n");
  for (const char* file : {"mchk_fil", "new.sdr"}) {
    std::filesystem::copy_file(Path(file), Path(std::string("here/") + file));
  }
  RunOptions options;
  options.directory = "here";
  Tarvek({"-update", "-force", "-cfg"}, options);
  EXPECT_EQ(Read("Update_force.xml"), ResultText("Complete"));
  const Words log = Log("here/tarvek.log");
  EXPECT_NE(std::find(log.begin(), log.end(), "the BMC's"), log.end());
}

// docs/reliability.md, promise 1.

TEST_F(Documented, AConsoleThatNobodyReadsHoldsTheRunUntilASignal) {
  constexpr useconds_t kPause = 100000;  // microseconds
  constexpr int kAlmostAPipe = 60000;    // bytes; one takes 65536
  Write("many.sdr", SdrText(SdrSet(300, kNew)));
  ASSERT_EQ(mkfifo(Path("console").c_str(), S_IRUSR | S_IWUSR), 0);
  const int console = open(Path("console").c_str(), O_RDWR);  // keeps it open, and reads nothing
  ASSERT_GE(console, 0);
  const Started run =
      StartProgram({"/bin/sh", "-c", R"(exec "$0" "$@" >console)", BMCSIM_PROGRAM, "--state",
                    Path("bmc"), "--clock", "virtual", "--", TARVEK_PROGRAM, "-update", "-force",
                    "-sdr", "many.sdr", "-display", "-test"},
                   directory().string());
  int before = -1;
  int held = 0;
  for (int i = 0; i < 100 && (held < kAlmostAPipe || held != before); ++i) {
    before = held;
    usleep(kPause);
    ASSERT_EQ(ioctl(console, FIONREAD, &held), 0);
  }
  EXPECT_GE(held, kAlmostAPipe);
  EXPECT_TRUE(LockExists());
  EXPECT_EQ(kill(run.pid, SIGTERM), 0);
  EXPECT_EQ(WaitFor(run).exit_status, SIGTERM);
  EXPECT_FALSE(LockExists());
  close(console);
}

TEST_F(Documented, AnEndlessInputIsReadToItsEnd) {
  constexpr std::uintmax_t kSize = 64U << 20U;  // a sparse file: it takes no room
  Write("huge.sdr", "");
  std::filesystem::resize_file(Path("huge.sdr"), kSize);
  EXPECT_EQ(Version({"-sdr", "huge.sdr"}), "SDR047");
  Write("mchk_fil", "");
  std::filesystem::resize_file(Path("mchk_fil"), kSize);
  EXPECT_EQ(Version({"-sdr", "new.sdr"}), "SDRC04");
}

// tarvek(8), "Numbered errors", CAVEATS and BUGS.

TEST_F(Documented, ARecordThatTheBmcGivesBackTooLongIsError58) {
  const Words before = Repository();
  EXPECT_EQ(Forced({"-sdr", "new.sdr"}, "oem-get-sdr@1: body-length 60"), "SDR058");
  EXPECT_EQ(Requests().back(), "F8 10 01");
  EXPECT_EQ(Repository(), before);
}

TEST_F(Documented, ARefusedEndOfTheSparedModeIsToldBehindTheSuccess) {
  const Words before = Repository();
  EXPECT_EQ(Forced({"-sdr", "new.sdr"}, "F8/10/02: cc D5"), "SDR077");
  EXPECT_TRUE(HasLogged("SDR data was successfully written!"));
  EXPECT_EQ(Repository(), before);
  EXPECT_EQ(Forced({"-sdr", "new.sdr"}), "Complete");  // the next update begins the mode anew
  EXPECT_EQ(Repository(), HexOf(new_set_));
}

TEST_F(Documented, AVersionQueryDoesNotTryACancelledReservationAgain) {
  EXPECT_EQ(Version({"-sdr", "new.sdr"}, "get-sdr@1: cancel"), "SDR030");
}

TEST_F(Documented, RecordsOfLessThan16BytesCannotBeRestored) {
  new_set_.push_back(VersionRecord("S"));
  ASSERT_LT(new_set_.back().bytes.size(), 16U);
  Write("short.sdr", SdrText(new_set_));
  EXPECT_EQ(Forced({"-sdr", "short.sdr"}), "Complete");
  const Words before = Repository();
  Tarvek({"-backup"});
  EXPECT_EQ(Forced({"-bin", "BMCSDR.BAK"}), "SDR005");
  EXPECT_EQ(Repository(), before);

  std::string older = Read("short.sdr");
  older.replace(older.find("'1.5'"), 5, "'1.4'");
  older.replace(older.find("'1.50'"), 6, "'0.90'");
  Write("older.sdr", older);
  EXPECT_EQ(Forced({"-sdr", "older.sdr"}), "SDR005");
  EXPECT_EQ(Repository(), before);
}

TEST_F(Documented, AnImageIsLoadedWhole) {
  new_set_[1].tags = {"TAG"};
  Write("tags.sdr", SdrText(new_set_));
  EXPECT_EQ(UpdateBy("SET TAG\nSDRNAME tags.sdr\n"), "Complete");
  Tarvek({"-backup"});
  EXPECT_EQ(Forced({"-sdr", "tags.sdr"}), "Complete");
  EXPECT_EQ(Repository().size(), new_set_.size() - 1);
  EXPECT_EQ(Forced({"-bin", "BMCSDR.BAK"}), "Complete");
  EXPECT_EQ(Repository(), HexOf(new_set_));
}

// README, "Did it work?".

TEST_F(Documented, TheEndOfADirectRunShowsWhetherItWorked) {
  RunOptions options;
  options.input = "y\n";
  EXPECT_EQ(Tarvek({"-direct", "-sdr", "new.sdr"}, options).exit_status, 0);
  Words log = Log();
  EXPECT_EQ(log[log.size() - 2], "Programming complete, reboot server for normal operation ");

  Write("a.cfg", "SDRNAME new.sdr COMPARE\n");
  EXPECT_EQ(Tarvek({"-direct", "-force", "-cfg", "a.cfg"}, options).exit_status, 0);
  log = Log();
  EXPECT_EQ(log[log.size() - 2], "SDR data was successfully compared!");

  EXPECT_EQ(Tarvek({"-direct", "-sdr", "new.sdr"}, options).exit_status, 0);
  log = Log();
  EXPECT_EQ(log[log.size() - 2], "SDRVersion unmatched.:Down Grade");
}

TEST_F(Documented, WhatComesBeforeTheLockComesAtOnce) {
  RunOptions killed;
  killed.fault = "1: signal KILL";
  EXPECT_EQ(Tarvek({"-update", "-sdr", "new.sdr"}, killed).signal, SIGKILL);
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("OK"));
  for (const Words& arguments : {Words{"-update", "-sdr", "new.sdr"}, Words{"-update"}}) {
    RunOptions counting;
    counting.fault = "wait: clock +0";
    ClearTrace();
    EXPECT_EQ(Tarvek(arguments, counting).exit_status, 1);
    EXPECT_TRUE(Trace().empty());
  }
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("SDRC01"));
}

}  // namespace
}  // namespace blackbox
