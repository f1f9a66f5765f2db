// The operating system's IPMI driver: found once per run, one raw exchange at a time.
//
// A signal that ends the run does so at once also while an answer is waited for. Through OpenIPMI,
// where sending and receiving are calls that take no time, its handler knows at every moment
// whether a SparedSDR request has gone out and whether it was refused (spared_mode.h). The maker's
// driver does all in one call: from just before to just after it the request counts as sent and not
// yet answered.
#pragma once

inline int ipmi_fd = 0;    // left open by the driver search; used by every OpenIPMI request
inline int kov_ipmi = 0;   // 1: the maker's driver node was opened
inline int open_ipmi = 0;  // 1: an OpenIPMI node was opened

inline constexpr int kDriverFailure = 10;   // Bmc_Access2(): the driver failed
inline constexpr int kDriverNotOpened = 9;  // Bmc_Access2(): no driver; never returned by it

/// Finds and opens the IPMI driver: the maker's node "/dev/ipmidev" before everything, then the
/// OpenIPMI nodes "/dev/ipmidev/0", "/dev/ipmi0", "/dev/ipmi/0". Logs which one is used.
/// @return 0, or -1 when none could be opened (not logged).
int SearchIpmiDriver();

/// Sends one request to the BMC and waits for its answer, as long as the driver takes.
///
/// @param req      request image, `len` bytes: NetFn/LUN, command, data.
/// @param resp     receives the response image; must hold `*resplen` + 2 bytes.
/// @param resplen  in: capacity of `resp` behind its two header bytes. Out: bytes in `resp`, as
///   one byte (256 becomes 0); left alone on failure. A longer answer is cut.
/// @return 0, or 10 when the driver failed; nothing is logged here.
int Bmc_Access2(const unsigned char* req, unsigned char len, unsigned char* resp,
                unsigned char* resplen);

/// Sends a request of a run that a signal is ending, and drops its answer when it has come: an
/// earlier request may still be on its way. Does only what a signal handler may do. Returns at
/// once when the driver fails.
void Bmc_SendLast(const unsigned char* req, unsigned char len);

/// The OpenIPMI half of Bmc_Access2(), with its arguments.
/// @return 0, or 1 when sending, waiting or receiving failed.
int ipmiAccess_openIpmi(const unsigned char* req, unsigned char len, unsigned char* resp,
                        unsigned char* resplen);
