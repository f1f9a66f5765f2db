#ifndef TARVEK_SIMULATOR_OPTION_READER_H_
#define TARVEK_SIMULATOR_OPTION_READER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "simulator/launcher_options.h"
#include "simulator/run_environment.h"

namespace bmcsim {

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

  static SampleSet DefaultSet();
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
  bool Strict(std::string_view value);
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

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_OPTION_READER_H_
