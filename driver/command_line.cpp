#include "driver/command_line.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "driver/reporting/run_settings.h"

namespace tarvek {
namespace {

/// Hands out the arguments from left to right.
class ArgumentReader {
 public:
  explicit ArgumentReader(std::span<char* const> arguments) : arguments_(arguments) {}

  bool AtEnd() const { return next_ == arguments_.size(); }
  const char* Take() { return arguments_[next_++]; }

  /// @return the next argument if it can be an option's value; null, and nothing is taken, if
  ///   there is none or it begins with "-".
  const char* TakeValue() { return AtEnd() || arguments_[next_][0] == '-' ? nullptr : Take(); }

  void TakeText(const char*& setting) {
    if (const char* const value = TakeValue()) setting = value;
  }

  template <typename T>
  void TakeNumber(T& setting) {
    constexpr int kDecimal = 10;
    // A text that is no number counts as 0 and there is no range check.
    if (const char* const value = TakeValue()) {
      setting = static_cast<int>(std::strtol(value, nullptr, kDecimal));
    }
  }

 private:
  std::span<char* const> arguments_;
  std::size_t next_ = 0;
};

/// @return false when a mode is set already.
bool SetMode(RunMode mode) {
  if (g_eu_flg != kNoMode) return false;
  g_eu_flg = mode;
  return true;
}

/// @return false when an input is set already.
bool SetInput(InputSource source, const char*& file_name, ArgumentReader& arguments) {
  if (g_option_flg != kNoInput) return false;
  g_option_flg = source;
  arguments.TakeText(file_name);
  return true;
}

bool SetDirect() {
  if (!SetMode(kNormalUpdate)) return false;
  g_direct_flg = 1;
  g_display_flg = 1;
  return true;
}

bool SetBackup(ArgumentReader& arguments) {
  if (!SetMode(kBackup)) return false;
  arguments.TakeText(backup_filename);
  g_display_flg = 1;
  return true;
}

template <auto& setting, auto value>
bool Set(ArgumentReader& /*arguments*/) {
  setting = value;
  return true;
}

template <auto& setting>
bool TakeNumber(ArgumentReader& arguments) {
  arguments.TakeNumber(setting);
  return true;
}

struct Option {
  const char* word;
  bool (*apply)(ArgumentReader&);  // false: the option is refused here
};

constexpr std::array<Option, 20> kOptions{{
    {"-version", [](ArgumentReader&) { return SetMode(kVersionQuery); }},
    {"-direct", [](ArgumentReader&) { return SetDirect(); }},
    {"-update", [](ArgumentReader&) { return SetMode(kNormalUpdate); }},
    {"-force", Set<g_force_flg, int{kForcedUpdate}>},
    {"-ratio", [](ArgumentReader&) { return SetMode(kProgressQuery); }},
    {"-backup", SetBackup},
    {"-sdr", [](ArgumentReader& a) { return SetInput(kSdrFileInput, sdr_filename, a); }},
    {"-cfg", [](ArgumentReader& a) { return SetInput(kScriptInput, cfg_filename, a); }},
    {"-bin", [](ArgumentReader& a) { return SetInput(kImageInput, bin_filename, a); }},
    {"-display", Set<g_display_flg, 1>},
    {"-test", Set<gTestFlag, 1>},
    {"-test2", Set<gTest2Flag, 1>},
    {"-ff_retry", TakeNumber<ff_retry>},
    {"-other_retry", TakeNumber<other_retry>},
    {"-wait", TakeNumber<retry_wait>},
    {"-lock_retry", TakeNumber<lock_retry>},
    {"-lock_wait", TakeNumber<lock_wait>},
    {"-C_wait", TakeNumber<CommandWaitTimeoutPeriod>},
    {"-I_wait", TakeNumber<IpmbWaitTimeoutPeriod>},
    {"-B_wait", TakeNumber<BusyWaitTimeoutPeriod>},
}};

bool ParseOptions(ArgumentReader arguments) {
  while (!arguments.AtEnd()) {
    const char* const word = arguments.Take();
    const auto* const option =
        std::find_if(kOptions.begin(), kOptions.end(),
                     [&](const Option& row) { return strcasecmp(row.word, word) == 0; });
    if (option == kOptions.end() || !option->apply(arguments)) return false;
  }
  return true;
}

/// Tests whether the options go together, and settles which update mode it is.
bool CheckCombination() {
  const bool has_input = g_option_flg != kNoInput;
  const bool forced = g_force_flg == kForcedUpdate;
  if (g_eu_flg == kNoMode) return false;
  const bool takes_input = g_eu_flg == kVersionQuery || g_eu_flg == kNormalUpdate;
  if (takes_input != has_input) return false;
  if (!takes_input && forced) return false;
  if (g_eu_flg == kNormalUpdate) g_eu_flg = g_force_flg;
  return g_eu_flg != kVersionQuery || !forced;
}

}  // namespace

bool ParseCommandLine(std::span<char* const> arguments) {
  return ParseOptions(ArgumentReader(arguments)) && CheckCombination();
}

}  // namespace tarvek
