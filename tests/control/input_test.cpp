// What INPUT may be, and by which of the tool's forms it is programmed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/control/control_server.h"

namespace control_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::UnorderedElementsAre;

const std::string kNew = "SDR Version 01.03";
const std::string kScript = "CONFIGURATION \"Board\"\n";

class Inputs : public ControlServer {
 public:
  void SetUp() override {
    ControlServer::SetUp();
    CreateServer();
    WriteInput(SdrSet(3, kNew));
    KeepBefore();
  }

 protected:
  /// What the last run was told to run, and leaves of it.
  Json Arguments() {
    const std::string path = StatePath("runs/" + LastRun() + "/programming");
    std::ifstream plan(path);
    std::string head;
    std::getline(plan, head);
    return Json::parse(head)["arguments"];
  }

  std::vector<std::string> Copies() {
    std::vector<std::string> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(StatePath("runs/" + LastRun() + "/work"))) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  void ExpectRefused(const std::string& input, const std::string& why) {
    for (const char* const command : {"plan", "update"}) {
      const Said said = Ctl({command, input});
      EXPECT_EQ(said.outcome.exit_status, 3) << input;
      EXPECT_EQ(said.result["outcome"], "refused");
      EXPECT_THAT(said.result["message"]["what"], HasSubstr(why));
    }
    EXPECT_EQ(Repository(), before());
  }

  void ExpectDone(const Words& words) {
    const Said said = Ctl(words);
    EXPECT_EQ(said.outcome.exit_status, 0) << said.outcome.console;
    EXPECT_EQ(said.result["in_service"], "input");
    EXPECT_EQ(Repository(), input());
  }
};

// ---- scripts

TEST_F(Inputs, AScriptThatProgramsOneFileIsProgrammed) {
  Write("new.cfg", kScript + "SDRNAME new.sdr\n");
  ExpectDone({"update", "new.cfg"});
  EXPECT_THAT(Arguments(), ElementsAre("-update", "-cfg", "input.CFG"));
}

TEST_F(Inputs, AScriptMayProgramAFileAndCompareIt) {
  Write("new.cfg", kScript + "SDRNAME new.sdr FIRST\nSDRNAME new.sdr COMPARE LAST\n");
  ExpectDone({"update", "new.cfg"});
  // It is not one that only compares, so it is forced only by whoever asks for that.
  EXPECT_THAT(Arguments(), ElementsAre("-update", "-cfg", "input.CFG"));
}

TEST_F(Inputs, AScriptSelectsRecordsByItsTags) {
  std::vector<SourceRecord> records = SdrSet(3, kNew);
  records[1].tags = {"FAN"};
  Write("new.sdr", SdrText(records));
  Write("with.cfg", kScript + "SET FAN\nSDRNAME new.sdr\n");
  Write("without.cfg", kScript + "SDRNAME new.sdr\n");
  InputIs(records);
  ExpectDone({"update", "with.cfg"});
  records.erase(records.begin() + 1);
  InputIs(records);
  ExpectDone({"update", "without.cfg", "--force"});
}

TEST_F(Inputs, AScriptThatOnlyComparesIsForced) {
  Write("new.cfg", kScript + "SDRNAME new.sdr COMPARE LAST\n");
  EXPECT_EQ(Ctl({"update", "new.cfg"}).outcome.exit_status, 1);
  EXPECT_THAT(Arguments(), ElementsAre("-update", "-cfg", "input.CFG", "-force"));
  EXPECT_EQ(Repository(), before());
  ASSERT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 0);
  EXPECT_EQ(Ctl({"update", "new.cfg"}).outcome.exit_status, 2);
}

TEST_F(Inputs, AScriptThatProgramsMoreThanOneFileIsRefused) {
  Write("other.sdr", SdrText(SdrSet(2, kNew)));
  Write("new.cfg", kScript + "SDRNAME other.sdr FIRST\nSDRNAME new.sdr LAST\n");
  ExpectRefused("new.cfg", "only the last of them would be in service");
}

