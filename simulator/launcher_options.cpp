#include "simulator/launcher_options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <string_view>

#include "simulator/fault_plan.h"
#include "simulator/run_environment.h"
#include "simulator/sim_clock.h"

namespace bmcsim {
namespace {

constexpr char kUsage[] =
    R"(bmcsim: a simulated BMC with an SDR repository, under an unmodified program.

  bmcsim [OPTION]... -- PROGRAM [ARGUMENT]...   run the program on the simulated BMC
  bmcsim [OPTION]... --create                   make a simulated BMC
  bmcsim [--state FILE] --dump[=hex]            show its repository
  bmcsim [OPTION]... --serve SOCKET             be the BMC of a QEMU machine

The program's exit status is bmcsim's own; a mistake of bmcsim's own use ends with status 2.
The BMC's memory is a file, so one run's update is the next run's repository, and several
programs may use it at once.

  --state FILE         the BMC's memory; default bmcsim.state, made if it does not exist
  --create             make it, and fail if it exists
  --dump, --dump=hex   print the repository for people; or one record a line, without its ID
  --help, --version

The run:
  --driver DRIVER      the driver that the machine has: openipmi (default; /dev/ipmi0), maker
                       (/dev/ipmidev), both or none; other nodes do not exist
  --node PATH          the OpenIPMI node, e.g. /dev/ipmidev/0 or /dev/ipmi/0
  --fault PLAN         a fault plan: a file, or its text
  --trace FILE         append two lines for each request: "> " its bytes, "< " its answer's and
                       " ! " what the fault plan did to it
  --clock CLOCK        real (default); virtual: waits pass at once and time moves as if they had
                       not; virtual:EPOCH: likewise, from that second on, by nothing but waits
  --stats FILE         write at the end how many requests there were, and the simulator's CPU time

The BMC of a QEMU machine, whose kernel's own driver then talks to it:
  --serve SOCKET       make this unix socket and serve it until SIGTERM, SIGINT or SIGHUP; QEMU wants
                       -chardev socket,id=bmc,path=SOCKET,reconnect=1
                       -device ipmi-bmc-extern,id=ipmi,chardev=bmc -device isa-ipmi-kcs,bmc=ipmi
  --fault, --trace     as above, without the driver's own requests; the requests are counted from
                       bmcsim's start on. To one whose answer is lost, QEMU answers C3 after 4 s; a
                       silence without end makes its device stuck, and the driver gives up on it.
                       Signals strike bmcsim: after a KILL QEMU answers D2 for the dead BMC

The BMC; kept in its memory:
  --product XXXX       product ID, default 01A3
  --manufacturer XXXXXX  manufacturer ID, three bytes, lowest first; default 770000
  --device-revision XX default 01
  --ipmi-version V     1.0, 1.5 (default) or 2.0
  --no-aux             Device ID answers without the auxiliary firmware revision
  --slot XXXXXX        knows Get slot information and answers these three bytes
  --capacity N         bytes for records, default 65536, at most 131072
  --erase-polls N      status requests until an erase is complete, default 2
  --max-read N         bytes that one Get SDR can return, default 255
  --id-step N          distance between the record IDs that it assigns, default 1

The SDR set of a new BMC: 12 records and version 01.00, or exactly what these say:
  --records N          so many sensor and device records; 0 and nothing else: empty
  --version-text TEXT  a version record; "SDR Version " is put before a text that does not begin
                       with S
  --config-name TEXT   a record that names a configuration script, without .CFG
  --load FILE          the records of this file, as --dump=hex prints them, before the others

)";

constexpr char kVersionLead[] = "SDR Version ";
constexpr char kDefaultVersion[] = "01.00";
constexpr unsigned kDefaultRecords = 12;
constexpr unsigned kMostRecords = 65533;
constexpr std::uint32_t kMostErasePolls = 1000000;

SampleSet DefaultSet() {
  return {kDefaultRecords, std::string(kVersionLead) + kDefaultVersion, ""};
}

/// Walks over the arguments and takes the option's values.
class OptionReader {
 public:
  OptionReader(std::span<const char* const> arguments, LauncherOptions& options, std::string& error)
      : arguments_(arguments), options_(options), error_(error) {
    options_.openipmi_node = kDefaultOpenIpmiNode;
  }

