#ifndef TARVEK_SIMULATOR_RUN_ENVIRONMENT_H_
#define TARVEK_SIMULATOR_RUN_ENVIRONMENT_H_

namespace bmcsim {

// The environment variables through which the launcher tells the preload library what to do.

inline constexpr char kStateVariable[] = "BMCSIM_STATE";  ///< absolute path of the state file
/// The device node of each driver, absolute; one that is not set has no node.
inline constexpr char kOpenIpmiNodeVariable[] = "BMCSIM_OPENIPMI_NODE";
inline constexpr char kMakerNodeVariable[] = "BMCSIM_MAKER_NODE";
inline constexpr char kFaultVariable[] = "BMCSIM_FAULT";      ///< the fault plan's text
inline constexpr char kStrikesVariable[] = "BMCSIM_STRIKES";  ///< where the strikes are noted
inline constexpr char kTraceVariable[] = "BMCSIM_TRACE";      ///< absolute path of the trace
inline constexpr char kClockVariable[] = "BMCSIM_CLOCK";      ///< as --clock
inline constexpr char kStatsVariable[] = "BMCSIM_STATS";      ///< absolute path of the statistics

inline constexpr char kPreloadLibrary[] = "libbmcsim.so";

// Every place where a driver's node may be.
inline constexpr char kMakerNode[] = "/dev/ipmidev";
inline constexpr const char* kKnownNodes[] = {kMakerNode, "/dev/ipmidev/0", "/dev/ipmi0",
                                              "/dev/ipmi/0"};
inline constexpr char kDefaultOpenIpmiNode[] = "/dev/ipmi0";

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_RUN_ENVIRONMENT_H_
