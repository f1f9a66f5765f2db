#include "control/engine/reading_place.h"

#include <gtest/gtest.h>

#include "tests/unit/control/doctor/scratch_directory.h"

namespace tarvek::control {
namespace {

using Names = std::vector<std::string>;

class Place : public testing::Test {
 protected:
  std::size_t Scratches() const { return store_.Scratches().size(); }

  ScratchDirectory scratch_;
  const RunStore store_{scratch_.Path("state")};
};

TEST_F(Place, IsMadeWhenItIsNeededAndGoesWithTheCommand) {
  {
    ReadingPlace place(store_);
    EXPECT_EQ(Scratches(), 0U);
    place.Prepare("01a3");
    EXPECT_EQ(Scratches(), 1U);
    place.Prepare("01a3");
    EXPECT_EQ(Scratches(), 1U);
  }
  EXPECT_EQ(Scratches(), 0U);
}

TEST_F(Place, ShowsTheToolNothingOfAnEarlierReading) {
  ReadingPlace place(store_);
  place.Prepare("01a3").Write("served.bak", "earlier");
  place.Prepare("01a3").Remove("ZetaInfo.xml");
  place.Prepare("01a3").Write(".killed", "");
  const Directory& work = place.Prepare("01a4");
  EXPECT_EQ(work.Names(), (Names{"ZetaInfo.xml", "mchk_fil"}));
  EXPECT_EQ(work.Read("mchk_fil"), "01a4\n");
  EXPECT_EQ(work.Read("ZetaInfo.xml"), "");
}

TEST_F(Place, IsMadeAgainWhenItWasSweptAway) {
  ReadingPlace place(store_);
  place.Prepare("01a3");
  store_.RemoveScratch(store_.Scratches().front());
  EXPECT_EQ(place.Prepare("01a3").Names(), (Names{"ZetaInfo.xml", "mchk_fil"}));
  EXPECT_EQ(Scratches(), 1U);
}

TEST_F(Place, IsRemovedWhenItIsToBeAndMadeAgain) {
  ReadingPlace place(store_);
  place.Prepare("01a3");
  place.Clear();
  EXPECT_EQ(Scratches(), 0U);
  place.Prepare("01a3");
  EXPECT_EQ(Scratches(), 1U);
}

TEST_F(Place, IsLeftAsItIsToAProgramThatDoesNotEnd) {
  {
    ReadingPlace place(store_);
    place.Prepare("01a3");
    place.Leave();
    EXPECT_EQ(Scratches(), 1U);
    place.Prepare("01a3");
    EXPECT_EQ(Scratches(), 2U);
  }
  ASSERT_EQ(Scratches(), 1U);
  EXPECT_EQ(store_.state().Sub(store_.Scratches().front()).Names(),
            (Names{"ZetaInfo.xml", "mchk_fil"}));
}

}  // namespace
}  // namespace tarvek::control
