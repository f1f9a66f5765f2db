#include <nlohmann/json.hpp>
#include <string>

#include "inspect/commands.h"
#include "inspect/difference_text.h"
#include "inspect/exit_status.h"
#include "inspect/json/difference_json.h"
#include "inspect/output.h"
#include "inspect/set_pair.h"

namespace tarvek::inspect {

int RunDiff(const Options& options) {
  SetPair sets = LoadPair(options);
  if (!options.all) {
    KeepSelected(&sets.old_set);
    KeepSelected(&sets.new_set);
  }
  const Difference difference = CompareSets(sets);
  StandardOutput output;
  if (options.json) {
    output.Write(JsonText(DifferenceJson(sets.old_set.Shown(), sets.new_set.Shown(), difference)) +
                 '\n');
  } else {
    output.Write(DifferenceText(sets, difference, options.color));
  }
  output.Finish();
  return difference.IsEqual() ? kExitGood : kExitFound;
}

}  // namespace tarvek::inspect
