// Which process has a file mapped.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "control/lock/run_lock.h"

namespace tarvek::control {

struct HolderSearch {
  std::optional<LockHolder> holder;
  std::string unseen;  // without a holder: what could not be looked at, and why; empty: nothing
};

/// Looks through every process for one that has the file mapped. One that ends meanwhile has not.
/// @param processes  where they are: "/proc".
HolderSearch FindHolder(const std::string& processes, const FileIdentity& file);

/// @param line  of /proc/PID/maps: "7f40-7f41 rw-s 00000000 00:19 5   /dev/shm/sem.x (deleted)".
/// The
///   path is not looked at: any file can be given any name.
/// @return whether it is a mapping of this file.
bool IsMappingOf(std::string_view line, const FileIdentity& file);

/// Whether a run of the tool with these arguments changes nothing: a version query or a backup.
/// @param arguments  behind the program's name.
bool OnlyReads(std::span<const std::string> arguments);

}  // namespace tarvek::control
