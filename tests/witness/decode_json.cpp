// Writes the JSON object of each record that standard input holds in hexadecimal, one a line; with
// --names the tables of names instead.
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "inspect/decode/names.h"
#include "inspect/json/record_json.h"
#include "tests/witness/record_lines.h"

namespace {

using namespace tarvek::inspect;

constexpr int kCodes = 0x100;
constexpr int kEventTypes = 0x0D;
constexpr int kSensorTypes = 0x30;
constexpr int kOffsets = 15;
constexpr int kSensorSpecific = 0x6F;

void WriteNames() {
  Json names;
  for (int code = 0; code < kCodes; ++code) {
    const std::string key = std::to_string(code);
    names["unit"][key] = UnitName(code);
    names["sensor_type"][key] = SensorTypeName(code);
    names["entity"][key] = EntityName(code);
    names["device_type"][key] = DeviceTypeName(code);
  }
  for (int offset = 0; offset < kOffsets; ++offset) {
    for (int type = 0; type < kEventTypes; ++type) {
      names["generic_state"][std::to_string(type) + "." + std::to_string(offset)] =
          StateName(type, 0, offset);
    }
    for (int type = 0; type < kSensorTypes; ++type) {
      names["specific_state"][std::to_string(type) + "." + std::to_string(offset)] =
          StateName(kSensorSpecific, type, offset);
    }
  }
  std::cout << JsonText(names, -1) << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "--names") {
    WriteNames();
    return 0;
  }
  std::vector<unsigned char> bytes;
  for (int number = 1; tarvek_test::NextRecord(&bytes); ++number) {
    const Record record = Decode(bytes);
    std::cout << JsonText(RecordJson({.number = number, .record = &record}), -1) << '\n';
  }
  return 0;
}
