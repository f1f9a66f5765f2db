// The options about the BMC itself and its SDR set, and the numbers in them.

#include <charconv>
#include <cstdio>

#include "simulator/option_reader.h"
#include "simulator/sample_records.h"

namespace bmcsim {
namespace {

constexpr char kVersionLead[] = "SDR Version ";
constexpr char kDefaultVersion[] = "01.00";
constexpr unsigned kDefaultRecords = 12;
constexpr unsigned kMostRecords = 65533;
constexpr std::uint32_t kMostErasePolls = 1000000;

}  // namespace

SampleSet OptionReader::DefaultSet() {
  return {kDefaultRecords, std::string(kVersionLead) + kDefaultVersion, ""};
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

Identity LauncherOptions::Apply(Identity identity) const {
  for (const auto& change : changes) change(identity);
  return identity;
}

}  // namespace bmcsim
