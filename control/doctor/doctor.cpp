#include "control/doctor/doctor.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <memory>

#include "control/bmc/bmc.h"
#include "control/doctor/bmc_findings.h"
#include "control/doctor/device_nodes.h"
#include "control/doctor/device_users.h"
#include "control/doctor/kernel_modules.h"
#include "control/doctor/lock_finding.h"
#include "control/doctor/places.h"
#include "control/doctor/surroundings.h"
#include "control/lock/run_lock.h"
#include "control/system/small_file.h"

namespace tarvek::control {
namespace {

constexpr std::size_t kMostText = 16UL * 1024 * 1024;  // of a system's file, or a hardware list
constexpr std::size_t kMostModprobeFiles = 1024;

/// The system's files, below the root that was named.
class SystemFiles {
 public:
  explicit SystemFiles(std::string root) : root_(std::move(root)) {}

  std::string Path(const std::string& path) const { return root_ + path; }
  bool Exists(const char* path) const { return access(Path(path).c_str(), F_OK) == 0; }
  /// @return what a file holds; nothing when it cannot be read.
  std::string Text(const std::string& path) const {
    return ReadSmallFile(AT_FDCWD, Path(path), kMostText).bytes;
  }
  std::string Line(const std::string& path) const {
    const std::string text = Text(path);
    return text.substr(0, text.find('\n'));
  }
  /// @return the names in a directory that end so.
  std::vector<std::string> Names(const std::string& path, const std::string& end) const;

 private:
  std::string root_;
};

std::vector<std::string> SystemFiles::Names(const std::string& path, const std::string& end) const {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(Path(path).c_str()), closedir);
  if (directory == nullptr) return names;
  while (const dirent* const entry = readdir(directory.get())) {
    const std::string name = entry->d_name;
    const bool ends_so =
        name.size() > end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
    if (ends_so && names.size() < kMostModprobeFiles) names.push_back(name);
  }
  return names;
}

/// Of files of one name the one in the first directory counts.
std::vector<ModprobeFile> ModprobeFiles(const SystemFiles& files) {
  constexpr std::array kDirectories{"/etc/modprobe.d", "/run/modprobe.d",
                                    "/usr/local/lib/modprobe.d", "/usr/lib/modprobe.d",
                                    "/lib/modprobe.d"};
  std::map<std::string, std::string> paths;  // by name, the order in which they are read
  for (const char* const directory : kDirectories) {
    for (const std::string& name : files.Names(directory, ".conf")) {
      paths.emplace(name, std::string(directory) + "/" + name);
    }
  }
  std::vector<ModprobeFile> read;
  std::transform(paths.begin(), paths.end(), std::back_inserter(read), [&](const auto& entry) {
    return ModprobeFile{entry.second, files.Text(entry.second)};
  });
  return read;
}

ModuleTexts ReadModuleTexts(const SystemFiles& files) {
  ModuleTexts texts;
  texts.release = files.Line("/proc/sys/kernel/osrelease");
  texts.loaded = files.Text("/proc/modules");
  const std::string directory = "/lib/modules/" + texts.release;
  texts.built_in = files.Text(directory + "/modules.builtin");
  texts.available = files.Text(directory + "/modules.dep");
  texts.modprobe = ModprobeFiles(files);
  return texts;
}

SurroundingTexts ReadSurroundings(const SystemFiles& files) {
  return {files.Text("/run/systemd/container"),
          files.Exists("/.dockerenv"),
          files.Exists("/run/.containerenv"),
          files.Text("/proc/1/environ"),
          files.Line("/sys/class/dmi/id/sys_vendor"),
          files.Line("/sys/class/dmi/id/product_name"),
          files.Text("/proc/cpuinfo")};
}

void Append(std::vector<Finding>& findings, std::vector<Finding> more) {
  std::move(more.begin(), more.end(), std::back_inserter(findings));
}

/// What the BMC says.
/// @return false when an interrupt came.
bool ExamineBmc(const DoctorOptions& options, const Interrupts* interrupts,
                std::vector<Finding>& findings) {
  const BmcReport report = AskBmc(interrupts);
  if (report.failure == BmcFailure::kInterrupted) return false;
  findings.push_back(BmcFinding(report));
  if (!report.device) return true;
  findings.push_back(ManufacturerFinding(*report.device));
  if (options.boards) {
    const SmallFile list = ReadSmallFile(AT_FDCWD, *options.boards, kMostText);
    findings.push_back(BoardsFinding(*options.boards, list, *report.device));
  }
  const std::vector<Probe> probes = ProbeCommands(interrupts);
  if (interrupts != nullptr && WaitFor(-1, interrupts, 0) == Woken::kInterrupted) return false;
  findings.push_back(RequestsFinding(probes));
  return true;
}

}  // namespace

std::vector<Finding> Examine(const DoctorOptions& options, const Interrupts* interrupts) {
  const SystemFiles files(options.root);
  const bool is_root = geteuid() == 0;
  const std::vector<NodeLook> nodes = LookAtNodes();
  const std::optional<NodeLook> node = ToolsNode(nodes);
  const bool has_node = node && node->is_device;
  const ModuleTexts modules = ReadModuleTexts(files);

  std::vector<Finding> findings;
  findings.push_back(NodeFinding(nodes, HasDriver(modules), is_root));
  findings.push_back(ModulesFinding(modules, has_node));
  Append(findings, SurroundingFindings(ReadSurroundings(files), has_node));
  if (has_node && !ExamineBmc(options, interrupts, findings)) return findings;
  findings.push_back(DeviceUsersFinding(FindDeviceUsers(files.Path("/proc"))));

  LockPlaces places;
  places.processes = files.Path(places.processes);
  findings.push_back(LockFinding(InspectLock(places), is_root));
  findings.push_back(SharedMemoryFinding(LookAtDirectory(places.semaphores)));
  findings.push_back(ToolFinding(LookAtTool(options.tool)));
  Append(findings, StateDirectoryFindings(LookAtDirectory(options.state_directory), geteuid()));
  return findings;
}

}  // namespace tarvek::control
