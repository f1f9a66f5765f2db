#include "tests/blackbox/sdr_text.h"

#include <cstdio>

namespace blackbox {
namespace {

constexpr std::uint8_t kSdrVersion = 0x51;

std::string Hex(std::uint8_t byte) {
  char digits[3];
  std::snprintf(digits, sizeof digits, "%02X", byte);
  return digits;
}

SourceRecord WithHeader(std::uint8_t type, const Bytes& body) {
  SourceRecord record;
  record.bytes = {0x00, 0x00, kSdrVersion, type, static_cast<std::uint8_t>(body.size())};
  for (const std::uint8_t byte : body) record.bytes.push_back(byte);
  return record;
}

SourceRecord MakerRecord(std::uint8_t kind, const std::string& text) {
  Bytes body{0x77, 0x00, 0x00, kind};
  body.insert(body.end(), text.begin(), text.end());
  return WithHeader(0xC0, body);
}

}  // namespace

SourceRecord SensorRecord(int number, const std::string& id) {
  Bytes body{0x20, 0x00, static_cast<std::uint8_t>(number),
             0x07, 0x01, 0x67,
             0x40, 0x09, 0x6F,
             0x01, 0x02, 0x03,
             0x04, 0x05, 0x06,
             0xC0, 0x00, 0x00,
             0x01, 0x00, 0x00,
             0x00, 0x00, 0x00,
             0x00, 0x00};
  body.push_back(static_cast<std::uint8_t>(0xC0 | id.size()));
  body.insert(body.end(), id.begin(), id.end());
  return WithHeader(0x02, body);
}

SourceRecord VersionRecord(const std::string& version) {
  return MakerRecord(static_cast<std::uint8_t>(version[0]), version.substr(1));
}

SourceRecord ScriptNameRecord(const std::string& name) { return MakerRecord(0x16, name); }

std::vector<SourceRecord> SdrSet(int count, const std::string& version) {
  std::vector<SourceRecord> records{VersionRecord(version)};
  for (int n = 1; n <= count; ++n) {
    records.push_back(SensorRecord(n & 0xFF, "Sensor " + std::to_string(n)));
  }
  return records;
}

std::string SdrText(const std::vector<SourceRecord>& records) {
  std::string text =
      "// SDR set for one board\n"
      "_LF_NAME 'BOARD.SDR'\n"
      "_LF_VERSION '01.02'\n"
      "_LF_FMT_VER '1.5'\n"
      "_IPMI_VERSION '1.50'\n"
      "_SDR (\n"
      "_START_ADDR 0000 _DATA_LEN 2000 _NVS_TYPE 'IMBDEVICE' _DEV_BUS 00 _DEV_ADDRESS 20\n";
  for (const SourceRecord& record : records) {
    text += "_SDR_TYPE " + Hex(record.bytes[3]) + "\n";
    for (const std::string& tag : record.tags) text += "_SDR_TAG '" + tag + "'\n";
    text += "_REC_LEN " + Hex(static_cast<std::uint8_t>(record.bytes.size()));
    for (std::size_t i = 0; i < record.bytes.size(); ++i) {
      text += (i % 16 == 0 ? "\n" : " ") + Hex(record.bytes[i]);
    }
    text += record.bytes.back() == 0xC0 ? " ''\n" : "\n";
  }
  return text + ")\n";
}

std::vector<std::string> HexOf(const std::vector<SourceRecord>& records) {
  std::vector<std::string> lines;
  for (const SourceRecord& record : records) {
    std::string line;
    for (std::size_t i = 2; i < record.bytes.size(); ++i) {
      line += (i > 2 ? " " : "") + Hex(record.bytes[i]);
    }
    lines.push_back(line);
  }
  return lines;
}

}  // namespace blackbox