TEST_F(Inputs, AScriptThatNamesAFileElsewhereIsRefused) {
  std::filesystem::create_directory(Path("sub"));
  Write("sub/new.sdr", SdrText(SdrSet(3, kNew)));
  for (const char* const name : {"sub/new.sdr", "../work/new.sdr", "/etc/passwd", "./new.sdr"}) {
    Write("new.cfg", kScript + "SDRNAME " + name + "\n");
    ExpectRefused("new.cfg", "only plain names");
  }
  Write("new.cfg", kScript + "SDRNAME ..\n");
  ExpectRefused("new.cfg", "..");
}

TEST_F(Inputs, AScriptThatNamesAFileOfTheToolsIsRefused) {
  for (const char* const name : {"mchk_fil", "tarvek.log", "input.SDR", "ZetaInfo.xml"}) {
    Write("new.cfg", kScript + "SDRNAME " + name + "\n");
    ExpectRefused("new.cfg", "a name that tarvek itself uses");
  }
}

TEST_F(Inputs, AScriptThatNamesNoFileOrOneThatIsNotThereIsRefused) {
  Write("new.cfg", kScript);
  ExpectRefused("new.cfg", "loads no file");
  Write("new.cfg", kScript + "SDRNAME gone.sdr\n");
  ExpectRefused("new.cfg", "gone.sdr");
}

TEST_F(Inputs, FilesOfAScriptAreThoseBesideItWhereverTheCallerIs) {
  std::filesystem::create_directory(Path("sub"));
  Write("sub/mchk_fil", "01a3\n");
  WriteInput(SdrSet(6, "SDR Version 01.06"), "sub/new.sdr");
  Write("sub/new.cfg", kScript + "SDRNAME new.sdr\n");
  ExpectDone({"update", "sub/new.cfg"});
}

TEST_F(Inputs, OnlyTheFilesThatARunNeedsAreCopied) {
  Write("other.sdr", SdrText(SdrSet(2, kNew)));
  Write("stray.txt", "not for the run");
  Write("new.cfg", kScript + "IFSET NEVER\nSDRNAME other.sdr\nELSE\nSDRNAME new.sdr\nENDIF\n");
  ExpectDone({"update", "new.cfg"});
  EXPECT_THAT(Copies(), IsSupersetOf({"input.CFG", "mchk_fil", "new.sdr"}));
  EXPECT_THAT(Copies(), Not(testing::Contains("other.sdr")));
  EXPECT_THAT(Copies(), Not(testing::Contains("stray.txt")));
}

// ---- forms

TEST_F(Inputs, TheCopyIsWhatIsProgrammed) {
  const std::string tool = WriteTool("echo changed >$HERE/work/new.sdr\nexec $TARVEK \"$@\"\n");
  ExpectDone({"update", "new.sdr", "--tool", tool});
  EXPECT_EQ(Read("new.sdr"), "changed\n");
}

TEST_F(Inputs, AreToldByTheirContentWhateverTheirName) {
  std::filesystem::rename(Path("new.sdr"), Path("image.bak"));
  ExpectDone({"update", "image.bak"});
  EXPECT_THAT(Arguments(), ElementsAre("-update", "-sdr", "input.SDR"));
}

TEST_F(Inputs, AnImageIsProgrammedAsAnImage) {
  Serve(SdrSet(3, kNew));
  ASSERT_EQ(Ctl({"backup", "new.bak"}).outcome.exit_status, 0);
  CreateServer();
  KeepBefore();
  ExpectDone({"update", "new.bak"});
  EXPECT_THAT(Arguments(), ElementsAre("-update", "-bin", "input.BIN"));
}

TEST_F(Inputs, ThatAreNothingOfTheKindAreRefused) {
  Write("empty", "");
  ExpectRefused("empty", "is empty");
  Write("noise", std::string("\x7F"
                             "ELF\0\1\2",
                             7));
  ExpectRefused("noise", "");
  Write("broken.sdr", "_LF_NAME 'X'\n_SDR_TYPE zz\n");
  const Said said = Ctl({"update", "broken.sdr"});
  EXPECT_EQ(said.outcome.exit_status, 3);
  EXPECT_THAT(said.result["message"]["what"], HasSubstr("broken.sdr:"));
}

TEST_F(Inputs, WithFindingsAreRefusedWithThePlaceAndTakenWithAllowFindings) {
  std::vector<SourceRecord> records = SdrSet(2, kNew);
  records.erase(records.begin());
  WriteInput(records);
  const Said said = Ctl({"update", "new.sdr", "--force"});
  EXPECT_EQ(said.outcome.exit_status, 3);
  EXPECT_THAT(said.result["message"]["what"], HasSubstr("new.sdr"));
  EXPECT_THAT(said.result["message"]["remedy"], HasSubstr("--allow-findings"));
  ExpectDone({"update", "new.sdr", "--force", "--allow-findings"});
}