  bool Read();

 private:
  struct Option {
    std::string_view name;
    bool has_value;
    bool (OptionReader::*take)(std::string_view value);
  };

  static const Option* Find(std::string_view name);
  bool ReadOption();
  bool Finish();
  bool FinishServe(bool dumps);
  bool Fail(const std::string& message);
  bool Number(std::string_view text, int base, std::uint32_t least, std::uint32_t most,
              std::uint32_t& number);
  bool ThreeBytes(std::string_view text, std::array<std::uint8_t, 3>& bytes);
  bool Text(std::string_view value, std::string& text);

  bool Help(std::string_view value);
  bool Version(std::string_view value);
  bool State(std::string_view value) { return Text(value, options_.state); }
  bool Create(std::string_view value);
  bool Serve(std::string_view value) { return Text(value, options_.serve); }
  bool Dump(std::string_view value);
  bool Driver(std::string_view value);
  bool Node(std::string_view value);
  bool Faults(std::string_view value) { return Text(value, options_.fault); }
  bool Trace(std::string_view value) { return Text(value, options_.trace); }
  bool Clock(std::string_view value);
  bool Stats(std::string_view value) { return Text(value, options_.stats); }
  bool Product(std::string_view value);
  bool Manufacturer(std::string_view value);
  bool DeviceRevision(std::string_view value);
  bool IpmiVersion(std::string_view value);
  bool NoAux(std::string_view value);
  bool Slot(std::string_view value);
  bool Capacity(std::string_view value);
  bool ErasePolls(std::string_view value);
  bool MaxRead(std::string_view value);
  bool IdStep(std::string_view value);
  bool Records(std::string_view value);
  bool VersionText(std::string_view value);
  bool ConfigName(std::string_view value);
  bool Load(std::string_view value);

  std::span<const char* const> arguments_;
  LauncherOptions& options_;
  std::string& error_;
  std::size_t next_ = 0;
  std::string_view option_;  // the one in hand, for messages
  std::string_view driver_ = "openipmi";
};

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

bool OptionReader::Number(std::string_view text, int base, std::uint32_t least, std::uint32_t most,
                          std::uint32_t& number) {
  const char* end = text.data() + text.size();
  const auto [stop, wrong] = std::from_chars(text.data(), end, number, base);
  if (wrong == std::errc() && stop == end && number >= least && number <= most) return true;
  std::array<char, 64> range{};
  (void)std::snprintf(range.data(), range.size(),
                      base == 16 ? " wants a hex number, %X to %X" : " wants a number, %u to %u",
                      least, most);
  return Fail(std::string(option_) + range.data());
}

bool OptionReader::ThreeBytes(std::string_view text, std::array<std::uint8_t, 3>& bytes) {
  std::uint32_t number = 0;
  if (text.size() != 2 * bytes.size()) {
    return Fail(std::string(option_) + " wants three bytes in hex");
  }
  if (!Number(text, 16, 0, 0xFFFFFF, number)) return false;
  bytes = {static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 8),
           static_cast<std::uint8_t>(number)};
  return true;
}

