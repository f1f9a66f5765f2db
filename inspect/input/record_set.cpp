#include "inspect/input/record_set.h"

namespace tarvek::inspect {

const char* FormatName(Format format) {
  switch (format) {
    case Format::kSource:
      return "source";
    case Format::kScript:
      return "script";
    case Format::kImage:
      return "image";
    case Format::kRaw:
      return "raw";
    case Format::kHex:
      break;
  }
  return "hex";
}

std::string ToText(const Place& place) {
  if (place.offset) return place.file + ": offset " + std::to_string(*place.offset);
  if (place.line == 0) return place.file;
  return place.file + ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
}

}  // namespace tarvek::inspect
