#include "driver/confirmation.h"

#include <cstdio>

#include "driver/reporting/console.h"

namespace tarvek {
namespace {

/// Discards the rest of the line, up to 97 characters of it; what is longer is the next answer.
void DiscardLine() {
  constexpr int kMostDiscarded = 97;
  for (int n = 0; n < kMostDiscarded; ++n) {
    const int c = std::getchar();
    if (c == '\n' || c == EOF) return;
  }
}

}  // namespace

bool AskForConfirmation() {
  for (;;) {
    ConsoleWrite("Do you really update it?[y/n]\n");
    const int answer = std::getchar();
    if (answer == EOF) return false;
    if (answer == 'y' || answer == 'Y' || answer == 'n' || answer == 'N') {
      DiscardLine();
      return answer == 'y' || answer == 'Y';
    }
    ConsoleWrite("The input value is invalid. Please input it again. \r\n");
    if (answer != '\n') DiscardLine();
  }
}

}  // namespace tarvek
