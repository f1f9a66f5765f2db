#include "errors/prg_error.h"

#include <string>

#include "driver/history_log.h"
#include "driver/result_files.h"
#include "driver/run_settings.h"
#include "driver/text_format.h"

namespace {

constexpr std::string_view kPrefix = "Error, ";
constexpr std::size_t kMessageBufferSize = 1024;  // bytes, the terminator included
constexpr std::size_t kScratchBufferSize = 256;   // bytes, for a formatted text

std::string CutTo(std::string text, std::size_t buffer_size) {
  if (text.size() > buffer_size - 1) text.resize(buffer_size - 1);
  return text;
}

/// The catalogue text with `value` in place of the conversion in it.
std::string Substitute(std::string_view text, std::string_view conversion, std::string_view value) {
  std::string formatted(text);
  const std::size_t at = formatted.find(conversion);
  if (at != std::string::npos) formatted.replace(at, conversion.size(), value);
  return CutTo(formatted, kScratchBufferSize);
}

std::string AppendDetail(std::string_view text, std::string_view link, const char* detail) {
  std::string message(text);
  if (detail != nullptr) message.append(link).append(detail);
  return message;
}

std::string MessageText(const CatalogueEntry& entry, unsigned short number, const char* detail) {
  switch (entry.extra) {
    case Extra::kCode:
      return AppendDetail(entry.text, " code = ", detail);
    case Extra::kCommand:
      return AppendDetail(entry.text, " command = ", detail);
    case Extra::kDetail:
      return AppendDetail(entry.text, " ", detail);
    case Extra::kNumber:
      return Substitute(entry.text, "%d", std::to_string(number));
    case Extra::kText:
      return Substitute(entry.text, "%s", detail != nullptr ? detail : "");
    case Extra::kNone:
      break;
  }
  return std::string(entry.text);
}

}  // namespace

ESTATUS PrgError::Display(ESTATUS status, ERR_TYPE_FRUSDR /*type*/, unsigned short number,
                          const char* detail) const {
  if (status == kSuccess) return kSuccess;
  // Callers rely on 80 being quietly taken for 81: both were reported already.
  if (status == kReportedSilently || status == kReported) return kReported;

  const CatalogueEntry* const entry = FindCatalogueEntry(status);
  std::string message(kPrefix);
  if (entry != nullptr) {
    message += MessageText(*entry, number, detail);
  } else {
    status = kReported;
  }
  Bmc_HistoryLog(CutTo(message, kMessageBufferSize));
  if (entry != nullptr && entry->shows_exchange) {
    Bmc_HistoryLog(ipmi_snd_image);
    Bmc_HistoryLog(ipmi_rcv_image);
  }

  if (g_direct_flg != 1 && g_eu_flg != kBackup && firstError) {
    XmlWrite(g_eu_flg, tarvek::Format("SDR%03d", status), "", "");
    firstError = false;
  }
  return status;
}
