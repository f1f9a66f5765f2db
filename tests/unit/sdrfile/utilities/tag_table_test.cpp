#include "sdrfile/utilities/tag_table.h"

#include "tests/unit/sdrfile/utilities/owned_list.h"

namespace tarvek_test {
namespace {

using TagTable = FreshRun;

TEST_F(TagTable, ANewTagHasNoNameAndNoSuccessor) {
  const TagTbl tag;
  EXPECT_EQ(sizeof(tag.name), 32U);
  for (const char c : tag.name) EXPECT_EQ(c, '\0');
  EXPECT_EQ(tag.next, nullptr);
}

TEST_F(TagTable, ATagOwnsItsSuccessors) { ExpectNodesOwnTheirSuccessors<TagTbl>(); }

}  // namespace
}  // namespace tarvek_test
