#include "inspect/report/html.h"

#include <array>
#include <cstdio>

#include "inspect/text/escape.h"

namespace tarvek::inspect {
namespace {

std::string_view EntityOf(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return {};
  }
}

}  // namespace

std::string Html(std::string_view text) {
  std::string html;
  for (const char c : Escaped(text)) {
    const std::string_view entity = EntityOf(c);
    if (entity.empty()) {
      html += c;
    } else {
      html += entity;
    }
  }
  return html;
}

std::string Isolated(std::string_view text) { return "<bdi>" + Html(text) + "</bdi>"; }

std::string ShortNumber(double value) {
  std::array<char, 32> text{};
  // Adding 0 turns -0 into 0.
  std::snprintf(text.data(), text.size(), "%.6g", value + 0.0);
  return text.data();
}

std::string Counted(std::size_t count, std::string_view what) {
  return std::to_string(count) + " " + std::string(what) + (count == 1 ? "" : "s");
}

std::string HexByte(int value) {
  std::array<char, 12> text{};
  std::snprintf(text.data(), text.size(), "%02Xh", static_cast<unsigned>(value));
  return text.data();
}

}  // namespace tarvek::inspect
