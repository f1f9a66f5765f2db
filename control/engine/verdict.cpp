#include "control/engine/verdict.h"

namespace tarvek::control {

Verdict Decide(const Facts& facts) {
  if (facts.force) {
    return facts.identical && !facts.reprogram ? Verdict::kIdentical : Verdict::kGo;
  }
  if (!facts.input_version) return Verdict::kNoVersion;
  // What cannot be read here, the tool itself compares.
  if (facts.empty || !facts.served_known) return Verdict::kGo;
  const std::string served = facts.served_version.value_or("");
  if (served < *facts.input_version) return Verdict::kGo;
  if (facts.identical) return Verdict::kIdentical;
  return served == *facts.input_version ? Verdict::kSame : Verdict::kNewer;
}

}  // namespace tarvek::control
