// Whether this is a server at all: containers and virtual machines have no BMC of their own.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "control/doctor/doctor.h"

namespace tarvek::control {

struct SurroundingTexts {
  std::string systemd_container;  // /run/systemd/container
  bool has_docker_mark = false;   // /.dockerenv
  bool has_podman_mark = false;   // /run/.containerenv
  std::string first_environment;  // /proc/1/environ
  std::string vendor;             // /sys/class/dmi/id/sys_vendor
  std::string product;            // /sys/class/dmi/id/product_name
  std::string processors;         // /proc/cpuinfo
};

/// @return what kind of container this is: "docker"; empty: none.
std::string ContainerKind(const SurroundingTexts& texts);

/// @return whose virtual machine this is: "QEMU", "unknown"; empty: none.
std::string VirtualMachineKind(const SurroundingTexts& texts);

/// @param has_node  a driver's node is there: then it is worth knowing, and no more.
std::vector<Finding> SurroundingFindings(const SurroundingTexts& texts, bool has_node);

}  // namespace tarvek::control
