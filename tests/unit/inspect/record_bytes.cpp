#include "tests/unit/inspect/record_bytes.h"

#include <string>

namespace tarvek_test {

namespace {

int Nibble(char c) { return c <= '9' ? c - '0' : c - 'A' + 10; }

}  // namespace

Bytes FromHex(std::string_view hex) {
  Bytes bytes;
  int high = -1;
  for (const char c : hex) {
    if (c == ' ') continue;
    if (high < 0) {
      high = Nibble(c);
    } else {
      bytes.push_back(static_cast<unsigned char>(high << 4 | Nibble(c)));
      high = -1;
    }
  }
  return bytes;
}

std::string ToHex(const Bytes& bytes) {
  std::string text;
  for (const unsigned char byte : bytes) {
    text += "0123456789ABCDEF"[byte >> 4];
    text += "0123456789ABCDEF"[byte & 15];
  }
  return text;
}

Bytes With(Bytes bytes, std::initializer_list<std::pair<std::size_t, int>> changes) {
  for (const auto& [offset, value] : changes) bytes.at(offset) = static_cast<unsigned char>(value);
  return bytes;
}

Bytes CutTo(Bytes bytes, std::size_t size) {
  bytes.resize(size);
  if (size >= 5) bytes[4] = static_cast<unsigned char>(size - 5);
  return bytes;
}

const Sample kFull{"full", 0x01,
                   "34 12 51 01 31"                                   // header
                   "20 31 07 03 81 7F 68 01 01"                       // to event type
                   "80 7A 38 38 2A 15"                                // masks
                   "80 01 00 00 14 C5 F6 41 5A E1 07"                 // units, factors, flags
                   "28 50 0A 7F 80 69 64 5F 05 0A 0F 02 03 00 00 5C"  // readings, OEM
                   "C6 43 50 55 20 54 31"};                           // "CPU T1"
const Sample kFullDiscrete{"full discrete", 0x01,
                           "02 00 51 01 2F 20 00 08 07 01 67 40 07 6F 81 01 82 02 83 00"
                           "C0 00 00 00 01 00 00 00 00 00 00 01 02 03 04 05 06 07 08 09 0A 0B"
                           "0C 0D 00 00 0E C4 50 72 6F 63"};
const Sample kCompact{"compact", 0x02,
                      "03 00 51 02 20 22 52 10 1D 05 67 40 04 03 03 80 01 00 02 00"
                      "18 12 16 63 8A 04 05 00 00 00 77 C5 46 61 6E 20 31"};
const Sample kEventOnly{"event-only", 0x03,
                        "04 00 51 03 13 41 73 11 20 E1 0C 6F 92 05 00 66 C7 50 6F 73 74 20 4D 31"};
const Sample kAssociation{"association", 0x08, "05 00 51 08 0B 17 82 20 0A 01 0A 82 1D 03 00 00"};
const Sample kDeviceAssociation{
    "device association", 0x09,
    "06 00 51 09 1B 17 61 20 70 E0 22 10 0A 61 22 10 0A 64 24 30 1D 01 24 30 1D 04"
    "00 00 00 00 00 00"};
const Sample kGenericLocator{"generic locator", 0x10,
                             "07 00 51 10 10 20 A1 5D 03 00 09 02 08 84 55 C5 44 49 4D 4D 31"};
const Sample kFruLocator{"FRU locator", 0x11,
                         "08 00 51 11 0F 20 05 9B 60 00 10 02 0A 03 44 C4 50 53 55 33"};
const Sample kControllerLocator{"controller locator", 0x12,
                                "09 00 51 12 0E 20 07 E9 BF 00 00 00 07 01 33 C3 42 4D 43"};
const Sample kConfirmation{"confirmation", 0x13,
                           "0A 00 51 13 1B 20 01 72 85 46 02 77 01 02 A3 01"
                           "00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF"};
const Sample kChannelInfo{"channel info", 0x14, "0B 00 51 14 0B 81 82 04 05 26 0F 00 9C 01 02 00"};
const Sample kOem{"OEM", 0xC0, "0C 00 51 C0 07 77 01 02 10 20 30 40"};
const Sample kUnknown{"unknown", 0x42, "0D 00 51 42 03 01 02 03"};

std::initializer_list<const Sample*> Samples() {
  static constexpr std::initializer_list<const Sample*> kAll = {
      &kFull,           &kFullDiscrete, &kCompact,
      &kEventOnly,      &kAssociation,  &kDeviceAssociation,
      &kGenericLocator, &kFruLocator,   &kControllerLocator,
      &kConfirmation,   &kChannelInfo,  &kOem,
      &kUnknown};
  return kAll;
}

Record DecodeHex(std::string_view hex) { return tarvek::inspect::Decode(FromHex(hex)); }

}  // namespace tarvek_test
