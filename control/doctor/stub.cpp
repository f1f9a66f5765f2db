#include "control/doctor/doctor.h"
namespace tarvek::control {
const char* GravityName(Gravity g) {
  return g == Gravity::kGood ? "good" : g == Gravity::kNote ? "note" : "problem";
}
std::vector<Finding> Examine(const DoctorOptions&, const Interrupts*) { return {}; }
}  // namespace tarvek::control
