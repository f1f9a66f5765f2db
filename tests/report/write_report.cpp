// Writes a report for the browser to look at: write_report SAMPLE > FILE
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "inspect/report/report.h"
#include "tests/report/sample_server.h"

namespace {

using tarvek::inspect::HtmlReport;
using tarvek::inspect::ReportData;
using tarvek_test::SampleSet;

void AddFindings(ReportData* data) {
  data->findings = {{"threshold-order", "error", 9, "CPU 2 Temp", "BOARD.SDR:41:1",
                     "The upper critical threshold is below the upper non-critical one: raise it."},
                    {"duplicate-name", "warning", 12, "P12V", "BOARD.SDR:66:1",
                     "Another sensor of the same owner has this name: rename one of them."},
                    {"unknown-entity", "note", std::nullopt, "", "BOARD.SDR",
                     "No association names the entity that holds the power supplies."}};
}

std::string Report(std::string_view sample) {
  SampleSet old_set("BMCSDR.BAK", "image");
  SampleSet set("BOARD.SDR");
  ReportData data;
  AddServer(&old_set, false);
  if (sample == "hostile") {
    AddHostile(&set);
    AddHostile(&old_set);
    data.findings = {{"<rule>", "<severity>", 1, "<name>\x1B", "<place>", "<message>\xE2\x80\xAE"}};
  } else {
    AddServer(&set, sample == "two");
  }
  if (sample == "many") AddMany(&set, 300);
  data.set = set.set();
  if (sample == "two") AddFindings(&data);
  if (sample == "two" || sample == "hostile") {
    data.old_set = old_set.set();
    data.difference = tarvek_test::Compare(old_set.set(), set.set());
  }
  if (sample == "hostile") {
    data.difference.changed.push_back({data.set.records[0], data.set.records[0], {}});
    data.difference.changed.back().fields = {{"<field>", "<old>\x1B", "<new>"}};
    data.difference.removed.push_back(data.set.records[1]);
  }
  return HtmlReport(data);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return EXIT_FAILURE;
  const std::string page = Report(argv[1]);
  const bool written = std::fwrite(page.data(), 1, page.size(), stdout) == page.size();
  return written && std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
