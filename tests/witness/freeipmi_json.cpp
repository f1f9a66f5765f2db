// What libfreeipmi's parse functions say of each record that standard input holds in hexadecimal,
// one a line, under the keys of our own JSON; with --names its tables of names instead.
#include <freeipmi/freeipmi.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tests/witness/record_lines.h"

namespace {

using Json = nlohmann::ordered_json;
using Byte = std::uint8_t;

constexpr int kStates = 15;
constexpr int kTextSpace = 512;

constexpr const char* kThresholds[] = {"lower_non_critical",    "lower_critical",
                                       "lower_non_recoverable", "upper_non_critical",
                                       "upper_critical",        "upper_non_recoverable"};

/// One record under the library's eyes. Each method adds what one of its functions gives, and
/// nothing when that refuses.
class Witness {
 public:
  Witness(ipmi_sdr_ctx_t sdr, const std::vector<unsigned char>& record)
      : sdr_(sdr), bytes_(record.data()), size_(static_cast<unsigned>(record.size())) {}

  Json Run();

 private:
  void Sensor();
  void Units();
  void Events();
  void ThresholdMasks();
  void Factors();
  void Readings();
  void Thresholds();
  void Associations();
  void Locators();
  void Controller();
  void Names();
  void Oem();

  template <typename Function>
  void States(const char* key, Function parse);
  template <typename Function>
  void ThresholdEvents(const char* key, Function parse);
  template <typename Function>
  void Mask(const char* key, Function parse);

  ipmi_sdr_ctx_t sdr_;
  const unsigned char* bytes_;
  unsigned size_;
  Json json_ = Json::object();
};

void Witness::Sensor() {
  Byte a = 0;
  Byte b = 0;
  Byte c = 0;
  Byte d = 0;
  if (ipmi_sdr_parse_sensor_owner_id(sdr_, bytes_, size_, &a, &b) == 0) {
    json_["owner_id"] = b << 1 | a;
  }
  if (ipmi_sdr_parse_sensor_owner_lun(sdr_, bytes_, size_, &a, &b) == 0) {
    json_["owner_lun"] = a;
    json_["channel"] = b;
  }
  if (ipmi_sdr_parse_sensor_number(sdr_, bytes_, size_, &a) == 0) json_["sensor_number"] = a;
  if (ipmi_sdr_parse_entity_id_instance_type(sdr_, bytes_, size_, &a, &b, &c) == 0) {
    json_["entity_id"] = a;
    json_["entity_instance"] = b;
    json_["entity_logical"] = c != 0;
  }
  if (ipmi_sdr_parse_sensor_type(sdr_, bytes_, size_, &a) == 0) json_["sensor_type"] = a;
  if (ipmi_sdr_parse_event_reading_type_code(sdr_, bytes_, size_, &a) == 0) {
    json_["event_type"] = a;
  }
  if (ipmi_sdr_parse_sensor_direction(sdr_, bytes_, size_, &a) == 0) json_["direction"] = a;
  if (ipmi_sdr_parse_hysteresis(sdr_, bytes_, size_, &a, &b) == 0) {
    json_["hysteresis"] = {{"positive", a}, {"negative", b}};
  }
  if (ipmi_sdr_parse_sensor_record_sharing(sdr_, bytes_, size_, &a, &b, &c, &d) == 0) {
    json_["share_count"] = a;
    json_["id_modifier"] = b;
    json_["id_modifier_offset"] = c;
    json_["entity_instance_sharing"] = d != 0;
  }
}

void Witness::Units() {
  Byte percent = 0;
  Byte modifier = 0;
  Byte rate = 0;
  Byte base = 0;
  Byte modifier_unit = 0;
  if (ipmi_sdr_parse_sensor_units(sdr_, bytes_, size_, &percent, &modifier, &rate, &base,
                                  &modifier_unit) != 0) {
    return;
  }
  json_["rate_unit"] = rate;
  json_["base_unit"] = base;
  json_["modifier_unit"] = modifier_unit;
}

template <typename Function>
void Witness::States(const char* key, Function parse) {
  std::array<Byte, kStates> s{};
  if (parse(sdr_, bytes_, size_, &s[0], &s[1], &s[2], &s[3], &s[4], &s[5], &s[6], &s[7], &s[8],
            &s[9], &s[10], &s[11], &s[12], &s[13], &s[14]) != 0) {
    return;
  }
  Json offsets = Json::array();
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] != 0) offsets.push_back(i);
  }
  json_[key] = std::move(offsets);
}

template <typename Function>
void Witness::ThresholdEvents(const char* key, Function parse) {
  std::array<Byte, 12> s{};
  if (parse(sdr_, bytes_, size_, &s[0], &s[1], &s[2], &s[3], &s[4], &s[5], &s[6], &s[7], &s[8],
            &s[9], &s[10], &s[11]) != 0) {
    return;
  }
  Json offsets = Json::array();
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] != 0) offsets.push_back(i);
  }
  json_[key] = std::move(offsets);
}

