#include "inspect/input/text_places.h"

#include <gtest/gtest.h>

namespace tarvek::inspect {
namespace {

TEST(TextPlaces, FollowsLines) {
  TextPlaces places("one\ntwo\r\n\nfour");
  places.GoTo(2);
  EXPECT_EQ(ToText(places.At("f", 1)), "f:2:2");
  EXPECT_EQ(places.Line(), "two");
  EXPECT_EQ(places.Piece(), "two\r\n");
  EXPECT_EQ(places.OffsetOf(1), 5U);
  places.GoTo(4);
  EXPECT_EQ(ToText(places.At("f", 0)), "f:4:1");
  EXPECT_EQ(places.Line(), "four");
}

TEST(TextPlaces, TellsTheLineAndColumnOfAPieceOfALongLine) {
  const std::string text = "first\n" + std::string(255, 'a') + "bcd\nlast\n";
  TextPlaces places(text);
  places.GoTo(3);
  EXPECT_EQ(places.Piece(), "bcd\n");
  EXPECT_EQ(ToText(places.At("f", 1)), "f:2:257");
  EXPECT_EQ(places.Line(), std::string(255, 'a') + "bcd");
  places.GoTo(4);
  EXPECT_EQ(ToText(places.At("f", 0)), "f:3:1");
}

TEST(TextPlaces, StaysAtTheLastPieceOfAText) {
  TextPlaces places("only");
  places.GoTo(9);
  EXPECT_EQ(ToText(places.At("f", 4)), "f:1:5");
}

}  // namespace
}  // namespace tarvek::inspect
