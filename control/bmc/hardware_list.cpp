#include <algorithm>
#include <cctype>

#include "control/bmc/bmc.h"
#include "driver/reporting/text_format.h"

namespace tarvek::control {
namespace {

constexpr std::size_t kLongestLine = 255;  // characters, its line feed included

char LowerCase(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

}  // namespace

std::string DeviceId::ProductText() const { return Format("%04x", product).c_str(); }

bool ListNames(std::string_view list, const DeviceId& device) {
  const std::string digits = device.ProductText();
  while (!list.empty()) {
    std::string_view line = list.substr(0, kLongestLine);
    line = line.substr(0, std::min(line.find('\n'), line.size() - 1) + 1);
    list.remove_prefix(line.size());
    std::string text(line.substr(0, line.find('\0')));
    std::transform(text.begin(), text.end(), text.begin(), LowerCase);
    if (text.find(digits) != std::string::npos) return true;
  }
  return false;
}

}  // namespace tarvek::control
