// Every exit status of every command, with every key of its result.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "tests/control/control_server.h"

namespace control_test {
namespace {

using blackbox::VersionRecord;

/// One run of one command.
struct Case {
  const char* name;
  std::function<void(ControlServer&)> prepare;
  Words words;
  Expected expected;
  RunOptions options = {};
  bool shows_run = false;  // the last word is to be the newest run
};

void PrintTo(const Case& row, std::ostream* out) { *out << row.name; }

// ---- what there is before the command

const std::string kOld = "SDR Version 01.02";
const std::string kNew = "SDR Version 01.03";

/// A BMC with version 01.02, and INPUT with 01.03.
void Newer(ControlServer& server) {
  server.CreateServer();
  server.WriteInput(SdrSet(3, kNew));
}

void Older(ControlServer& server) {
  server.CreateServer(4, "SDR Version 01.04");
  server.WriteInput(SdrSet(3, kNew));
}

void SameVersionOtherBytes(ControlServer& server) {
  server.CreateServer(4, kNew);
  server.WriteInput(SdrSet(3, kNew));
}

void Identical(ControlServer& server) {
  server.Serve(SdrSet(3, kNew));
  server.WriteInput(SdrSet(3, kNew));
}

void Empty(ControlServer& server) {
  server.CreateBmc({"--records", "0"});
  server.Write("mchk_fil", "01a3\n");
  server.WriteInput(SdrSet(3, kNew));
}

void NoVersion(ControlServer& server) {
  server.CreateServer();
  std::vector<SourceRecord> records = SdrSet(3);
  records.erase(records.begin());
  server.WriteInput(records);
}

void NoBoards(ControlServer& server) {
  Newer(server);
  server.Remove("mchk_fil");
}

void WrongBoard(ControlServer& server) {
  Newer(server);
  server.Write("mchk_fil", "01a4\n");
}

void StrangersLock(ControlServer& server) {
  Newer(server);
  ControlServer::LeaveLock();
}

void ComparesEqual(ControlServer& server) {
  Identical(server);
  server.Write("new.cfg", "CONFIGURATION \"Board\"\nSDRNAME new.sdr COMPARE LAST\n");
}

void ComparesOther(ControlServer& server) {
  Newer(server);
  server.Write("new.cfg", "CONFIGURATION \"Board\"\nSDRNAME new.sdr COMPARE LAST\n");
}

/// An image of what is to be restored, and a BMC that serves something else.
void Saved(ControlServer& server) {
  server.Serve(SdrSet(3, kNew));
  EXPECT_EQ(server.Ctl({"backup", "saved.bak"}).outcome.exit_status, 0);
  server.InputIs(SdrSet(3, kNew));
  server.Serve(SdrSet(5, kOld));
  server.Remove("mchk_fil");
}

void SavedAndServed(ControlServer& server) {
  Saved(server);
  server.Serve(SdrSet(3, kNew));
}

void SavedElsewhere(ControlServer& server) {
  Saved(server);
  server.Serve(SdrSet(5, kOld), {"--product", "01A4"});
  server.Remove("mchk_fil");
}

void SavedElsewhereListed(ControlServer& server) {
  SavedElsewhere(server);
  server.Write("boards", "01a4\n");
}

void SavedAndLocked(ControlServer& server) {
  Saved(server);
  ControlServer::LeaveLock();
}

void Ran(ControlServer& server) {
  Newer(server);
  EXPECT_EQ(server.Ctl({"update", "new.sdr"}).outcome.exit_status, 0);
}

void RanAndFailed(ControlServer& server) {
  Newer(server);
  RunOptions options;
  options.fault = "oem-add@3: cc C1";
  EXPECT_EQ(server.Ctl({"update", "new.sdr"}, options).outcome.exit_status, 1);
}

void RanAndWasKilled(ControlServer& server) {
  Newer(server);
  RunOptions options;
  options.fault = "oem-add@3: signal KILL";
  EXPECT_EQ(server.Ctl({"update", "new.sdr"}, options).outcome.exit_status, 6);
}

void RanForNothing(ControlServer& server) {
  Identical(server);
  EXPECT_EQ(server.Ctl({"update", "new.sdr"}).outcome.exit_status, 2);
}

/// A state directory that cannot be made.
void NoStateDirectory(ControlServer& server) {
  Newer(server);
  std::filesystem::remove(server.state_directory());
  std::ofstream(server.state_directory()) << "in its place";
}

/// A state that says that the BMC serves what it served before.
void Looked(ControlServer& server) {
  Newer(server);
  EXPECT_EQ(server.Ctl({"status"}).outcome.exit_status, 0);
}

void Backed(ControlServer& server) {
  Newer(server);
  server.Write("old.bak", "precious");
}

RunOptions Fault(const std::string& plan) {
  RunOptions options;
  options.fault = plan;
  return options;
}

RunOptions NoDriver() {
  RunOptions options;
  options.driver = "none";
  return options;
}

// ---- what is expected, by command

Expected Refused(int status) { return {.status = status, .outcome = "refused"}; }
Expected Busy() { return {.status = 5, .outcome = "busy"}; }
Expected Failed() { return {.status = 1, .outcome = "failed"}; }
Expected Usage() { return {.status = 64, .outcome = "usage"}; }

Expected OfRun(Expected expected, bool logged = false) {
  expected.run = true;
  expected.log = logged;
  return expected;
}

Expected With(Expected expected, const std::string& code) {
  expected.result_code = code;
  return expected;
}

/// The tool failed while it programmed.
Expected RunFailed(int number) {
  char code[8];
  std::snprintf(code, sizeof code, "SDR%03d", number);
  return {.status = 1,
          .outcome = "failed",
          .differs = true,
          .version_before = "01.02",
          .version_after = "01.02",
          .result_code = code,
          .error = number,
          .run = true,
          .log = true,
          .backup = true};
}

Expected Programmed(const std::string& before = "01.02") {
  return {.changed = true,
          .in_service = "input",
          .differs = false,
          .version_before = before,
          .version_after = "01.03",
          .result_code = "Complete",
          .run = true,
          .log = true,
          .backup = true};
}

Expected WithoutBackup(Expected expected) {
  expected.backup = false;
  expected.version_before = nullptr;
  return expected;
}

Expected Nothing(bool identical, const Json& version) {
  return {.status = 2,
          .outcome = "nothing",
          .in_service = identical ? "input" : "previous",
          .differs = !identical,
          .version_before = version,
          .version_after = version};
}

Expected RanInterrupted() {
  Expected expected = RunFailed(1);
  expected.status = 6;
  expected.outcome = "interrupted";
  expected.result_code = "OK";
  expected.error = nullptr;
  return expected;
}

const std::vector<Case> kUpdates{
    {"Done", Newer, {"update", "new.sdr"}, Programmed()},
    {"DoneOptionsFirst", Newer, {"--force", "update", "new.sdr"}, Programmed()},
    {"DoneDowngradeForced", Older, {"update", "--force", "new.sdr"}, Programmed("01.04")},
    {"DoneSameVersionForced",
     SameVersionOtherBytes,
     {"update", "new.sdr", "--force"},
     Programmed("01.03")},
    {"DoneReprogrammed",
     Identical,
     {"update", "new.sdr", "--force", "--reprogram"},
     {.in_service = "input",
      .differs = false,
      .version_before = "01.03",
      .version_after = "01.03",
      .result_code = "Complete",
      .run = true,
      .log = true,
      .backup = true}},
    {"DoneOnAnEmptyRepository", Empty, {"update", "new.sdr"}, WithoutBackup(Programmed())},
    {"DoneThoughTheLastAnswerWasAnError",
     Newer,
     {"update", "new.sdr"},
     {.changed = true,
      .in_service = "input",
      .differs = false,
      .version_before = "01.02",
      .version_after = "01.03",
      .result_code = "SDR077",
      .error = 77,
      .run = true,
      .log = true,
      .backup = true},
     Fault("F8/10/02: cc-after D5")},
    {"BmcCannotBeAsked",
     Newer,
     {"update", "new.sdr"},
     OfRun(With(Failed(), "SDRC05")),
     Fault("get-device-id: cc C1")},
    {"BmcCannotBeRead",
     Newer,
     {"update", "new.sdr"},
     {.status = 1, .outcome = "failed", .error = 26, .run = true},
     Fault("get-sdr: cc C1")},
    {"ProgrammingFails", Newer, {"update", "new.sdr"}, RunFailed(77), Fault("oem-add@3: cc C1")},
    {"ComparesOther",
     ComparesOther,
     {"update", "new.cfg"},
     {.status = 1,
      .outcome = "failed",
      .differs = true,
      .version_before = "01.02",
      .version_after = "01.02",
      .result_code = "SDR032",
      .error = 32,
      .run = true,
      .log = true}},
    {"SameVersionOtherBytes",
     SameVersionOtherBytes,
     {"update", "new.sdr"},
     OfRun(Nothing(false, "01.03"))},
    {"NewerIsThere", Older, {"update", "new.sdr"}, OfRun(Nothing(false, "01.04"))},
    {"Identical", Identical, {"update", "new.sdr"}, OfRun(Nothing(true, "01.03"))},
    {"IdenticalForced", Identical, {"update", "new.sdr", "--force"}, OfRun(Nothing(true, "01.03"))},
    {"IdenticalReprogramIsNoForce",
     Identical,
     {"update", "new.sdr", "--reprogram"},
     OfRun(Nothing(true, "01.03"))},
    {"ComparesEqual",
     ComparesEqual,
     {"update", "new.cfg"},
     {.status = 2,
      .outcome = "nothing",
      .in_service = "input",
      .differs = false,
      .version_before = "01.03",
      .version_after = "01.03",
      .result_code = "Complete",
      .run = true,
      .log = true}},
    {"NoInput", Newer, {"update", "gone.sdr"}, Refused(3)},
    {"Findings", NoVersion, {"update", "new.sdr"}, OfRun(Refused(3))},
    {"NoVersion",
     NoVersion,
     {"update", "new.sdr", "--allow-findings"},
     OfRun(With(Refused(3), "SDRC07"))},
    {"NoBoards", NoBoards, {"update", "new.sdr"}, With(Refused(3), "SDRC06")},
    {"WrongBoard", WrongBoard, {"update", "new.sdr"}, OfRun(With(Refused(4), "SDRC04"))},
    {"NoDriver", Newer, {"update", "new.sdr"}, OfRun(With(Refused(4), "SDRC03")), NoDriver()},
    {"NoStateDirectory", NoStateDirectory, {"update", "new.sdr"}, Refused(4)},
    {"Locked", StrangersLock, {"update", "new.sdr"}, OfRun(Busy())},
    {"KilledWhileProgramming",
     Newer,
     {"update", "new.sdr"},
     RanInterrupted(),
     Fault("oem-add@3: signal KILL")},
    {"TerminatedWhileProgramming",
     Newer,
     {"update", "new.sdr"},
     RanInterrupted(),
     Fault("oem-add@3: signal TERM")},
    {"UnknownOption", Newer, {"update", "new.sdr", "--fast"}, Usage()},
    {"NoArgument", Newer, {"update"}, Usage()},
};

const std::vector<Case> kRestores{
    {"Done", Saved, {"restore", "saved.bak"}, Programmed()},
    {"DoneWithBoards",
     SavedElsewhereListed,
     {"restore", "saved.bak", "--boards", "boards"},
     Programmed()},
    {"ProgrammingFails", Saved, {"restore", "saved.bak"}, RunFailed(77), Fault("oem-add@3: cc C1")},
    {"Identical", SavedAndServed, {"restore", "saved.bak"}, OfRun(Nothing(true, "01.03"))},
    {"NoFile", Saved, {"restore", "gone.bak"}, Refused(3)},
    {"NoImage", Newer, {"restore", "new.sdr"}, Refused(3)},
    {"AnotherProducts",
     SavedElsewhere,
     {"restore", "saved.bak"},
     OfRun(With(Refused(4), "SDRC04"))},
    {"NoDriver", Saved, {"restore", "saved.bak"}, OfRun(With(Refused(4), "SDRC03")), NoDriver()},
    {"Locked", SavedAndLocked, {"restore", "saved.bak"}, OfRun(Busy())},
    {"Killed", Saved, {"restore", "saved.bak"}, RanInterrupted(), Fault("oem-add@3: signal KILL")},
    {"Force", Saved, {"restore", "saved.bak", "--force"}, Usage()},
};

const Expected kPlanned{.differs = true, .version_before = "01.02", .version_after = "01.02"};

const std::vector<Case> kPlans{
    {"Done", Newer, {"plan", "new.sdr"}, kPlanned},
    {"DoneOnAnEmptyRepository", Empty, {"plan", "new.sdr"}, {.differs = true}},
    {"DoneReprogram",
     Identical,
     {"plan", "new.sdr", "--force", "--reprogram"},
     {.in_service = "input",
      .differs = false,
      .version_before = "01.03",
      .version_after = "01.03"}},
    {"BmcCannotBeAsked",
     Newer,
     {"plan", "new.sdr"},
     With(Failed(), "SDRC05"),
     Fault("get-device-id: cc C1")},
    {"BmcCannotBeRead",
     Newer,
     {"plan", "new.sdr"},
     {.status = 1, .outcome = "failed", .error = 26},
     Fault("get-sdr: cc C1")},
    {"SameVersionOtherBytes", SameVersionOtherBytes, {"plan", "new.sdr"}, Nothing(false, "01.03")},
    {"NewerIsThere", Older, {"plan", "new.sdr"}, Nothing(false, "01.04")},
    {"Identical", Identical, {"plan", "new.sdr"}, Nothing(true, "01.03")},
    {"IdenticalForced", Identical, {"plan", "new.sdr", "--force"}, Nothing(true, "01.03")},
    {"ComparesEqual",
     ComparesEqual,
     {"plan", "new.cfg"},
     {.status = 2,
      .outcome = "nothing",
      .in_service = "input",
      .differs = false,
      .version_before = "01.03",
      .version_after = "01.03"}},
    {"ComparesOther",
     ComparesOther,
     {"plan", "new.cfg"},
     {.status = 1,
      .outcome = "failed",
      .differs = true,
      .version_before = "01.02",
      .version_after = "01.02"}},
    {"NoInput", Newer, {"plan", "gone.sdr"}, Refused(3)},
    {"Findings", NoVersion, {"plan", "new.sdr"}, Refused(3)},
    {"NoVersion", NoVersion, {"plan", "new.sdr", "--allow-findings"}, With(Refused(3), "SDRC07")},
    {"NoBoards", NoBoards, {"plan", "new.sdr"}, With(Refused(3), "SDRC06")},
    {"WrongBoard", WrongBoard, {"plan", "new.sdr"}, With(Refused(4), "SDRC04")},
    {"NoDriver", Newer, {"plan", "new.sdr"}, With(Refused(4), "SDRC03"), NoDriver()},
    {"Locked", StrangersLock, {"plan", "new.sdr"}, Busy()},
    {"Detach", Newer, {"plan", "new.sdr", "--detach"}, Usage()},
};

Expected Told(const Json& version) { return {.version_before = version, .version_after = version}; }

const std::vector<Case> kOthers{
    {"StatusDone", Newer, {"status"}, Told("01.02")},
    {"StatusDoneFromItsFile", Looked, {"status"}, Told("01.02"), Fault("get-sdr: cc C1")},
    {"StatusOfAnEmptyRepository", Empty, {"status"}, Told(nullptr)},
    {"StatusBmcCannotBeAsked",
     Newer,
     {"status"},
     With(Failed(), "SDRC05"),
     Fault("get-sdr-repository-info: cc C1")},
    {"StatusBmcCannotBeRead",
     Newer,
     {"status"},
     {.status = 1, .outcome = "failed", .error = 26},
     Fault("get-sdr: cc C1")},
    {"StatusNoDriver", Newer, {"status"}, With(Refused(4), "SDRC03"), NoDriver()},
    {"StatusNoStateDirectory", NoStateDirectory, {"status"}, Refused(4)},
    {"StatusLocked", StrangersLock, {"status"}, Busy()},
    {"StatusUsage", Newer, {"status", "--format", "xml"}, Usage()},
    {"BackupDone",
     Newer,
     {"backup", "old.bak"},
     {.version_before = "01.02", .version_after = "01.02", .backup = true}},
    {"BackupDoneOver",
     Backed,
     {"backup", "old.bak", "--overwrite"},
     {.version_before = "01.02", .version_after = "01.02", .backup = true}},
    {"BackupBmcCannotBeRead",
     Newer,
     {"backup", "old.bak"},
     {.status = 1, .outcome = "failed", .error = 26},
     Fault("get-sdr: cc C1")},
    {"BackupOfNothing", Empty, {"backup", "old.bak"}, {.status = 2, .outcome = "nothing"}},
    {"BackupExists", Backed, {"backup", "old.bak"}, Refused(3)},
    {"BackupNoDirectory", Newer, {"backup", "gone/old.bak"}, Refused(4)},
    {"BackupNoDriver", Newer, {"backup", "old.bak"}, With(Refused(4), "SDRC03"), NoDriver()},
    {"BackupLocked", StrangersLock, {"backup", "old.bak"}, Busy()},
    {"BackupUsage", Newer, {"backup"}, Usage()},
    {"HistoryDone", Newer, {"history"}, {}},
    {"HistoryOfRuns", RanAndFailed, {"history"}, {}},
    {"HistoryNoStateDirectory", NoStateDirectory, {"history"}, Refused(4)},
    {"HistoryUsage", Newer, {"history", "all"}, Usage()},
    {"ShowUsage", Newer, {"show"}, Usage()},
    {"ShowOfNoRun", Newer, {"show", "20010101-000000-00000000"}, Usage()},
    {"ShowOfNoName", Newer, {"show", "../runs"}, Usage()},
    {"WaitUsage", Newer, {"wait"}, Usage()},
    {"WaitForNoRun", Newer, {"wait", "20010101-000000-00000000"}, Usage()},
    {"UsageOfNoCommand", Newer, {}, Usage()},
    {"UsageOfAnUnknownCommand", Newer, {"frobnicate"}, Usage()},
};

class EveryStatus : public ControlServer, public testing::WithParamInterface<Case> {};

TEST_P(EveryStatus, IsToldWithEveryKey) {
  const Case& row = GetParam();
  row.prepare(*this);
  KeepBefore();
  const bool locked = IsLocked();
  const Said said = Ctl(row.words, row.options);
  ExpectResult(said, row.expected);
  EXPECT_EQ(IsLocked(), locked);
  if (locked) RemoveLock();
  if (said.result["message"]["what"].is_string() && std::string(row.name) != "NoStateDirectory" &&
      std::filesystem::is_directory(state_directory())) {
    ExpectNothingLeft();
  }
}

std::string NameOf(const testing::TestParamInfo<Case>& row) { return row.param.name; }

INSTANTIATE_TEST_SUITE_P(Update, EveryStatus, testing::ValuesIn(kUpdates), NameOf);
INSTANTIATE_TEST_SUITE_P(Restore, EveryStatus, testing::ValuesIn(kRestores), NameOf);
INSTANTIATE_TEST_SUITE_P(Plan, EveryStatus, testing::ValuesIn(kPlans), NameOf);
INSTANTIATE_TEST_SUITE_P(Others, EveryStatus, testing::ValuesIn(kOthers), NameOf);

/// A run that has ended, as show, wait and history tell of it.
struct Ended {
  const char* name;
  void (*run)(ControlServer&);
  int status;
};

class EndedRun : public ControlServer, public testing::WithParamInterface<Ended> {};

TEST_P(EndedRun, ShowAndWaitEndWithItsStatusAndItsResult) {
  GetParam().run(*this);
  const Json kept = Json::parse(std::ifstream(StatePath("runs/" + LastRun() + "/result.json")));
  EXPECT_EQ(kept["status"], GetParam().status);
  for (const char* const command : {"show", "wait"}) {
    const Said said = Ctl({command, LastRun()});
    EXPECT_EQ(said.outcome.exit_status, GetParam().status) << command;
    Json told = said.result;
    told.erase("input");
    EXPECT_EQ(told, kept) << command;
    EXPECT_TRUE(said.progress.empty());
  }
  const Said history = Ctl({"history"});
  EXPECT_EQ(history.outcome.exit_status, 0);
  ASSERT_EQ(history.result["runs"].size(), 1U);
  EXPECT_EQ(history.result["runs"][0]["input"], Path("new.sdr"));
  EXPECT_EQ(history.result["runs"][0]["status"], GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(Of, EndedRun,
                         testing::Values(Ended{"Done", Ran, 0}, Ended{"Failed", RanAndFailed, 1},
                                         Ended{"Nothing", RanForNothing, 2},
                                         Ended{"Killed", RanAndWasKilled, 6}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace control_test
