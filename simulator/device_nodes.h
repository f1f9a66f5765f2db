#ifndef TARVEK_SIMULATOR_DEVICE_NODES_H_
#define TARVEK_SIMULATOR_DEVICE_NODES_H_

#include <array>
#include <cstddef>
#include <cstdint>

#include "simulator/driver_calls.h"

namespace bmcsim {

enum class Driver : std::uint8_t { kNone, kOpenIpmi, kMaker };

/// An open descriptor of a simulated node.
struct Port {
  int fd = -1;
  Driver driver = Driver::kNone;
  OpenIpmiQueue queue;
};

/// The device nodes of the simulated machine: which paths they have, and the descriptors of them
/// that the program has open.
class DeviceNodes {
 public:
  constexpr DeviceNodes() = default;

  /// @param openipmi  the OpenIPMI node's path, null: there is none; must stay where it is.
  /// @param maker     the maker's node's path, likewise.
  void Set(const char* openipmi, const char* maker);

  /// @return which driver's node the path is; kNone also for other paths.
  Driver DriverOf(const char* path) const;

  /// @return whether the path is one that a driver's node may have.
  static bool IsKnown(const char* path);

  /// @return whether the path is the directory in which the OpenIPMI node stands.
  bool IsDirectory(const char* path) const;

  /// @return a port that no descriptor is at, or null when all are in use.
  Port* FindFree();

  /// @return the port at this descriptor, or null.
  Port* Find(int fd);

 private:
  static constexpr std::size_t kMaxPorts = 16;

  const char* openipmi_ = nullptr;
  const char* maker_ = nullptr;
  std::array<Port, kMaxPorts> ports_{};
};

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_DEVICE_NODES_H_