bool OptionReader::Text(std::string_view value, std::string& text) {
  if (value.empty()) return Fail(std::string(option_) + " wants a value");
  text = value;
  return true;
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

bool OptionReader::Clock(std::string_view value) {
  options_.clock = value;
  SimClock clock;
  return clock.Parse(value, error_);
}

bool OptionReader::Product(std::string_view value) {
  std::uint32_t id = 0;
  if (!Number(value, 16, 0, 0xFFFF, id)) return false;
  options_.changes.emplace_back(
      [id](Identity& identity) { identity.product_id = static_cast<std::uint16_t>(id); });
  return true;
}

bool OptionReader::Manufacturer(std::string_view value) {
  std::array<std::uint8_t, 3> bytes{};
  if (!ThreeBytes(value, bytes)) return false;
  options_.changes.emplace_back([bytes](Identity& identity) { identity.manufacturer_id = bytes; });
  return true;
}

bool OptionReader::DeviceRevision(std::string_view value) {
  std::uint32_t revision = 0;
  if (!Number(value, 16, 0, 0xFF, revision)) return false;
  options_.changes.emplace_back([revision](Identity& identity) {
    identity.device_revision = static_cast<std::uint8_t>(revision);
  });
  return true;
}

bool OptionReader::IpmiVersion(std::string_view value) {
  if (value != "1.0" && value != "1.5" && value != "2.0") {
    return Fail("--ipmi-version is 1.0, 1.5 or 2.0");
  }
  // The byte has the minor version's digit first.
  const auto byte = static_cast<std::uint8_t>((value[2] - '0') << 4 | (value[0] - '0'));
  options_.changes.emplace_back([byte](Identity& identity) { identity.ipmi_version = byte; });
  return true;
}

bool OptionReader::NoAux(std::string_view /*value*/) {
  options_.changes.emplace_back([](Identity& identity) { identity.has_auxiliary_revision = 0; });
  return true;
}

bool OptionReader::Slot(std::string_view value) {
  std::array<std::uint8_t, 3> bytes{};
  if (!ThreeBytes(value, bytes)) return false;
  options_.changes.emplace_back([bytes](Identity& identity) {
    identity.has_slot = 1;
    identity.slot = bytes;
  });
  return true;
}

bool OptionReader::Capacity(std::string_view value) {
  std::uint32_t capacity = 0;
  if (!Number(value, 10, 0, kStoreBytes, capacity)) return false;
  options_.changes.emplace_back([capacity](Identity& identity) { identity.capacity = capacity; });
  return true;
}

bool OptionReader::ErasePolls(std::string_view value) {
  std::uint32_t polls = 0;
  if (!Number(value, 10, 0, kMostErasePolls, polls)) return false;
  options_.changes.emplace_back([polls](Identity& identity) { identity.erase_polls = polls; });
  return true;
}

bool OptionReader::MaxRead(std::string_view value) {
  std::uint32_t most = 0;
  if (!Number(value, 10, 1, 255, most)) return false;
  options_.changes.emplace_back(
      [most](Identity& identity) { identity.max_read = static_cast<std::uint8_t>(most); });
  return true;
}

bool OptionReader::IdStep(std::string_view value) {
  std::uint32_t step = 0;
  if (!Number(value, 10, 1, 255, step)) return false;
  options_.changes.emplace_back(
      [step](Identity& identity) { identity.record_id_step = static_cast<std::uint16_t>(step); });
  return true;
}

bool OptionReader::Records(std::string_view value) {
  std::uint32_t count = 0;
  if (!Number(value, 10, 0, kMostRecords, count)) return false;
  options_.set.records = count;
  options_.describes_set = true;
  return true;
}

bool OptionReader::VersionText(std::string_view value) {
  std::string text(value);
  if (!text.empty() && text[0] != 'S') text.insert(0, kVersionLead);
  if (text.size() > kMaxSampleText) return Fail("--version-text is too long");
  options_.set.version = text;
  options_.describes_set = true;
  return true;
}

bool OptionReader::ConfigName(std::string_view value) {
  if (value.size() >= kMaxSampleText) return Fail("--config-name is too long");
  options_.describes_set = true;
  return Text(value, options_.set.config_name);
}

bool OptionReader::Load(std::string_view value) {
  options_.describes_set = true;
  return Text(value, options_.load);
}

}  // namespace

Identity LauncherOptions::Apply(Identity identity) const {
  for (const auto& change : changes) change(identity);
  return identity;
}

std::string LauncherHelp() { return std::string(kUsage) + kFaultPlanHelp; }

std::optional<LauncherOptions> ParseLauncherOptions(std::span<const char* const> arguments,
                                                    std::string& error) {
  LauncherOptions options;
  OptionReader reader(arguments, options, error);
  if (!reader.Read()) return std::nullopt;
  return options;
}

}  // namespace bmcsim
