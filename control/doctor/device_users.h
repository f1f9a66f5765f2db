// Which programs have an IPMI driver's node open.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "control/doctor/doctor.h"

namespace tarvek::control {

struct DeviceUser {
  pid_t pid = 0;
  std::string name;  // not escaped
  std::string node;
};

struct DeviceUsers {
  std::vector<DeviceUser> users;
  int unseen = 0;  // processes that could not be looked at
};

/// Looks through every process but this one.
/// @param processes  where they are: "/proc".
DeviceUsers FindDeviceUsers(const std::string& processes);

Finding DeviceUsersFinding(const DeviceUsers& found);

}  // namespace tarvek::control
