#include "inspect/input/log_catcher.h"

#include <utility>

namespace tarvek::inspect {
namespace {

constexpr std::string_view kErrorPrefix = "Error, ";

/// Whether a message is what the catalogue makes of an entry.
bool IsMessageOf(const CatalogueEntry& entry, std::string_view message) {
  const bool substitutes = entry.extra == Extra::kNumber || entry.extra == Extra::kText;
  if (!substitutes) {
    return entry.extra == Extra::kNone ? message == entry.text : message.starts_with(entry.text);
  }
  constexpr std::size_t kConversion = 2;  // characters of "%d" and "%s"
  const std::size_t at = entry.text.find('%');
  return message.starts_with(entry.text.substr(0, at)) &&
         message.ends_with(entry.text.substr(at + kConversion));
}

}  // namespace

// Of two that fit, the later one has the longer text.
ESTATUS StatusOfMessage(std::string_view message) {
  for (ESTATUS status = kLastCatalogued; status > kSuccess; --status) {
    if (IsMessageOf(*FindCatalogueEntry(status), message)) return status;
  }
  return kReported;
}

LogCatcher::LogCatcher(OnError on_error)
    : on_error_(std::move(on_error)), before_(SetLogSink(this)) {}

LogCatcher::~LogCatcher() { SetLogSink(before_); }

void LogCatcher::Line(std::string_view text) {
  if (text.substr(0, kErrorPrefix.size()) != kErrorPrefix) return;
  text.remove_prefix(kErrorPrefix.size());
  on_error_(StatusOfMessage(text), text);
}

}  // namespace tarvek::inspect
