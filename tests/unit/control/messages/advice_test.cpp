#include "control/messages/advice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "errors/catalogue.h"

namespace tarvek::control {
namespace {

constexpr std::size_t kLongest = 200;  // characters of a sentence
constexpr int kChecks = 8;             // results of the form SDRC01

std::string Numbered(const char* format, int number) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), format, number);
  return text.data();
}

/// Every result that the tool can write, in order.
std::vector<std::string> AllCodes() {
  std::vector<std::string> codes{"Complete", "OK", "Down Grade", "Duplex", "Busy", "No-Command"};
  for (int n = 1; n <= kChecks; ++n) codes.push_back(Numbered("SDRC%02d", n));
  for (int n = 1; FindCatalogueEntry(n) != nullptr; ++n) codes.push_back(Numbered("SDR%03d", n));
  return codes;
}

/// The sentences of a row, which the expectations below hold for each.
std::vector<std::string> SentencesOf(const Advice& advice) {
  return {std::string(advice.what), std::string(advice.state), std::string(advice.remedy)};
}

/// What is to be typed in a sentence: what stands between backquotes.
std::vector<std::string> CommandsIn(const std::string& sentence) {
  std::vector<std::string> commands;
  std::size_t begin = 0;
  while ((begin = sentence.find('`', begin)) != std::string::npos) {
    const std::size_t end = sentence.find('`', begin + 1);
    if (end == std::string::npos) return {"unbalanced"};
    commands.push_back(sentence.substr(begin + 1, end - begin - 1));
    begin = end + 1;
  }
  return commands;
}

bool BeginsWithOneOf(const std::string& text, const std::vector<std::string>& beginnings) {
  return std::any_of(beginnings.begin(), beginnings.end(),
                     [&](const std::string& beginning) { return text.rfind(beginning, 0) == 0; });
}

TEST(Advice, HasEveryResultOnceAndInOrder) {
  std::vector<std::string> codes;
  for (const Advice& advice : AllAdvice()) codes.emplace_back(advice.code);
  EXPECT_EQ(codes, AllCodes());
}

TEST(Advice, HasARowForEachNumberedErrorOfTheCatalogue) {
  const auto numbered =
      std::count_if(AllAdvice().begin(), AllAdvice().end(), [](const Advice& row) {
        return row.code.size() == 6 && row.code.rfind("SDR", 0) == 0 && row.code[3] != 'C';
      });
  EXPECT_EQ(numbered, kLastCatalogued);
}

TEST(Advice, SaysThreeWholeSentencesOfEachResult) {
  for (const Advice& advice : AllAdvice()) {
    for (const std::string& sentence : SentencesOf(advice)) {
      SCOPED_TRACE(std::string(advice.code) + ": " + sentence);
      ASSERT_FALSE(sentence.empty());
      EXPECT_EQ(sentence.back(), '.');
      EXPECT_EQ(sentence.find(". "), std::string::npos) << "more than one sentence";
      EXPECT_LE(sentence.size(), kLongest);
      EXPECT_EQ(sentence.find("  "), std::string::npos);
      EXPECT_EQ(sentence.find_first_of("\n\t|\\"), std::string::npos);
    }
  }
}

TEST(Advice, NamesACommandToTypeInEachRemedy) {
  for (const Advice& advice : AllAdvice()) {
    EXPECT_FALSE(CommandsIn(std::string(advice.remedy)).empty()) << advice.code;
  }
}

TEST(Advice, NamesOnlyCommandsThatThereAre) {
  const std::vector<std::string> known{"tarvekctl doctor",
                                       "tarvekctl status",
                                       "tarvekctl plan INPUT",
                                       "tarvekctl update INPUT",
                                       "tarvekctl restore",
                                       "tarvekctl backup",
                                       "tarvekctl history",
                                       "tarvekctl wait RUN",
                                       "tarvek-sdr check",
                                       "tarvek-sdr show",
                                       "modprobe ",
                                       "ipmitool ",
                                       "ls ",
                                       "--tool"};
  for (const Advice& advice : AllAdvice()) {
    for (const std::string& sentence : SentencesOf(advice)) {
      for (const std::string& command : CommandsIn(sentence)) {
        EXPECT_TRUE(BeginsWithOneOf(command, known)) << advice.code << ": " << command;
      }
    }
  }
}

TEST(Advice, NeverPromisesAnUnchangedServerAfterAnErrorOfTheWriting) {
  for (const char* const code : {"SDR002", "SDR004", "SDR005", "SDR025", "SDR027", "SDR029",
                                 "SDR033", "SDR058", "SDR065", "SDR073", "SDR077", "OK"}) {
    const Advice* const advice = AdviceFor(code);
    ASSERT_NE(advice, nullptr) << code;
    EXPECT_EQ(advice->state.find("Nothing was changed"), std::string_view::npos) << code;
  }
}

TEST(Advice, LeavesItToTheReadingWhenTheLastRequestMayHaveFailed) {
  for (const char* const code : {"SDR029", "SDR077"}) {
    EXPECT_NE(AdviceFor(code)->state.find("only reading the BMC tells"), std::string_view::npos);
  }
}

TEST(Advice, IsFoundByItsCode) {
  for (const Advice& advice : AllAdvice()) EXPECT_EQ(AdviceFor(advice.code), &advice);
}

TEST(Advice, IsNotThereForAnotherCode) {
  for (const char* const code :
       {"", "SDR000", "SDR080", "SDR081", "SDRC00", "SDRC09", "SDR01", "SDR0011", "complete", "ok",
        "DownGrade", "Down Grade ", "SDR001 "}) {
    EXPECT_EQ(AdviceFor(code), nullptr) << '"' << code << '"';
  }
}

struct StateCase {
  InService in_service;
  std::optional<bool> changed;
  const char* sentence;
};

TEST(StateSentence, SaysWhatTheBmcServes) {
  constexpr const char* kInput =
      "The BMC serves the records of the input, read back and found equal.";
  constexpr const char* kPrevious =
      "Nothing was changed: the BMC serves the records that it had before.";
  constexpr const char* kUnknown = "What the BMC serves could not be established.";
  const std::vector<StateCase> cases{
      {InService::kInput, true, kInput},
      {InService::kInput, std::nullopt, kInput},
      {InService::kInput, false, "The BMC serves the records of the input, as it did before."},
      {InService::kPrevious, false, kPrevious},
      {InService::kPrevious, std::nullopt, kPrevious},
      {InService::kOther, true,
       "The BMC serves records that are neither those of the input nor those that it had before."},
      {InService::kOther, false,
       "Nothing was changed: the BMC serves other records than those of the input."},
      {InService::kUnknown, std::nullopt, kUnknown},
      {InService::kUnknown, true, kUnknown},
      {InService::kUnknown, false, kUnknown},
  };
  for (const StateCase& expected : cases) {
    EXPECT_EQ(StateSentence(expected.in_service, expected.changed), expected.sentence);
  }
}

}  // namespace
}  // namespace tarvek::control
