#include "inspect/report/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/report/sample_server.h"

namespace tarvek::inspect {
namespace {

using tarvek_test::AddHostile;
using tarvek_test::AddMany;
using tarvek_test::AddServer;
using tarvek_test::Association;
using tarvek_test::Compare;
using tarvek_test::DiscreteSensor;
using tarvek_test::SampleSet;
using ::testing::HasSubstr;
using ::testing::Not;

std::size_t Count(const std::string& text, std::string_view what) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
    ++count;
  }
  return count;
}

std::string PageOf(const SampleSet& set) {
  ReportData data;
  data.set = set.set();
  return HtmlReport(data);
}

/// The page's part from a heading to the next one.
std::string Section(const std::string& page, const std::string& id) {
  const std::size_t start = page.find("<h2 id=" + id + ">");
  return page.substr(start, page.find("<h2", start + 1) - start);
}

TEST(ReportTest, LoadsNothingAndRunsNothing) {
  SampleSet set("BOARD.SDR");
  AddServer(&set, false);
  const std::string page = PageOf(set);
  EXPECT_EQ(page.substr(0, 16), "<!DOCTYPE html>\n");
  EXPECT_THAT(page, HasSubstr("<meta http-equiv=Content-Security-Policy content=\"default-src "
                              "'none'; style-src 'unsafe-inline'; base-uri 'none'; "
                              "form-action 'none'\">"));
  for (const char* word :
       {"http:", "https:", "<script", "<link", "<img", "url(", "@import", " src="}) {
    EXPECT_THAT(page, Not(HasSubstr(word))) << word;
  }
}

TEST(ReportTest, HasARowForEverySensorAndABarForEveryRange) {
  SampleSet set("BOARD.SDR");
  AddServer(&set, false);
  const std::string sensors = Section(PageOf(set), "sensors");
  EXPECT_EQ(Count(sensors, "<tr id=r"), 18U);
  EXPECT_EQ(Count(sensors, "<svg class=bar"), 13U);
  EXPECT_EQ(Count(sensors, "<svg class=axis"), 13U);
  EXPECT_THAT(sensors, HasSubstr("<span class=s>Processor Presence detected</span>"));
}

TEST(ReportTest, EveryLinkLeadsToAnAnchor) {
  SampleSet old_set("OLD.SDR");
  SampleSet set("BOARD.SDR");
  AddServer(&old_set, false);
  AddServer(&set, true);
  ReportData data;
  data.set = set.set();
  data.old_set = old_set.set();
  data.difference = Compare(old_set.set(), set.set());
  const std::string page = HtmlReport(data);
  constexpr std::string_view kLink = "href=#";
  std::size_t links = 0;
  for (std::size_t at = page.find(kLink); at != std::string::npos; at = page.find(kLink, at)) {
    at += kLink.size();
    EXPECT_THAT(page, HasSubstr(" id=" + page.substr(at, page.find('>', at) - at) + ">"));
    ++links;
  }
  EXPECT_GT(links, 40U);
}

TEST(ReportTest, EveryRecordIsInOneTableOrTheOther) {
  SampleSet set("BOARD.SDR");
  AddServer(&set, false);
  const std::string page = PageOf(set);
  EXPECT_EQ(Count(page, "<tr id=r"), set.set().records.size());
  EXPECT_THAT(Section(page, "others"), HasSubstr("<bdi>SDR Version 01.03</bdi>"));
}

TEST(ReportTest, TotalsCountTypes) {
  SampleSet set("BOARD.SDR");
  AddServer(&set, false);
  EXPECT_THAT(Section(PageOf(set), "totals"),
              HasSubstr("<tr><td>01h<th scope=row>Full Sensor Record<td class=num>13\n"));
}

TEST(ReportTest, TheTreeHoldsTheSensors) {
  SampleSet set("BOARD.SDR");
  AddServer(&set, false);
  const std::string tree = Section(PageOf(set), "entities");
  EXPECT_THAT(tree, HasSubstr("<li><b>Processor 1</b><p><a href=#r7><bdi>CPU 1 Temp</bdi></a>, "));
  EXPECT_EQ(Count(tree, "<ul"), Count(tree, "</ul>"));
}

TEST(ReportTest, ADeepTreeIsNotNestedWithoutEnd) {
  SampleSet set("deep");
  for (int i = 1; i < 120; ++i) set.Add(Association(7, i, false, {7, i + 1, 0, 0, 0, 0, 0, 0}));
  const std::string tree = Section(PageOf(set), "entities");
  EXPECT_EQ(Count(tree, "<li>"), 120U);
  EXPECT_EQ(Count(tree, "<ul"), 20U);
  EXPECT_EQ(Count(tree, "</ul>"), 20U);
}

TEST(ReportTest, TwoInputsAreCompared) {
  SampleSet old_set("BMCSDR.BAK", "image");
  SampleSet set("BOARD.SDR");
  AddServer(&old_set, false);
  AddServer(&set, true);
  ReportData data;
  data.set = set.set();
  data.old_set = old_set.set();
  data.difference = Compare(old_set.set(), set.set());
  const std::string page = HtmlReport(data);
  const std::string changes = Section(page, "changes");
  EXPECT_THAT(changes, HasSubstr("<caption>Added</caption>"));
  EXPECT_THAT(changes, HasSubstr("<bdi>Exhaust Temp</bdi><span class=\"tag add\">added</span>"));
  EXPECT_THAT(changes, HasSubstr("<bdi>Fan 6</bdi><span class=\"tag del\">removed</span>"));
  EXPECT_THAT(changes, HasSubstr("<tr><th scope=row>upper_non_critical<td><del>95 degrees C</del>"
                                 "<td><ins>90 degrees C</ins>"));
  EXPECT_EQ(Count(changes, "<article"), 8U);
  EXPECT_EQ(Count(changes, "<span>old</span><div><svg class=bar"), 8U);
  EXPECT_EQ(Count(changes, "<span>new</span><div><svg class=bar"), 8U);
  EXPECT_THAT(
      Section(page, "sensors"),
      HasSubstr("<bdi>CPU 1 Temp</bdi><a href=#c7><span class=\"tag chg\">changed</span></a>"));
  EXPECT_THAT(page, HasSubstr("<th scope=row>OEM Record<td class=num>1<td class=num>1\n"));
}