TEST_F(Inputs, BoardsMayStandElsewhere) {
  Remove("mchk_fil");
  Write("list", "00ff Some board\n01A3 This board\n");
  ExpectDone({"update", "new.sdr", "--boards", "list"});
  const Said said = Ctl({"update", "new.sdr", "--boards", "gone"});
  EXPECT_EQ(said.outcome.exit_status, 3);
}

// ---- an empty repository

TEST_F(Inputs, FillAnEmptyRepositoryInWhateverForm) {
  Serve(SdrSet(3, kNew));
  ASSERT_EQ(Ctl({"backup", "new.bak"}).outcome.exit_status, 0);
  Write("new.cfg", kScript + "SDRNAME new.sdr\n");
  for (const Words& words : {Words{"update", "new.sdr"}, Words{"update", "new.cfg"},
                             Words{"update", "new.bak"}, Words{"restore", "new.bak"}}) {
    CreateBmc({"--records", "0"});
    KeepBefore();
    ExpectDone(words);
    EXPECT_EQ(Arguments()[1], "-cfg");
    EXPECT_EQ(Arguments()[3], "-force");
  }
}

TEST_F(Inputs, WithoutAVersionDoNotFillAnEmptyRepositoryUnforced) {
  std::vector<SourceRecord> records = SdrSet(3);
  records.erase(records.begin());
  WriteInput(records);
  CreateBmc({"--records", "0"});
  EXPECT_EQ(Ctl({"update", "new.sdr", "--allow-findings"}).outcome.exit_status, 3);
  EXPECT_TRUE(Repository().empty());
  ExpectDone({"update", "new.sdr", "--allow-findings", "--force"});
}

// ---- sets that not every form can hold

class Forms : public Inputs {
 protected:
  static std::vector<SourceRecord> With(std::initializer_list<std::size_t> bodies) {
    std::vector<SourceRecord> records = SdrSet(3, kNew);
    for (const std::size_t body : bodies) records.push_back(OemRecord(body));
    return records;
  }

  /// Saves a set, and serves another.
  void Save(const std::vector<SourceRecord>& records) {
    Serve(records);
    ASSERT_EQ(Ctl({"backup", "saved.bak"}).outcome.exit_status, 0);
    InputIs(records);
    Serve(SdrSet(2, "SDR Version 01.09"));
    KeepBefore();
  }
};

TEST_F(Forms, ShortRecordsAreRestoredThroughSourceText) {
  Save(With({5, 10}));
  ExpectDone({"restore", "saved.bak"});
  EXPECT_THAT(Arguments(), ElementsAre("-update", "-sdr", "restore.SDR", "-force"));
}

TEST_F(Forms, LongRecordsAreRestoredThroughTheImage) {
  Save(With({64, 60}));
  ExpectDone({"restore", "saved.bak"});
  EXPECT_THAT(Arguments(), ElementsAre("-update", "-bin", "input.BIN", "-force"));
}

TEST_F(Forms, SetsWithBothAreRefusedBeforeAnythingIsWritten) {
  Save(With({5, 62}));
  const Said said = Ctl({"restore", "saved.bak"});
  EXPECT_EQ(said.outcome.exit_status, 4);
  EXPECT_EQ(said.result["outcome"], "refused");
  EXPECT_EQ(Repository(), before());
}

TEST_F(Forms, OfTheBmcsWithBothAreUpdatedWithoutABackupAlone) {
  Serve(With({5, 62}));
  KeepBefore();
  WriteInput(SdrSet(2, "SDR Version 01.09"));
  for (const char* const command : {"plan", "update"}) {
    const Said said = Ctl({command, "new.sdr"});
    EXPECT_EQ(said.outcome.exit_status, 4);
    EXPECT_THAT(said.result["message"]["remedy"], HasSubstr("--no-backup"));
  }
  EXPECT_EQ(Repository(), before());
  EXPECT_EQ(Ctl({"plan", "new.sdr", "--no-backup"}).outcome.exit_status, 0);
  ExpectDone({"update", "new.sdr", "--no-backup"});
}

