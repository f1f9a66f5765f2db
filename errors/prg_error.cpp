#include "errors/prg_error.h"

#include <algorithm>
#include <string_view>

#include "driver/reporting/history_log.h"
#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "driver/reporting/text_format.h"

namespace {

constexpr std::string_view kPrefix = "Error, ";
constexpr std::size_t kScratchSize = 256;  // bytes of a formatted text, the terminator included

/// The catalogue text with `value` in place of the conversion in it.
tarvek::Text Substitute(std::string_view text, std::string_view conversion,
                        std::string_view value) {
  const std::size_t at = std::min(text.find(conversion), text.size());
  tarvek::FixedText<kScratchSize> formatted(text.substr(0, at));
  formatted.Append(value).Append(text.substr(std::min(at + conversion.size(), text.size())));
  return formatted.view();
}

tarvek::Text AppendDetail(std::string_view text, std::string_view link, const char* detail) {
  tarvek::Text message(text);
  if (detail != nullptr) message.Append(link).Append(detail);
  return message;
}

tarvek::Text MessageText(const CatalogueEntry& entry, unsigned short number, const char* detail) {
  switch (entry.extra) {
    case Extra::kCode:
      return AppendDetail(entry.text, " code = ", detail);
    case Extra::kCommand:
      return AppendDetail(entry.text, " command = ", detail);
    case Extra::kDetail:
      return AppendDetail(entry.text, " ", detail);
    case Extra::kNumber:
      return Substitute(entry.text, "%d", tarvek::Format("%d", number));
    case Extra::kText:
      return Substitute(entry.text, "%s", detail != nullptr ? detail : "");
    case Extra::kNone:
      break;
  }
  return entry.text;
}

}  // namespace

ESTATUS PrgError::Display(ESTATUS status, ERR_TYPE_FRUSDR /*type*/, unsigned short number,
                          const char* detail) const {
  if (status == kSuccess) return kSuccess;
  // Callers rely on 80 being quietly taken for 81: both were reported already.
  if (status == kReportedSilently || status == kReported) return kReported;

  const CatalogueEntry* const entry = FindCatalogueEntry(status);
  tarvek::Text message(kPrefix);
  if (entry != nullptr) {
    message.Append(MessageText(*entry, number, detail));
  } else {
    status = kReported;
  }
  Bmc_HistoryLog(message);
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