void Witness::Events() {
  States("assertion_events", ipmi_sdr_parse_assertion_supported);
  States("deassertion_events", ipmi_sdr_parse_deassertion_supported);
  ThresholdEvents("assertion_events", ipmi_sdr_parse_threshold_assertion_supported);
  ThresholdEvents("deassertion_events", ipmi_sdr_parse_threshold_deassertion_supported);
}

template <typename Function>
void Witness::Mask(const char* key, Function parse) {
  std::array<Byte, 6> s{};
  if (parse(sdr_, bytes_, size_, &s[0], &s[1], &s[2], &s[3], &s[4], &s[5]) != 0) return;
  Json names = Json::array();
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] != 0) names.push_back(kThresholds[i]);
  }
  json_[key] = std::move(names);
}

void Witness::ThresholdMasks() {
  Mask("readable_thresholds", ipmi_sdr_parse_threshold_readable);
  Mask("settable_thresholds", ipmi_sdr_parse_threshold_settable);
}

void Witness::Factors() {
  std::int8_t r_exp = 0;
  std::int8_t b_exp = 0;
  std::int16_t m = 0;
  std::int16_t b = 0;
  Byte linearization = 0;
  Byte format = 0;
  if (ipmi_sdr_parse_sensor_decoding_data(sdr_, bytes_, size_, &r_exp, &b_exp, &m, &b,
                                          &linearization, &format) == 0) {
    json_["r_exp"] = r_exp;
    json_["b_exp"] = b_exp;
    json_["m"] = m;
    json_["b"] = b;
    json_["linearization"] = linearization;
    json_["analog_format"] = format;
  }
  double* accuracy = nullptr;
  if (ipmi_sdr_parse_accuracy(sdr_, bytes_, size_, &accuracy) == 0 && accuracy != nullptr) {
    json_["accuracy_percent"] = *accuracy;
  }
  std::free(accuracy);
}

/// A null where the library gives no number, a text where it gives none that is finite.
Json Number(const double* number) {
  if (number == nullptr) return nullptr;
  if (!std::isfinite(*number)) return "not finite";
  return *number;
}

void Witness::Readings() {
  Byte nominal = 0;
  Byte normal_max = 0;
  Byte normal_min = 0;
  if (ipmi_sdr_parse_sensor_reading_ranges_specified(sdr_, bytes_, size_, &nominal, &normal_max,
                                                     &normal_min) == 0) {
    json_["specified"] = {nominal != 0, normal_max != 0, normal_min != 0};
  }
  std::array<double*, 5> r{};
  if (ipmi_sdr_parse_sensor_reading_ranges(sdr_, bytes_, size_, &r[0], &r[1], &r[2], &r[3],
                                           &r[4]) == 0) {
    json_["readings"] = {Number(r[0]), Number(r[1]), Number(r[2]), Number(r[3]), Number(r[4])};
  }
  for (double* const reading : r) std::free(reading);
}

void Witness::Thresholds() {
  std::array<double*, 6> t{};
  if (ipmi_sdr_parse_thresholds(sdr_, bytes_, size_, &t[0], &t[1], &t[2], &t[3], &t[4], &t[5]) ==
      0) {
    for (std::size_t i = 0; i < t.size(); ++i)
      json_["threshold_values"][kThresholds[i]] = Number(t[i]);
  }
  for (double* const threshold : t) std::free(threshold);
  std::array<Byte, 6> raw{};
  if (ipmi_sdr_parse_thresholds_raw(sdr_, bytes_, size_, &raw[0], &raw[1], &raw[2], &raw[3],
                                    &raw[4], &raw[5]) == 0) {
    for (std::size_t i = 0; i < raw.size(); ++i) json_["threshold_raws"][kThresholds[i]] = raw[i];
  }
}

void Witness::Associations() {
  Byte id = 0;
  Byte instance = 0;
  if (ipmi_sdr_parse_container_entity(sdr_, bytes_, size_, &id, &instance) == 0) {
    json_["entity_id"] = id;
    json_["entity_instance_byte"] = instance;
  }
}

void Witness::Locators() {
  std::array<Byte, 7> f{};
  if (ipmi_sdr_parse_device_type(sdr_, bytes_, size_, &f[0], &f[1]) == 0) {
    json_["device_type"] = f[0];
    json_["device_type_modifier"] = f[1];
  }
  if (ipmi_sdr_parse_generic_device_locator_parameters(sdr_, bytes_, size_, &f[0], &f[1], &f[2],
                                                       &f[3], &f[4], &f[5], &f[6]) == 0) {
    json_["access_address"] = f[0] << 1;
    json_["channel"] = f[1];
    json_["slave_address"] = f[2] << 1;
    json_["oem"] = f[6];
  }
  if (ipmi_sdr_parse_fru_device_locator_parameters(sdr_, bytes_, size_, &f[0], &f[1], &f[2], &f[3],
                                                   &f[4], &f[5]) == 0) {
    json_["device_address"] = f[0] << 1;
    json_["logical"] = f[4] != 0;
    json_["fru_id"] = f[1];
    json_["channel"] = f[5];
  }
  if (ipmi_sdr_parse_fru_entity_id_and_instance(sdr_, bytes_, size_, &f[0], &f[1]) == 0) {
    json_["entity_id"] = f[0];
    json_["entity_instance_byte"] = f[1];
  }
}

