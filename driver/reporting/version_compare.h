// The gate between an input and the BMC: only strictly newer SDR data goes in.
#pragma once

/// Compares the SDR version of the input with the BMC's, reducing both globals in place to
/// the field that is compared.
///
/// @return 0 when the caller may program the BMC (a forced update always may). 1 when it must
///   stop; the outcome is in the result file then: "SDRC07" (the input has no version), the
///   answer of a version query, or "Down Grade".
int CompareBmcVersion();
