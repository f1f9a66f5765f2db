#ifndef TARVEK_SIMULATOR_QEMU_SERVER_H_
#define TARVEK_SIMULATOR_QEMU_SERVER_H_

#include <string>

#include "simulator/fault_plan.h"
#include "simulator/state_file.h"

namespace bmcsim {

/// Is the BMC of QEMU machines, one after the other, until SIGTERM, SIGINT or SIGHUP comes.
///
/// A signal of the fault plan strikes this process itself: the program that asks is in the guest,
/// and SIGKILL makes a BMC that dies.
///
/// @param state   the BMC's memory, open.
/// @param trace   file to append the trace to; empty: none.
/// @param socket  path of the unix socket to make; removed at the end. One that nobody listens on
///                any more is replaced.
/// @param error   receives what went wrong, for people, when the result is false.
/// @return true once it was told to stop.
bool ServeQemu(StateFile& state, FaultPlan& plan, const std::string& trace,
               const std::string& socket, std::string& error);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_QEMU_SERVER_H_
