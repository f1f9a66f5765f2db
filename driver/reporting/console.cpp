#include "driver/reporting/console.h"

#include <cstdio>

#include "driver/reporting/run_settings.h"
#include "driver/reporting/text_format.h"

namespace tarvek {

void ConsoleWrite(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void ConsoleWriteLine(std::string_view text) {
  // An empty text may have no place at all, and a write wants one.
  if (!text.empty()) std::fwrite(text.data(), 1, text.size(), stdout);
  if (text.empty() || text.back() != '\n') std::fputc('\n', stdout);
  std::fflush(stdout);
}

void ConsoleCounter(int n) {
  if (g_display_flg == 1) ConsoleWrite(Format(" ----- > #%d\r", n));
}

void ConsoleCounterEnd() {
  if (g_display_flg == 1) ConsoleWrite("\n");
}

}  // namespace tarvek
