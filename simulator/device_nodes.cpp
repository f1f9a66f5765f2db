#include "simulator/device_nodes.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "simulator/run_environment.h"

namespace bmcsim {

void DeviceNodes::Set(const char* openipmi, const char* maker) {
  openipmi_ = openipmi;
  maker_ = maker;
}

Driver DeviceNodes::DriverOf(const char* path) const {
  if (maker_ != nullptr && std::strcmp(path, maker_) == 0) return Driver::kMaker;
  if (openipmi_ != nullptr && std::strcmp(path, openipmi_) == 0) return Driver::kOpenIpmi;
  return Driver::kNone;
}

bool DeviceNodes::IsKnown(const char* path) {
  return std::any_of(std::begin(kKnownNodes), std::end(kKnownNodes),
                     [path](const char* node) { return std::strcmp(path, node) == 0; });
}

bool DeviceNodes::IsDirectory(const char* path) const {
  const std::size_t length = std::strlen(kMakerNode);
  return openipmi_ != nullptr && std::strcmp(path, kMakerNode) == 0 &&
         std::strncmp(openipmi_, kMakerNode, length) == 0 && openipmi_[length] == '/';
}

Port* DeviceNodes::FindFree() {
  auto* port = std::find_if(ports_.begin(), ports_.end(), [](const Port& p) { return p.fd == -1; });
  return port == ports_.end() ? nullptr : port;
}

Port* DeviceNodes::Find(int fd) {
  if (fd < 0) return nullptr;
  auto* port =
      std::find_if(ports_.begin(), ports_.end(), [fd](const Port& p) { return p.fd == fd; });
  return port == ports_.end() ? nullptr : port;
}

}  // namespace bmcsim