void Witness::Controller() {
  constexpr const char* kCapabilities[] = {
      "Sensor Device",       "SDR Repository Device", "SEL Device", "FRU Inventory Device",
      "IPMB Event Receiver", "IPMB Event Generator",  "Bridge",     "Chassis Device"};
  std::array<Byte, 16> f{};
  if (ipmi_sdr_parse_management_controller_device_locator_parameters(
          sdr_, bytes_, size_, &f[0], &f[1], &f[2], &f[3], &f[4], &f[5], &f[6], &f[7], &f[8], &f[9],
          &f[10], &f[11], &f[12], &f[13], &f[14], &f[15]) != 0) {
    return;
  }
  json_["device_address"] = f[0] << 1;
  json_["channel"] = f[1];
  Json names = Json::array();
  for (std::size_t i = 0; i < std::size(kCapabilities); ++i) {
    if (f[8 + i] != 0) names.push_back(kCapabilities[i]);
  }
  json_["device_capabilities"] = std::move(names);
}

/// The library hands out the bytes of the name as they stand.
void Witness::Names() {
  std::array<char, kTextSpace> text{};
  int length = ipmi_sdr_parse_id_string(sdr_, bytes_, size_, text.data(), kTextSpace);
  if (length < 0) {
    length = ipmi_sdr_parse_device_id_string(sdr_, bytes_, size_, text.data(), kTextSpace);
  }
  if (length < 0) return;
  Json name = Json::array();
  for (int i = 0; i < length; ++i) {
    name.push_back(static_cast<unsigned char>(text[static_cast<std::size_t>(i)]));
  }
  json_["name_bytes"] = std::move(name);
}

void Witness::Oem() {
  std::uint32_t manufacturer = 0;
  if (ipmi_sdr_parse_manufacturer_id(sdr_, bytes_, size_, &manufacturer) == 0) {
    json_["manufacturer_id"] = manufacturer;
  }
  std::array<Byte, kTextSpace> data{};
  const int length = ipmi_sdr_parse_oem_data(sdr_, bytes_, size_, data.data(), kTextSpace);
  if (length < 0) return;
  json_["data"] = Json(std::vector<Byte>(data.begin(), data.begin() + length));
}

Json Witness::Run() {
  std::uint16_t id = 0;
  Byte type = 0;
  if (ipmi_sdr_parse_record_id_and_type(sdr_, bytes_, size_, &id, &type) != 0) return json_;
  json_["record_id"] = id;
  json_["type"] = type;
  Sensor();
  Units();
  Events();
  ThresholdMasks();
  Factors();
  Readings();
  Thresholds();
  Associations();
  Locators();
  Controller();
  Names();
  Oem();
  return json_;
}

constexpr int kLastUnit = 92;
constexpr int kLastSensorType = 0x2C;
constexpr int kLastEntity = 0x35;
constexpr int kLastEventType = 0x0C;

void WriteNames() {
  Json names;
  for (int i = 0; i <= kLastUnit; ++i) names["unit"][std::to_string(i)] = ipmi_sensor_units[i];
  for (int i = 0; i <= kLastSensorType; ++i) {
    names["sensor_type"][std::to_string(i)] = ipmi_sensor_types[i];
  }
  for (int i = 0; i <= kLastEntity; ++i) {
    names["entity"][std::to_string(i)] = ipmi_entity_ids[i];
  }
  std::array<char, kTextSpace> text{};
  for (unsigned offset = 0; offset < kStates; ++offset) {
    for (int type = 0; type <= kLastEventType; ++type) {
      if (ipmi_get_generic_event_message(static_cast<Byte>(type), offset, text.data(), kTextSpace) >
          0) {
        names["generic_state"][std::to_string(type) + "." + std::to_string(offset)] = text.data();
      }
    }
    for (int type = 0; type <= kLastSensorType; ++type) {
      if (ipmi_get_sensor_type_message(static_cast<Byte>(type), offset, text.data(), kTextSpace) >
          0) {
        names["specific_state"][std::to_string(type) + "." + std::to_string(offset)] = text.data();
      }
    }
  }
  std::cout << names.dump() << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "--names") {
    WriteNames();
    return 0;
  }
  const ipmi_sdr_ctx_t sdr = ipmi_sdr_ctx_create();
  if (sdr == nullptr) return 1;
  std::vector<unsigned char> record;
  while (tarvek_test::NextRecord(&record)) std::cout << Witness(sdr, record).Run().dump() << '\n';
  ipmi_sdr_ctx_destroy(sdr);
  return 0;
}
