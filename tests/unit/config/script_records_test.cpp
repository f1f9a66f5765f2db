#include "config/script_records.h"

#include <algorithm>

#include "config/cfg_file.h"
#include "driver/reporting/run_settings.h"
#include "tests/unit/config/script_run.h"
#include "tests/unit/support/fresh_run.h"

namespace {

using ScriptRecords = tarvek_test::FreshRun;
using tarvek_test::ConsoleOf;

/// How many releases the destruction of a list of three announces.
template <typename T>
int ReleasesOfThree() {
  const std::string trace = ConsoleOf([] {
    T* const head = new T;
    head->next = new T;
    head->next->next = new T;
    tarvek::TraceDelete(head);
  });
  int releases = 0;
  for (std::size_t at = trace.find("Deallocating 0x"); at != std::string::npos;
       at = trace.find("Deallocating 0x", at + 1)) {
    ++releases;
  }
  return releases;
}

TEST_F(ScriptRecords, ListsOwnTheirNodesAndTraceTheirRelease) {
  gMemAllocFlag = 1;
  EXPECT_EQ(ReleasesOfThree<CMenu>(), 3);
  EXPECT_EQ(ReleasesOfThree<Probe>(), 3);
  EXPECT_EQ(ReleasesOfThree<IfSet>(), 3);
  EXPECT_EQ(ReleasesOfThree<CFRUName>(), 3);
  EXPECT_EQ(ReleasesOfThree<CSDRHeader>(), 3);
  EXPECT_EQ(ReleasesOfThree<TagTbl>(), 3);
  EXPECT_EQ(ReleasesOfThree<CfgLine>(), 3);
}

TEST_F(ScriptRecords, AListOfAnyLengthIsFreedWithoutExhaustingTheStack) {
  constexpr int kNodes = 1000000;
  CMenu* head = nullptr;
  for (int i = 0; i < kNodes; ++i) {
    CMenu* const node = new CMenu;
    node->next = head;
    head = node;
  }
  delete head;
}

TEST_F(ScriptRecords, AScriptObjectStartsWithoutAnyScript) {
  const tarvek_test::OpenCfgFile file;
  EXPECT_EQ(file.state, nullptr);
  EXPECT_EQ(file.lines, nullptr);
  EXPECT_EQ(file.cursor, nullptr);
  EXPECT_STREQ(file.last_sdr_name, "");
  EXPECT_EQ(file.ifset_depth, 0);
  EXPECT_EQ(file.fru_name_field, 0);
  EXPECT_EQ(file.compare, 0);
  EXPECT_EQ(file.matched_length, 0U);
  EXPECT_EQ(file.prompt_mode, 2);
  EXPECT_EQ(file.prompt_answer, 0);
}

TEST_F(ScriptRecords, AScriptStateFreesEveryListItHolds) {
  gMemAllocFlag = 1;
  const std::string trace = ConsoleOf([] {
    CfgStruct state;
    state.menus = new CMenu;
    state.probes = new Probe;
    state.conditions = new IfSet;
    state.fru_names = new CFRUName;
    state.sdr_files = new CSDRHeader;
    state.tags = new TagTbl;
  });
  EXPECT_EQ(std::count(trace.begin(), trace.end(), '\n'), 6);
}

TEST_F(ScriptRecords, AFruIsDestroyedThroughItsBase) {
  struct Derived : CFRU {
    explicit Derived(bool* gone) : gone_(gone) {}
    ~Derived() override { *gone_ = true; }
    bool* gone_;
  };
  bool gone = false;
  const CFRU* const fru = new Derived(&gone);
  EXPECT_EQ(fru->file, nullptr);
  delete fru;
  EXPECT_TRUE(gone);
}

}  // namespace
