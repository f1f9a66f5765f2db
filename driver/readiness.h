// The gate before any other BMC traffic: SDR data only goes to boards it was made for.
#pragma once

inline const char* mchk_fil_filename = "mchk_fil";  // list of hardware IDs; no option changes it

/// Asks the BMC for its identity and looks its product ID up, as four hexadecimal digits of
/// either case, anywhere in a line of the hardware-ID list.
/// @return 0 when the BMC answers and is listed; 1 otherwise, reported already.
int GetBmcStatus();
