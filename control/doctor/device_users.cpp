#include "control/doctor/device_users.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <functional>
#include <memory>

#include "control/doctor/device_nodes.h"
#include "control/doctor/finding.h"
#include "control/system/small_file.h"

namespace tarvek::control {
namespace {

constexpr const char* kSubject = "programs";
constexpr std::size_t kMostNamed = 8;

/// Calls `act` with each name in a directory until it returns false.
/// @return why the directory cannot be read, or 0.
int ForEachName(const std::string& path, const std::function<bool(const char*)>& act) {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(path.c_str()), closedir);
  if (directory == nullptr) return errno;
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(directory.get());
    if (entry == nullptr) return errno;
    if (!act(entry->d_name)) return 0;
  }
}

std::string LinkAt(const std::string& path) {
  constexpr std::size_t kLongerThanAnyNode = 64;
  std::array<char, kLongerThanAnyNode> target{};
  const ssize_t length = readlink(path.c_str(), target.data(), target.size());
  return {target.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

bool IsNode(const std::string& path) {
  return std::find(kDriverNodes.begin(), kDriverNodes.end(), path) != kDriverNodes.end();
}

std::string NameOf(const std::string& process) {
  constexpr std::size_t kLongestName = 64;
  const std::string text = ReadSmallFile(AT_FDCWD, process + "/comm", kLongestName).bytes;
  return text.substr(0, text.find('\n'));
}

void LookAtProcess(const std::string& process, pid_t pid, DeviceUsers& found) {
  const std::string descriptors = process + "/fd";
  const int error = ForEachName(descriptors, [&](const char* name) {
    const std::string target = LinkAt(descriptors + "/" + name);
    if (!IsNode(target)) return true;
    found.users.push_back({pid, NameOf(process), target});
    return false;
  });
  if (error == EACCES || error == EPERM) ++found.unseen;
}

}  // namespace

DeviceUsers FindDeviceUsers(const std::string& processes) {
  DeviceUsers found;
  const pid_t self = getpid();
  ForEachName(processes, [&](const char* name) {
    pid_t pid = 0;
    const char* const end = name + std::char_traits<char>::length(name);
    const auto [stop, error] = std::from_chars(name, end, pid);
    const bool is_process = error == std::errc() && stop == end && pid > 0;
    if (is_process && pid != self) LookAtProcess(processes + "/" + name, pid, found);
    return true;
  });
  return found;
}

Finding DeviceUsersFinding(const DeviceUsers& found) {
  const std::string unseen =
      found.unseen == 0 ? ""
                        : "; " + std::to_string(found.unseen) + " processes could not be looked at";
  if (found.users.empty()) {
    return Good(kSubject, "No program has the driver's node open" + unseen + ".");
  }
  std::vector<std::string> names;
  for (const DeviceUser& user : found.users) {
    if (names.size() == kMostNamed) break;
    names.push_back(user.name + " (process " + std::to_string(user.pid) + ", " + user.node + ")");
  }
  if (names.size() < found.users.size()) {
    names.push_back(std::to_string(found.users.size() - names.size()) + " more");
  }
  return Note(
      kSubject, "The BMC is used by " + Enumeration(names) + unseen + ".",
      "An update goes beside it, but takes longer, as each cancels the other's reservations; "
      "stop it for that time.");
}

}  // namespace tarvek::control
