#include "sdrfile/utilities/csdr_header.h"

#include "tests/unit/sdrfile/utilities/owned_list.h"

namespace tarvek_test {
namespace {

using SdrHeader = FreshRun;

TEST_F(SdrHeader, StartsInTheFirstPassWithoutCompare) {
  const CSDRHeader header;
  EXPECT_STREQ(header.filename, "");
  EXPECT_EQ(sizeof(header.filename), 128U);
  EXPECT_EQ(header.compare, 0);
  EXPECT_EQ(header.pass, 1);
  EXPECT_EQ(header.next, nullptr);
}

TEST_F(SdrHeader, AHeaderOwnsItsSuccessors) { ExpectNodesOwnTheirSuccessors<CSDRHeader>(); }

}  // namespace
}  // namespace tarvek_test
