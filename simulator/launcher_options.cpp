#include "simulator/launcher_options.h"

#include <algorithm>
#include <iterator>

#include "simulator/option_reader.h"
#include "simulator/sim_clock.h"

namespace bmcsim {

const OptionReader::Option* OptionReader::Find(std::string_view name) {
  static constexpr Option kOptions[] = {
      {"--help", false, &OptionReader::Help},
      {"--version", false, &OptionReader::Version},
      {"--state", true, &OptionReader::State},
      {"--create", false, &OptionReader::Create},
      {"--dump", false, &OptionReader::Dump},
      {"--serve", true, &OptionReader::Serve},
      {"--driver", true, &OptionReader::Driver},
      {"--node", true, &OptionReader::Node},
      {"--fault", true, &OptionReader::Faults},
      {"--strict", false, &OptionReader::Strict},
      {"--trace", true, &OptionReader::Trace},
      {"--clock", true, &OptionReader::Clock},
      {"--stats", true, &OptionReader::Stats},
      {"--product", true, &OptionReader::Product},
      {"--manufacturer", true, &OptionReader::Manufacturer},
      {"--device-revision", true, &OptionReader::DeviceRevision},
      {"--ipmi-version", true, &OptionReader::IpmiVersion},
      {"--no-aux", false, &OptionReader::NoAux},
      {"--slot", true, &OptionReader::Slot},
      {"--capacity", true, &OptionReader::Capacity},
      {"--erase-polls", true, &OptionReader::ErasePolls},
      {"--max-read", true, &OptionReader::MaxRead},
      {"--id-step", true, &OptionReader::IdStep},
      {"--records", true, &OptionReader::Records},
      {"--version-text", true, &OptionReader::VersionText},
      {"--config-name", true, &OptionReader::ConfigName},
      {"--load", true, &OptionReader::Load},
  };
  const auto* found = std::find_if(std::begin(kOptions), std::end(kOptions),
                                   [name](const Option& option) { return option.name == name; });
  return found == std::end(kOptions) ? nullptr : found;
}

bool OptionReader::Read() {
  while (next_ < arguments_.size()) {
    if (std::string_view(arguments_[next_]) == "--") {
      const auto program = arguments_.subspan(next_ + 1);
      options_.program.assign(program.begin(), program.end());
      if (program.empty()) return Fail("there is no program behind --");
      break;
    }
    if (!ReadOption()) return false;
  }
  return Finish();
}

bool OptionReader::ReadOption() {
  const std::string_view argument = arguments_[next_++];
  const std::size_t equals = argument.find('=');
  option_ = argument.substr(0, equals);
  std::string_view value =
      equals == std::string_view::npos ? std::string_view() : argument.substr(equals + 1);
  if (!option_.starts_with("--")) {
    return Fail("the program and its arguments come behind --, '" + std::string(argument) +
                "' does not");
  }
  const Option* option = Find(option_);
  if (option == nullptr) return Fail("there is no option " + std::string(option_));
  if (option->has_value && equals == std::string_view::npos) {
    if (next_ == arguments_.size() || std::string_view(arguments_[next_]) == "--") {
      return Fail(std::string(option_) + " wants a value");
    }
    value = arguments_[next_++];
  }
  const bool surplus = !option->has_value && equals != std::string_view::npos;
  if (surplus && option->take != &OptionReader::Dump) {
    return Fail(std::string(option_) + " takes no value");
  }
  return (this->*option->take)(value);
}

bool OptionReader::Finish() {
  using Task = LauncherOptions::Task;
  if (options_.task == Task::kHelp || options_.task == Task::kVersion) return true;
  if (driver_ == "maker" || driver_ == "none") options_.openipmi_node.clear();
  if (driver_ == "maker" || driver_ == "both") options_.maker_node = kMakerNode;
  const bool dumps = options_.task == Task::kDump || options_.task == Task::kDumpHex;
  if (dumps && (options_.create || !options_.program.empty())) {
    return Fail("--dump goes with neither --create nor a program");
  }
  if (dumps && (options_.describes_set || !options_.changes.empty())) {
    return Fail("--dump changes nothing about the BMC");
  }
  if (options_.strict && options_.fault.empty()) {
    return Fail("--strict is about a fault plan, and there is none");
  }
  if (!options_.describes_set) options_.set = DefaultSet();
  if (!options_.serve.empty()) return FinishServe(dumps);
  if (dumps || !options_.program.empty()) return true;
  if (!options_.create) return Fail("there is nothing to do; --help tells more");
  options_.task = Task::kCreate;
  return true;
}

bool OptionReader::FinishServe(bool dumps) {
  if (dumps || !options_.program.empty()) {
    return Fail("--serve goes with neither --dump nor a program");
  }
  if (!options_.clock.empty() || !options_.stats.empty()) {
    return Fail("--clock and --stats are about a program, and --serve runs none");
  }
  options_.task = LauncherOptions::Task::kServe;
  return true;
}

bool OptionReader::Fail(const std::string& message) {
  error_ = message;
  return false;
}

bool OptionReader::Help(std::string_view /*value*/) {
  options_.task = LauncherOptions::Task::kHelp;
  return true;
}

bool OptionReader::Version(std::string_view /*value*/) {
  if (options_.task != LauncherOptions::Task::kHelp) {
    options_.task = LauncherOptions::Task::kVersion;
  }
  return true;
}

bool OptionReader::Create(std::string_view /*value*/) {
  options_.create = true;
  return true;
}

bool OptionReader::Dump(std::string_view value) {
  if (!value.empty() && value != "hex") return Fail("--dump knows only =hex");
  if (options_.task != LauncherOptions::Task::kRun) return true;
  options_.task = value.empty() ? LauncherOptions::Task::kDump : LauncherOptions::Task::kDumpHex;
  return true;
}

bool OptionReader::Driver(std::string_view value) {
  if (value != "openipmi" && value != "maker" && value != "both" && value != "none") {
    return Fail("--driver is openipmi, maker, both or none");
  }
  driver_ = value;
  return true;
}

bool OptionReader::Node(std::string_view value) {
  if (!value.starts_with('/')) return Fail("--node wants an absolute path");
  if (value == kMakerNode) return Fail("/dev/ipmidev is the maker's driver's node");
  options_.openipmi_node = value;
  return true;
}

bool OptionReader::Strict(std::string_view /*value*/) {
  options_.strict = true;
  return true;
}

bool OptionReader::Clock(std::string_view value) {
  options_.clock = value;
  SimClock clock;
  return clock.Parse(value, error_);
}

std::optional<LauncherOptions> ParseLauncherOptions(std::span<const char* const> arguments,
                                                    std::string& error) {
  LauncherOptions options;
  OptionReader reader(arguments, options, error);
  if (!reader.Read()) return std::nullopt;
  return options;
}

}  // namespace bmcsim
