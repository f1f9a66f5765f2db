// The kernel's IPMI driver: its modules, and what keeps them from being loaded.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "control/doctor/doctor.h"

namespace tarvek::control {

inline constexpr std::array kIpmiModules{"ipmi_msghandler", "ipmi_devintf", "ipmi_si"};

/// Loads them; msghandler comes with either.
inline constexpr const char* kLoadModules = "modprobe -a ipmi_si ipmi_devintf";

/// A file of modprobe.d.
struct ModprobeFile {
  std::string path;
  std::string text;
};

struct ModuleTexts {
  std::string release;                 // of the kernel
  std::string loaded;                  // /proc/modules
  std::string built_in;                // modules.builtin
  std::string available;               // modules.dep
  std::vector<ModprobeFile> modprobe;  // in force
};

enum class ModuleState {
  kLoaded,
  kBuiltIn,
  kBlocked,      // modprobe is told to do something else in place of loading it
  kBlacklisted,  // not loaded by itself
  kAvailable,
  kMissing,
};

struct Module {
  std::string name;
  ModuleState state = ModuleState::kMissing;
  std::string place;  // of kBlocked and kBlacklisted: FILE:LINE
};

/// @param name  with "_", as it is loaded; in files "-" may stand for it.
Module LookAtModule(const char* name, const ModuleTexts& texts);

/// @param has_node  a driver's node is there: then nothing of this is missed.
Finding ModulesFinding(const ModuleTexts& texts, bool has_node);

/// Whether all of them are there, so that a node that is missing is for want of a BMC.
bool HasDriver(const ModuleTexts& texts);

}  // namespace tarvek::control
