// The question that a direct update asks before it changes anything.
#pragma once

namespace tarvek {

/// Asks on the console until the operator answers y or n. The end of standard input is a no.
/// @return true for yes.
bool AskForConfirmation();

}  // namespace tarvek