TEST(ReportTest, BarsOfDifferentUnitsHaveScalesOfTheirOwn) {
  SampleSet set("set");
  set.Add(tarvek_test::FullSensor({.name = "T", .unit = 1}));
  set.Add(tarvek_test::FullSensor({.name = "T", .unit = 18, .m = 10}));
  set.Add(tarvek_test::FullSensor({.name = "T", .unit = 18, .m = 20}));
  const auto page_of = [&](std::size_t a, std::size_t b) {
    ReportData data;
    data.set = set.set();
    data.old_set = set.set();
    data.difference.changed.push_back({set.set().records[a], set.set().records[b], {}});
    return Section(HtmlReport(data), "changes");
  };
  EXPECT_EQ(Count(page_of(0, 1), "<svg class=axis"), 2U);
  EXPECT_EQ(Count(page_of(1, 2), "<svg class=axis"), 1U);
  EXPECT_THAT(page_of(1, 2), HasSubstr("<rect class=tr x=0% width=50% />"));
}

TEST(ReportTest, EqualInputsAreSaidToBeEqual) {
  SampleSet set("BOARD.SDR");
  AddServer(&set, false);
  ReportData data;
  data.set = set.set();
  data.old_set = set.set();
  EXPECT_THAT(HtmlReport(data), HasSubstr("Both inputs hold the same records."));
}

TEST(ReportTest, FindingsStandInTheirOrder) {
  SampleSet set("BOARD.SDR");
  AddServer(&set, false);
  ReportData data;
  data.set = set.set();
  EXPECT_THAT(HtmlReport(data), HasSubstr("No finding: no rule is broken."));
  data.findings = {{"rule-a", "error", 7, "CPU 1 Temp", "B:1:1", "Do this."},
                   {"rule-b", "note", std::nullopt, "", "B", "Do that."}};
  const std::string findings = Section(HtmlReport(data), "findings");
  EXPECT_THAT(findings, HasSubstr("<tr><td><span class=\"tag error\">error</span><td><a href=#r7>"
                                  "<bdi>7 CPU 1 Temp</bdi></a><td>Do this.<br><code>rule-a</code> "
                                  "<small>B:1:1</small>\n<tr><td><span class=\"tag note\">note"));
  EXPECT_THAT(findings, HasSubstr("<td>the set<td>Do that."));
}

TEST(ReportTest, NoTextOfTheInputsBecomesMarkup) {
  SampleSet set("set");
  AddHostile(&set);
  ReportData data;
  data.set = set.set();
  data.old_set = set.set();
  const ReportRecord first = set.set().records[0];
  data.difference = {
      {first}, {first}, {{first, first, {{"<f>", "<o>", "<n>"}}}}, {{first, first, {}}}};
  data.findings = {{"<rule>", "<severity>", 1, "<name>", "<place>", "<message>"}};
  const std::string page = HtmlReport(data);
  for (const char* tag : {"<script", "<img", "<svg/", "<b>&lt;", "<f>", "<o>", "<n>", "<rule",
                          "<sev", "<name", "<place", "<message"}) {
    EXPECT_THAT(page, Not(HasSubstr(tag))) << tag;
  }
  EXPECT_THAT(page, HasSubstr("&lt;script&gt;alert(1)&lt;/script&gt;"));
  EXPECT_TRUE(std::none_of(page.begin(), page.end(),
                           [](char c) { return (c >= 0 && c < ' ' && c != '\n') || c == 0x7F; }));
  EXPECT_THAT(page, Not(HasSubstr("\xE2\x80\xAE")));
}

TEST(ReportTest, AnEmptySetIsAPageToo) {
  const std::string page = PageOf(SampleSet("EMPTY.SDR"));
  EXPECT_THAT(page, HasSubstr("No record names an entity."));
  EXPECT_THAT(page, HasSubstr("The set holds no sensors."));
  EXPECT_THAT(page, HasSubstr("The set holds no other records."));
}

TEST(ReportTest, RecordsCutAnywhereAreShown) {
  SampleSet server("server");
  AddServer(&server, false);
  SampleSet set("cut");
  for (const ReportRecord& entry : server.set().records) {
    for (std::size_t size = 0; size < entry.record->bytes.size(); ++size) {
      Bytes bytes = entry.record->bytes;
      bytes.resize(size);
      if (size >= 5) bytes[4] = static_cast<unsigned char>(size - 5);
      set.Add(bytes);
    }
  }
  EXPECT_EQ(Count(PageOf(set), "<tr id=r"), set.set().records.size());
}

TEST(ReportTest, SizeGrowsWithTheSensorsAlone) {
  SampleSet small("small");
  SampleSet large("large");
  AddMany(&small, 300);
  AddMany(&large, 3000);
  const std::size_t one = PageOf(small).size();
  EXPECT_LT(one, 350000U);
  EXPECT_LT(PageOf(large).size(), 11 * one);
}

}  // namespace
}  // namespace tarvek::inspect