TEST_F(Forms, OfTheBmcsOfMoreThan32767BytesAreUpdatedWithoutABackupAlone) {
  Serve(SdrSet(800, kNew));  // 43 bytes or more each
  KeepBefore();
  WriteInput(SdrSet(2, "SDR Version 01.09"));
  for (const Words& words :
       {Words{"update", "new.sdr"}, Words{"plan", "new.sdr"}, Words{"backup", "saved.bak"}}) {
    const Said said = Ctl(words);
    EXPECT_EQ(said.outcome.exit_status, 4) << words[0];
    EXPECT_THAT(said.result["message"]["what"], HasSubstr("32,767"));
  }
  EXPECT_FALSE(Exists("saved.bak"));
  // What was not read is not compared.
  Write("new.cfg", "CONFIGURATION \"Board\"\nSDRNAME new.sdr COMPARE LAST\n");
  ExpectResult(Ctl({"plan", "new.cfg", "--no-backup"}),
               {.status = 6, .outcome = "failed", .changed = nullptr, .in_service = "unknown"});
  EXPECT_EQ(Repository(), before());
  ExpectDone({"update", "new.sdr", "--no-backup"});
}

TEST_F(Forms, InputsOfMoreThan32767BytesAreRefused) {
  WriteInput(SdrSet(800, kNew));
  for (Words words : {Words{"plan", "new.sdr"}, Words{"update", "new.sdr"},
                      Words{"update", "new.sdr", "--no-backup"}}) {
    words.emplace_back("--allow-findings");
    const Said said = Ctl(words);
    EXPECT_EQ(said.outcome.exit_status, 4);
    EXPECT_THAT(said.result["message"]["what"], HasSubstr("32,767"));
  }
  EXPECT_EQ(Repository(), before());
}

TEST_F(Forms, AnUpdateAndTheRestoreOfItsBackupBringEverythingBack) {
  const Said update = Ctl({"update", "new.sdr"});
  ASSERT_EQ(update.outcome.exit_status, 0);
  const std::vector<std::string> old = before();
  const Said restore = Ctl({"restore", update.result["backup"]});
  EXPECT_EQ(restore.outcome.exit_status, 0);
  EXPECT_EQ(Repository(), old);
  EXPECT_EQ(restore.result["version_after"], "01.02");
}

// ---- plan

TEST_F(Inputs, APlanTellsTheDifferenceTheRequestsAndTheTimeAndChangesNothing) {
  const Said said = Ctl({"plan", "new.sdr"});
  ASSERT_EQ(said.outcome.exit_status, 0);
  EXPECT_EQ(said.result["difference"]["schema"], 1);
  EXPECT_FALSE(said.result["difference"]["added"].empty());
  EXPECT_THAT(said.result["difference_text"], HasSubstr("01.03"));
  EXPECT_GE(said.result["seconds"], 30);
  EXPECT_TRUE(said.result["findings"].is_array());
  EXPECT_EQ(Repository(), before());
  // As many requests as the tool really sends.
  ClearTrace();
  ASSERT_EQ(Tarvek({"-update", "-sdr", "new.sdr"}).exit_status, 0);
  EXPECT_EQ(said.result["requests"], Requests().size());
}

TEST_F(Inputs, APlanOfTheSameVersionTellsThatBytesDiffer) {
  Serve(SdrSet(5, kNew));
  KeepBefore();
  const Said said = Ctl({"plan", "new.sdr"});
  EXPECT_EQ(said.outcome.exit_status, 2);
  EXPECT_EQ(said.result["differs"], true);
  EXPECT_THAT(said.result["message"]["what"], HasSubstr("differ"));
  EXPECT_THAT(said.result["message"]["remedy"], HasSubstr("--force"));
  EXPECT_FALSE(said.result["difference"]["removed"].empty());
}

