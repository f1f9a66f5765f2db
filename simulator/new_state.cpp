#include "simulator/new_state.h"

#include <filesystem>
#include <memory>
#include <system_error>

#include "simulator/console.h"
#include "simulator/record_set.h"
#include "simulator/sample_records.h"
#include "simulator/state_file.h"

namespace bmcsim {
namespace {

namespace fs = std::filesystem;

// The set that a new BMC comes with was made on 2018-01-01, so that what is made twice is equal.
constexpr std::uint32_t kNewSetTime = 1514764800;

// More than any repository takes as a text, with a comment at each record.
constexpr std::size_t kMostSetBytes = 1U << 20U;

bool Exists(const std::string& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

bool ReadSet(const std::string& path, RecordSet& set, std::string& error) {
  if (path.empty()) return true;
  std::string content;
  if (!ReadText(path, kMostSetBytes, content, error)) {
    error.insert(0, "cannot read " + path + ": ");
    return false;
  }
  if (ParseRecordSet(content, set, error)) return true;
  error.insert(0, path + ", ");
  return false;
}

void StampSet(const SetTimes& times, BmcState& state) {
  Control control = ActiveControl(state);
  control.store[control.served].addition_time = times.addition;
  control.store[control.served].erase_time = times.erase;
  Publish(control, state);
}

bool FillNewState(const LauncherOptions& options, const RecordSet& loaded, BmcState& state,
                  std::string& error) {
  if (!AddRecordSet(loaded, state, error)) {
    error.insert(0, options.load + ", ");
    return false;
  }
  if (!AddSampleSet(options.set, kNewSetTime, state)) {
    error = "the records do not fit the capacity";
    return false;
  }
  if (loaded.times) StampSet(*loaded.times, state);
  return true;
}

bool CreateState(const LauncherOptions& options, std::string& error) {
  RecordSet loaded;
  if (!ReadSet(options.load, loaded, error)) return false;
  const auto state = std::make_unique<BmcState>();
  InitialiseState(options.Apply(loaded.identity.value_or(Identity())), *state);
  return FillNewState(options, loaded, *state, error) &&
         StateFile::Create(options.state, *state, error);
}

bool ChangeState(const LauncherOptions& options, std::string& error) {
  StateFile file;
  if (!file.Open(options.state, error)) return false;
  if (options.changes.empty()) return true;
  file.Lock();
  Control control = ActiveControl(*file.state());
  control.identity = options.Apply(control.identity);
  Publish(control, *file.state());
  file.Unlock();
  return true;
}

}  // namespace

bool PrepareState(const LauncherOptions& options, std::string& error) {
  const bool exists = Exists(options.state);
  if (exists && options.create) {
    error = options.state + " exists already";
    return false;
  }
  if (exists && options.describes_set) {
    error = options.state + " exists already, its records stay as they are";
    return false;
  }
  return exists ? ChangeState(options, error) : CreateState(options, error);
}

}  // namespace bmcsim
