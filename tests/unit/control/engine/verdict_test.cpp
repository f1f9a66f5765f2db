#include "control/engine/verdict.h"

#include <gtest/gtest.h>

#include <ostream>

namespace tarvek::control {

static void PrintTo(const Facts& facts, std::ostream* out) {
  *out << "input " << facts.input_version.value_or("none") << ", served "
       << facts.served_version.value_or("none") << (facts.served_known ? "" : ", not known")
       << (facts.empty ? ", empty" : "") << (facts.identical ? ", identical" : "")
       << (facts.force ? ", force" : "") << (facts.reprogram ? ", reprogram" : "");
}

namespace {

/// What is decided by the contract's words, one after the other.
Verdict Expected(const Facts& facts) {
  const bool is_empty = facts.empty || !facts.served_known;
  if (facts.force && facts.reprogram) return Verdict::kGo;
  if (facts.force) return facts.identical ? Verdict::kIdentical : Verdict::kGo;
  if (!facts.input_version.has_value()) return Verdict::kNoVersion;
  if (is_empty) return Verdict::kGo;
  if (!facts.served_version || *facts.served_version < *facts.input_version) return Verdict::kGo;
  if (facts.identical) return Verdict::kIdentical;
  return *facts.served_version > *facts.input_version ? Verdict::kNewer : Verdict::kSame;
}

using Version = std::optional<std::string>;

TEST(Decide, HoldsForEveryCombination) {
  int rows = 0;
  for (const Version& input : {Version(), Version("01.03")}) {
    for (const Version& served :
         {Version(), Version("01.02"), Version("01.03"), Version("01.04")}) {
      for (unsigned bits = 0; bits < 32; ++bits) {
        Facts facts{input,           served,          (bits & 1) == 0, (bits & 2) != 0,
                    (bits & 4) != 0, (bits & 8) != 0, (bits & 16) != 0};
        EXPECT_EQ(Decide(facts), Expected(facts)) << testing::PrintToString(facts);
        ++rows;
      }
    }
  }
  EXPECT_EQ(rows, 256);
}

TEST(Decide, ComparesVersionsAsTexts) {
  Facts facts;
  facts.input_version = "9";
  facts.served_version = "10";
  EXPECT_EQ(Decide(facts), Verdict::kGo);
  facts.input_version = "01.0a";
  facts.served_version = "01.0B";
  EXPECT_EQ(Decide(facts), Verdict::kGo);
}

}  // namespace
}  // namespace tarvek::control
