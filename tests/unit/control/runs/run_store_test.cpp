#include "control/runs/run_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

#include <filesystem>
#include <fstream>

#include "tests/unit/control/doctor/scratch_directory.h"

namespace tarvek::control {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Store : public testing::Test {
 protected:
  control::Run MakeEnded() {
    Descriptor lead;
    control::Run run = store_.New(&lead);
    Result result;
    result.command = "update";
    run.Save(result);
    return run;
  }

  const ScratchDirectory scratch_;
  const RunStore store_{scratch_.Path("a/b/state")};
};

TEST_F(Store, IsMadeWithItsDirectoriesForItsOwnerAlone) {
  for (const char* const name : {"a/b/state", "a/b/state/runs", "a/b/state/backups"}) {
    struct stat info {};
    ASSERT_EQ(lstat(scratch_.Path(name).c_str(), &info), 0) << name;
    EXPECT_EQ(info.st_mode & 07777, 0700U) << name;
  }
}

TEST_F(Store, GivesEachRunANameAndItsLead) {
  Descriptor lead;
  const control::Run run = store_.New(&lead);
  EXPECT_TRUE(static_cast<bool>(lead));
  EXPECT_FALSE(static_cast<bool>(run.TakeLead()));
  lead.Close();
  EXPECT_TRUE(static_cast<bool>(run.TakeLead()));
  ASSERT_TRUE(store_.Find(run.id()).has_value());
  EXPECT_THAT(store_.Ids(), ElementsAre(run.id()));
  EXPECT_EQ(store_.Unfinished().size(), 1U);
  store_.Remove(run.id());
  EXPECT_THAT(store_.Ids(), IsEmpty());
}

TEST_F(Store, GivesIdsThatAreSortedByTime) {
  std::vector<std::string> ids;
  for (int i = 0; i < 50; ++i) ids.push_back(MakeEnded().id());
  EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
  EXPECT_EQ(store_.Ids(), ids);
  EXPECT_THAT(store_.Unfinished(), IsEmpty());
}

TEST_F(Store, FindsNothingByWhatIsNoId) {
  std::filesystem::create_directories(scratch_.Path("a/b/state/runs/UPPER"));
  for (const std::string& id :
       {std::string(), std::string("."), std::string(".."), std::string("../backups"),
        std::string("a/b"), std::string("UPPER"), std::string("-x"), std::string(65, 'a'),
        std::string("a\0b", 3), std::string(" ")}) {
    EXPECT_FALSE(store_.Find(id).has_value()) << id;
  }
  EXPECT_THAT(store_.Ids(), IsEmpty());
}

TEST_F(Store, DoesNotTakeALinkOrAFileForARun) {
  std::filesystem::create_directory(scratch_.Path("elsewhere"));
  scratch_.MakeLink("a/b/state/runs/link", scratch_.Path("elsewhere"));
  EXPECT_FALSE(store_.Find("link").has_value());
  std::ofstream(scratch_.Path("a/b/state/runs/foo")) << "stray";
  EXPECT_FALSE(store_.Find("foo").has_value());
  EXPECT_THAT(store_.Unfinished(), IsEmpty());
  store_.Prune(0);
}

TEST_F(Store, IsRefusedWhereOthersMayWrite) {
  const std::string place = scratch_.Path("a/b/state");
  ASSERT_EQ(chmod(place.c_str(), 0777), 0);
  EXPECT_THROW(RunStore{place}, SystemError);
  ASSERT_EQ(chmod(place.c_str(), 0700), 0);
  EXPECT_NO_THROW(RunStore{place});
}

TEST_F(Store, PrunesTheOldestThatHaveEnded) {
  std::vector<std::string> ids;
  for (int i = 0; i < 5; ++i) ids.push_back(MakeEnded().id());
  Descriptor lead;
  const control::Run open = store_.New(&lead);
  store_.Prune(2);
  EXPECT_THAT(store_.Ids(), ElementsAre(ids[3], ids[4], open.id()));
  store_.Prune(2);
  EXPECT_EQ(store_.Ids().size(), 3U);
  store_.Prune(0);  // what ended last may still be asked for
  EXPECT_THAT(store_.Ids(), ElementsAre(ids[4], open.id()));
}

TEST_F(Store, KeepsRequestsAndResults) {
  Descriptor lead;
  const control::Run run = store_.New(&lead);
  EXPECT_THROW(run.ReadRequest(), std::exception);
  EXPECT_FALSE(run.ReadResult().has_value());
  Request request;
  request.command = "restore";
  request.input = "/a b/\xFF";
  request.reprogram = true;
  request.keep = 7;
  request.digest = "d";
  run.Save(request);
  const Request read = run.ReadRequest();
  EXPECT_EQ(read.command, "restore");
  EXPECT_TRUE(read.reprogram);
  EXPECT_FALSE(read.force);
  EXPECT_EQ(read.keep, 7U);
  Result result;
  result.command = "restore";
  result.status = ExitStatus::kInterrupted;
  result.outcome = Outcome::kFailed;
  result.in_service = InService::kUnknown;
  result.changed.reset();
  result.error = {26, "text"};
  result.more["difference_text"] = "x";
  run.Save(result);
  EXPECT_EQ(ResultJson(*run.ReadResult()), ResultJson(result));
  for (const char* const bytes : {"", "{", "[]", "{\"command\":1}"}) {
    run.directory().Write("result.json", bytes);
    const std::optional<Result> damaged = run.ReadResult();
    ASSERT_TRUE(damaged.has_value());
    EXPECT_EQ(damaged->status, ExitStatus::kInterrupted);
    EXPECT_EQ(damaged->in_service, InService::kUnknown);
    EXPECT_FALSE(damaged->changed.has_value());
    EXPECT_EQ(damaged->run, run.id());
  }
}

TEST_F(Store, SweepsWhatWasLeftLongAgo) {
  std::string name;
  store_.Scratch(&name).Write("file", "x");
  store_.state().Write(".new-1234", "x");
  store_.Sweep();
  EXPECT_THAT(store_.Scratches(), ElementsAre(name));
  const utimbuf old{1000000000, 1000000000};
  utime(store_.state().PathOf(name).c_str(), &old);
  utime(store_.state().PathOf(".new-1234").c_str(), &old);
  store_.Sweep();
  EXPECT_THAT(store_.Scratches(), IsEmpty());
  EXPECT_FALSE(store_.state().Has(".new-1234"));
  EXPECT_TRUE(store_.state().Has("runs"));
}

}  // namespace
}  // namespace tarvek::control
