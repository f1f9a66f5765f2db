#include "control/engine/reading_place.h"

namespace tarvek::control {
namespace {

constexpr const char* kList = "mchk_fil";
constexpr const char* kToolsOwn = "ZetaInfo.xml";

}  // namespace

ReadingPlace::~ReadingPlace() { Clear(); }

const Directory& ReadingPlace::Prepare(const std::string& product) {
  // Another command may have swept it away meanwhile.
  if (!directory_ || !store_.state().Has(name_)) {
    directory_ = store_.Scratch(&name_);
  }
  if (!directory_->Has(kToolsOwn)) directory_->Make(kToolsOwn, "");
  for (const std::string& name : directory_->Names()) {
    if (name != kToolsOwn) directory_->Remove(name);
  }
  // Written each time: when a reading began is told by it.
  directory_->Make(kList, product + '\n');
  return *directory_;
}

void ReadingPlace::Clear() {
  if (directory_) store_.RemoveScratch(name_);
  directory_.reset();
}

void ReadingPlace::Leave() { directory_.reset(); }

}  // namespace tarvek::control
