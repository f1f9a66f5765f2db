#include "control/doctor/kernel_modules.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "control/doctor/finding.h"

namespace tarvek::control {
namespace {

constexpr const char* kSubject = "modules";
constexpr const char* kBlanks = " \t";

/// Takes the next word of a line.
std::string_view TakeWord(std::string_view* line) {
  line->remove_prefix(std::min(line->find_first_not_of(kBlanks), line->size()));
  const std::string_view word = line->substr(0, line->find_first_of(kBlanks));
  line->remove_prefix(word.size());
  return word;
}

std::string_view TakeLine(std::string_view* text) {
  const std::string_view line = text->substr(0, text->find('\n'));
  text->remove_prefix(std::min(line.size() + 1, text->size()));
  return line;
}

bool SameModule(std::string_view written, std::string_view name) {
  return std::equal(written.begin(), written.end(), name.begin(), name.end(),
                    [](char a, char b) { return (a == '-' ? '_' : a) == b; });
}

/// "ipmi_si 73728 0 - Live 0x0"
bool IsLoaded(std::string_view modules, std::string_view name) {
  while (!modules.empty()) {
    std::string_view line = TakeLine(&modules);
    if (SameModule(TakeWord(&line), name)) return true;
  }
  return false;
}

/// "kernel/drivers/char/ipmi/ipmi_si.ko.xz: kernel/drivers/char/ipmi/ipmi_msghandler.ko.xz"
bool HasFile(std::string_view files, std::string_view name) {
  while (!files.empty()) {
    std::string_view path = TakeLine(&files);
    path = path.substr(0, path.find(':'));
    const std::string_view file = path.substr(path.rfind('/') + 1);  // npos + 1 is 0
    if (SameModule(file.substr(0, file.find(".ko")), name) && file.size() > name.size())
      return true;
  }
  return false;
}

/// A command of modprobe.d, over several lines when they end with a backslash.
struct Command {
  int line = 0;  // where it begins
  std::string text;
};

std::vector<Command> CommandsOf(std::string_view text) {
  std::vector<Command> commands;
  bool goes_on = false;
  for (int line = 1; !text.empty(); ++line) {
    std::string_view piece = TakeLine(&text);
    if (!goes_on) commands.push_back({line, {}});
    goes_on = !piece.empty() && piece.back() == '\\';
    if (goes_on) piece.remove_suffix(1);
    commands.back().text += piece;
  }
  return commands;
}

/// What a command of modprobe.d does to the loading of a module.
std::optional<ModuleState> EffectOf(std::string_view command, std::string_view name) {
  const std::string_view verb = TakeWord(&command);
  if (verb != "blacklist" && verb != "install") return {};
  if (!SameModule(TakeWord(&command), name)) return {};
  if (verb == "blacklist") return ModuleState::kBlacklisted;
  const bool loads = command.find("modprobe") != std::string_view::npos ||
                     command.find("insmod") != std::string_view::npos;
  return loads ? std::optional<ModuleState>() : ModuleState::kBlocked;
}

/// Lets what modprobe.d says of a module that could be loaded take effect; a blocking counts more
/// than a blacklist.
void Restrict(Module& module, const std::vector<ModprobeFile>& files) {
  for (const ModprobeFile& file : files) {
    for (const Command& command : CommandsOf(file.text)) {
      const std::optional<ModuleState> effect = EffectOf(command.text, module.name);
      if (!effect || module.state == ModuleState::kBlocked || module.state == *effect) continue;
      module.state = *effect;
      module.place = file.path + ":" + std::to_string(command.line);
    }
  }
}

std::vector<Module> LookAtModules(const ModuleTexts& texts) {
  std::vector<Module> modules;
  std::transform(kIpmiModules.begin(), kIpmiModules.end(), std::back_inserter(modules),
                 [&](const char* name) { return LookAtModule(name, texts); });
  return modules;
}

const char* StateWords(ModuleState state) {
  switch (state) {
    case ModuleState::kLoaded:
      return "loaded";
    case ModuleState::kBuiltIn:
      return "built in";
    case ModuleState::kBlocked:
      return "blocked";
    case ModuleState::kBlacklisted:
      return "blacklisted";
    case ModuleState::kAvailable:
      return "not loaded";
    case ModuleState::kMissing:
      break;
  }
  return "missing";
}

std::string Summary(const std::vector<Module>& modules) {
  std::vector<std::string> words;
  std::transform(modules.begin(), modules.end(), std::back_inserter(words),
                 [](const Module& module) { return module.name + " " + StateWords(module.state); });
  return "The kernel's modules: " + Enumeration(words);
}

std::vector<Module> In(ModuleState state, const std::vector<Module>& modules) {
  std::vector<Module> some;
  std::copy_if(modules.begin(), modules.end(), std::back_inserter(some),
               [&](const Module& module) { return module.state == state; });
  return some;
}

std::string Names(const std::vector<Module>& modules) {
  std::vector<std::string> names;
  std::transform(modules.begin(), modules.end(), std::back_inserter(names),
                 [](const Module& module) { return module.name; });
  return Enumeration(names);
}

Finding MissingFinding(const ModuleTexts& texts, const std::vector<Module>& missing) {
  if (texts.available.empty() && texts.built_in.empty()) {
    return Problem(
        kSubject,
        "The modules of the running kernel, " + texts.release + ", are not on this machine.",
        "If the kernel was updated, restart the machine; in a container, ask the host.");
  }
  return Problem(kSubject, "The kernel " + texts.release + " has no " + Names(missing) + ".",
                 "Install the rest of the kernel's modules (Ubuntu: linux-modules-extra-" +
                     texts.release +
                     "; Debian: a linux-image without \"cloud\" in its name; Fedora and its kin: "
                     "kernel-modules), or a kernel that has them.");
}

}  // namespace

Module LookAtModule(const char* name, const ModuleTexts& texts) {
  if (IsLoaded(texts.loaded, name)) return {name, ModuleState::kLoaded, {}};
  if (HasFile(texts.built_in, name)) return {name, ModuleState::kBuiltIn, {}};
  if (!HasFile(texts.available, name)) return {name, ModuleState::kMissing, {}};
  Module module{name, ModuleState::kAvailable, {}};
  Restrict(module, texts.modprobe);
  return module;
}

bool HasDriver(const ModuleTexts& texts) {
  const std::vector<Module> modules = LookAtModules(texts);
  return std::all_of(modules.begin(), modules.end(), [](const Module& module) {
    return module.state == ModuleState::kLoaded || module.state == ModuleState::kBuiltIn;
  });
}

Finding ModulesFinding(const ModuleTexts& texts, bool has_node) {
  const std::vector<Module> modules = LookAtModules(texts);
  if (has_node) return Good(kSubject, Summary(modules) + "; the node that is there needs no more.");
  if (HasDriver(texts)) return Good(kSubject, Summary(modules) + ".");
  const std::vector<Module> missing = In(ModuleState::kMissing, modules);
  if (!missing.empty()) return MissingFinding(texts, missing);
  const std::vector<Module> blocked = In(ModuleState::kBlocked, modules);
  if (!blocked.empty()) {
    return Problem(
        kSubject,
        "Kept from being loaded by " + blocked.front().place + ": " + Names(blocked) + ".",
        "Remove that line; or load the modules all the same, until the next start.",
        "modprobe --ignore-install -a ipmi_si ipmi_devintf");
  }
  const std::vector<Module> blacklisted = In(ModuleState::kBlacklisted, modules);
  if (!blacklisted.empty()) {
    return Problem(kSubject,
                   "Not loaded by itself because of " + blacklisted.front().place + ": " +
                       Names(blacklisted) + ".",
                   "Load the modules by name; remove that line to have them at every start.",
                   kLoadModules);
  }
  return Problem(kSubject, "Not loaded: " + Names(In(ModuleState::kAvailable, modules)) + ".",
                 "Load the modules.", kLoadModules);
}

}  // namespace tarvek::control
