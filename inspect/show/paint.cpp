#include "inspect/show/paint.h"

namespace tarvek::inspect {
namespace {

const char* CodeOf(Paint paint) {
  switch (paint) {
    case Paint::kTitle:
      return "1";
    case Paint::kFaint:
      return "2";
    case Paint::kGood:
      return "32";
    case Paint::kWarning:
      return "33";
    case Paint::kBad:
      return "31";
    case Paint::kNote:
      return "36";
    case Paint::kPlain:
      break;
  }
  return "";
}

}  // namespace

std::string Painted(std::string_view text, Paint paint, bool color) {
  if (!color || paint == Paint::kPlain) return std::string(text);
  return std::string("\x1B[") + CodeOf(paint) + 'm' + std::string(text) + "\x1B[0m";
}

}  // namespace tarvek::inspect
