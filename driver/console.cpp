#include "driver/console.h"

#include <cstdio>
#include <string>

#include "driver/run_settings.h"

namespace tarvek {

void ConsoleWrite(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void ConsoleCounter(int n) {
  if (g_display_flg == 1) ConsoleWrite(" ----- > #" + std::to_string(n) + "\r");
}

void ConsoleCounterEnd() {
  if (g_display_flg == 1) ConsoleWrite("\n");
}

}  // namespace tarvek
