#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "inspect/json/record_json.h"

namespace tarvek_test {
namespace {

using tarvek::inspect::Json;
using tarvek::inspect::JsonText;

struct Row {
  Json json;
  const char* text;
};

const Row kOneLineRows[] = {
    {nullptr, "null"},
    {true, "true"},
    {-7, "-7"},
    {7U, "7"},
    {95.0, "95"},
    {-0.0, "0"},
    {3.3, "3.3"},
    {1e300, "1e+300"},
    {"", "\"\""},
    {"plain text ~", "\"plain text ~\""},
    {"a\"b\\c", "\"a\\\"b\\\\c\""},
    {std::string("a\0b", 3), "\"a\\u0000b\""},
    {"\x1B[2J\n", "\"\\u001b[2J\\n\""},
    {"\u00E9\u20AC", "\"\u00E9\u20AC\""},
    {"a\xFF", "\"a\uFFFD\""},
    {Json::array(), "[]"},
    {Json::object(), "{}"},
    {Json::array({1, 2, 3}), "[1, 2, 3]"},
    {Json::array({"a", "b"}), "[\"a\", \"b\"]"},
    {Json{{"b", 1}, {"a", Json::array({Json::object()})}}, "{\"b\": 1, \"a\": [{}]}"},
};

TEST(JsonTextTest, OnOneLine) {
  for (const Row& row : kOneLineRows) EXPECT_EQ(JsonText(row.json, -1), row.text);
}

TEST(JsonTextTest, ReadsBack) {
  for (const Row& row : kOneLineRows) {
    if (row.json == Json("a\xFF")) continue;  // what is no UTF-8 is replaced
    EXPECT_EQ(Json::parse(JsonText(row.json)), row.json);
  }
}

TEST(JsonTextTest, LinesAreIndentedFromTheLevelOn) {
  const Json json = {{"list", {1, 2}}, {"objects", Json::array({{{"x", 1}}, Json::object()})}};
  EXPECT_EQ(JsonText(json, 1),
            "{\n"
            "    \"list\": [1, 2],\n"
            "    \"objects\": [\n"
            "      {\n"
            "        \"x\": 1\n"
            "      },\n"
            "      {}\n"
            "    ]\n"
            "  }");
}

}  // namespace
}  // namespace tarvek_test