TEST_F(Inputs, ToolsThatAreNotThereOrDoNothingAreNoSuccess) {
  EXPECT_EQ(Ctl({"update", "new.sdr", "--tool", "/nowhere/tarvek"}).outcome.exit_status, 4);
  EXPECT_EQ(Ctl({"update", "new.sdr", "--tool", Path("new.sdr")}).outcome.exit_status, 4);
  EXPECT_EQ(Ctl({"update", "new.sdr", "--tool", "/bin/true"}).outcome.exit_status, 1);
  const std::string idle = WriteTool("[ $1 = -update ] && exit 0\nexec $TARVEK \"$@\"\n");
  const Said said = Ctl({"update", "new.sdr", "--tool", idle});
  EXPECT_NE(said.outcome.exit_status, 0);
  EXPECT_EQ(said.result["in_service"], "previous");
  EXPECT_EQ(said.result["changed"], false);
}

TEST_F(Inputs, AnUpdateWhoseReadBackFailsIsUnknown) {
  const std::string tool = WriteTool(
      "[ $1 = -update ] && : >$HERE/written\n[ $1 = -backup ] && [ -e $HERE/written ] && exit 0\n"
      "exec $TARVEK \"$@\"\n");
  const Said said = Ctl({"update", "new.sdr", "--tool", tool});
  ExpectResult(said, {.status = 6,
                      .outcome = "failed",
                      .changed = nullptr,
                      .in_service = "unknown",
                      .version_before = "01.02",
                      .result_code = "Complete",
                      .run = true,
                      .log = true,
                      .backup = true});
}

TEST_F(Inputs, ToolsThatSpoilTheirDirectoryAreNotBelievedWhatTheySeemToHaveDone) {
  const std::vector<std::string> spoils = {
      "rm -rf \"$PWD\"",
      "rm -rf ./*",
      "rm -f Update_*.xml; mkdir Update_normal.xml Update_force.xml",
      "rm -f tarvek.log; mkdir tarvek.log",
      "mkdir ../result.json",
      "head -c 100000 /dev/zero >Update_normal.xml",
  };
  int version = 3;
  for (const std::string& spoil : spoils) {
    SCOPED_TRACE(spoil);
    KeepBefore();
    WriteInput(SdrSet(3, "SDR Version 01.0" + std::to_string(version++)));
    const std::string tool = WriteTool("[ $1 = -update ] || exec $TARVEK \"$@\"\n$TARVEK \"$@\"\n" +
                                       spoil + "\nexit 0\n");
    const Said said = Ctl({"update", "new.sdr", "--tool", tool});
    EXPECT_EQ(said.outcome.exit_status, 0);
    EXPECT_EQ(said.result["in_service"], "input");
    EXPECT_EQ(said.result["changed"], true);
    EXPECT_EQ(Repository(), input());
  }
}

TEST_F(Inputs, ABackupIsReadTwiceAndWhatDiffersIsNotKept) {
  Write("third.sdr", SdrText(SdrSet(7, "SDR Version 03.00")));
  const std::string tool = WriteTool(
      "if [ $1 = -backup ] && [ -e $HERE/read ] && mkdir $HERE/between; then\n"
      "  cp $HERE/work/third.sdr . && $TARVEK -update -force -sdr third.sdr\nfi\n"
      "[ $1 = -backup ] && : >$HERE/read\nexec $TARVEK \"$@\"\n");
  const Said said = Ctl({"update", "new.sdr", "--tool", tool});
  EXPECT_EQ(said.outcome.exit_status, 1);
  EXPECT_THAT(said.result["message"]["what"], HasSubstr("gave different bytes"));
  EXPECT_EQ(said.result["backup"], nullptr);
  EXPECT_NE(Repository(), input());
}

TEST_F(Inputs, RecordsThatSomebodyElseWroteMeanwhileAreOther) {
  Write("third.sdr", SdrText(SdrSet(7, "SDR Version 03.00")));
  const std::string tool = WriteTool(
      "if [ $1 = -update ]; then\n  cp $HERE/work/third.sdr .\n  exec $TARVEK -update -force -sdr "
      "third.sdr\nfi\nexec $TARVEK \"$@\"\n");
  const Said said = Ctl({"update", "new.sdr", "--tool", tool});
  ExpectResult(said, {.status = 1,
                      .outcome = "failed",
                      .changed = true,
                      .in_service = "other",
                      .differs = true,
                      .version_before = "01.02",
                      .version_after = "03.00",
                      .result_code = "Complete",
                      .run = true,
                      .log = true,
                      .backup = true});
  EXPECT_THAT(said.result["message"]["remedy"], HasSubstr("tarvekctl restore /"));
}

}  // namespace
}  // namespace control_test
