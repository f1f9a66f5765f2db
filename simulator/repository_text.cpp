#include "simulator/repository_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <span>

namespace bmcsim {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kRecordIdBytes = 2;
constexpr std::size_t kManufacturerOffset = 5;  // in an OEM record
constexpr std::size_t kOemDataOffset = 8;
constexpr std::uint8_t kOemFirst = 0xC0;
constexpr std::uint8_t kConfigNameMark = 0x16;
constexpr std::uint8_t kIdStringLengthMask = 0x1F;

struct RecordKind {
  std::uint8_t type;
  const char* name;
  int sensor_number;  // offset in the record, or -1
  int id_string;      // offset of the ID string's type/length byte, or -1
};

constexpr RecordKind kRecordKinds[] = {
    {0x01, "full sensor", 7, 47},
    {0x02, "compact sensor", 7, 31},
    {0x03, "event-only sensor", 7, 16},
    {0x08, "entity association", -1, -1},
    {0x09, "device-relative entity", -1, -1},
    {0x10, "generic device locator", -1, 15},
    {0x11, "FRU device locator", -1, 15},
    {0x12, "management controller locator", -1, 15},
    {0x13, "controller confirmation", -1, -1},
    {0x14, "BMC message channel info", -1, -1},
    {0xC0, "OEM", -1, -1},
};

template <typename... Arguments>
std::string Format(const char* format, Arguments... arguments) {
  std::array<char, 160> text{};
  (void)std::snprintf(text.data(), text.size(), format, arguments...);
  return text.data();
}

std::string Hex(Bytes bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    text += Format("%02X", byte);
  }
  return text;
}

// Bytes as text in quotes; what is not printable ASCII shows as \xNN.
std::string Quoted(Bytes bytes) {
  std::string text = "\"";
  for (const std::uint8_t byte : bytes) {
    const bool printable = byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\';
    text += printable ? std::string(1, static_cast<char>(byte)) : Format("\\x%02X", byte);
  }
  return text + '"';
}

std::string TimeText(std::uint32_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm utc = {};
  std::array<char, 32> text{};
  if (gmtime_r(&time, &utc) == nullptr) return {};
  (void)std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &utc);
  return text.data();
}

Bytes UntilZero(Bytes bytes) {
  return bytes.first(
      static_cast<std::size_t>(std::find(bytes.begin(), bytes.end(), 0) - bytes.begin()));
}

Bytes OemText(Bytes record, const Identity& identity) {
  if (record.size() <= kOemDataOffset || record[kRecordTypeOffset] != kOemFirst) return {};
  const Bytes maker = record.subspan(kManufacturerOffset, identity.manufacturer_id.size());
  if (!std::equal(maker.begin(), maker.end(), identity.manufacturer_id.begin())) return {};
  return UntilZero(record.subspan(kOemDataOffset));
}

template <typename Visitor>
void ForEachRecord(const BmcState& state, Visitor visit) {
  const Control& control = ActiveControl(state);
  const unsigned served = control.served & 1U;
  std::size_t offset = 0;
  std::size_t length = RecordLength(state, control, served, 0);
  while (length != 0) {
    visit(Bytes(state.store_bytes[served]).subspan(offset, length));
    offset += length;
    length = RecordLength(state, control, served, offset);
  }
}

std::string DescribeIdentity(const Identity& identity) {
  std::string text;
  text += Format("Product ID          %04Xh\n", identity.product_id);
  text += "Manufacturer ID     " + Hex(identity.manufacturer_id) + "\n";
  text += Format("Device              ID %02Xh, revision %02Xh, firmware %02X.%02X\n",
                 identity.device_id, identity.device_revision, identity.firmware_revision[0],
                 identity.firmware_revision[1]);
  text += Format("IPMI version        %u.%u\n", identity.ipmi_version & 0x0FU,
                 identity.ipmi_version >> 4U);
  text += "Auxiliary revision  " +
          (identity.has_auxiliary_revision != 0 ? Hex(identity.auxiliary_revision) : "none") + "\n";
  text += "Slot information    " + (identity.has_slot != 0 ? Hex(identity.slot) : "none") + "\n";
  return text;
}

std::string DescribeSet(const BmcState& state) {
  const Control& control = ActiveControl(state);
  const Store& store = control.store[control.served & 1U];
  std::string version = "none";
  std::string config = "none";
  ForEachRecord(state, [&](Bytes record) {
    const Bytes text = OemText(record, control.identity);
    if (text.empty()) return;
    if (text[0] == 'S' && version == "none") version = Quoted(text);
    if (text[0] == kConfigNameMark && config == "none") config = Quoted(text.subspan(1));
  });
  std::string text;
  text += "SDR version         " + version + "\n";
  text += "Configuration       " + config + "\n";
  text += Format("Records             %u, %u bytes of %u\n", store.record_count, store.used,
                 control.identity.capacity);
  text += Format("Last addition       %08Xh, %s\n", store.addition_time,
                 TimeText(store.addition_time).c_str());
  text += Format("Last erase          %08Xh, %s\n", store.erase_time,
                 TimeText(store.erase_time).c_str());
  text += control.spare_open != 0 ? "Spare copy          open\n" : "Spare copy          closed\n";
  return text;
}

std::string DescribeRecord(Bytes record, const Identity& identity) {
  const auto* kind =
      std::find_if(std::begin(kRecordKinds), std::end(kRecordKinds),
                   [&](const auto& k) { return k.type == record[kRecordTypeOffset]; });
  const bool known = kind != std::end(kRecordKinds);
  std::string text =
      Format("%02X%02Xh  type %02Xh %s, SDR version %02X, %zu bytes", record[1], record[0],
             record[kRecordTypeOffset], known ? kind->name : "unknown", record[2], record.size());
  const auto at = [](int offset) { return static_cast<std::size_t>(offset); };
  if (known && kind->sensor_number >= 0 && record.size() > at(kind->sensor_number)) {
    text += Format(", sensor %02Xh", record[at(kind->sensor_number)]);
  }
  if (known && kind->id_string >= 0 && record.size() > at(kind->id_string)) {
    const Bytes rest = record.subspan(at(kind->id_string) + 1);
    const std::size_t length = record[at(kind->id_string)] & kIdStringLengthMask;
    text += ", " + Quoted(rest.first(std::min(length, rest.size())));
  }
  if (const Bytes oem = OemText(record, identity); !oem.empty()) text += ", " + Quoted(oem);
  return text + "\n       " + Hex(record.subspan(kRecordHeaderBytes)) + "\n";
}

}  // namespace

std::string DescribeRepository(const BmcState& state) {
  const Identity& identity = ActiveControl(state).identity;
  std::string text = DescribeIdentity(identity) + DescribeSet(state);
  ForEachRecord(state, [&](Bytes record) { text += "\n" + DescribeRecord(record, identity); });
  return text;
}

std::string HexRepository(const BmcState& state) {
  std::string text;
  ForEachRecord(state, [&](Bytes record) { text += Hex(record.subspan(kRecordIdBytes)) + "\n"; });
  return text;
}

}  // namespace bmcsim
