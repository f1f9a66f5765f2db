#include "simulator/new_state.h"

#include <filesystem>
#include <memory>
#include <system_error>

#include "simulator/console.h"
#include "simulator/repository_text.h"
#include "simulator/sample_records.h"
#include "simulator/state_file.h"

namespace bmcsim {
namespace {

namespace fs = std::filesystem;

// The set that a new BMC comes with was made on 2018-01-01, so that what is made twice is equal.
constexpr std::uint32_t kNewSetTime = 1514764800;

// More than any repository takes, with every byte in words and a comment at each record.
constexpr std::size_t kMostSetBytes = 4U << 20U;

bool Exists(const std::string& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

bool FillNewState(const LauncherOptions& options, BmcState& state, std::string& error) {
  if (!options.load.empty()) {
    std::string text;
    if (!ReadText(options.load, kMostSetBytes, text, error)) {
      error.insert(0, "cannot read " + options.load + ": ");
      return false;
    }
    if (!LoadHexRepository(text, state, error)) {
      error.insert(0, options.load + ", ");
      return false;
    }
  }
  if (AddSampleSet(options.set, kNewSetTime, state)) return true;
  error = "the records do not fit the capacity";
  return false;
}

bool CreateState(const LauncherOptions& options, std::string& error) {
  const auto state = std::make_unique<BmcState>();
  InitialiseState(options.Apply(Identity()), *state);
  return FillNewState(options, *state, error) && StateFile::Create(options.state, *state, error);
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
