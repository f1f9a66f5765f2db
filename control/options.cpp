#include "control/options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string_view>

#include "control/contract/result.h"
#include "control/runs/run_store.h"
#include "control/system/shell_word.h"
#include "inspect/output.h"
#include "inspect/text/escape.h"

namespace tarvek::control {
namespace {

std::string PathOfSelf() {
  std::array<char, PATH_MAX> path{};
  const ssize_t size = readlink("/proc/self/exe", path.data(), path.size() - 1);
  return size <= 0 ? "" : std::string(path.data(), static_cast<std::size_t>(size));
}

/// The tool beside this program, or where packages put it.
std::string FindTool(const std::string& self) {
  std::string beside = self.substr(0, self.rfind('/') + 1) + "tarvek";
  for (const std::string& path : {beside, std::string("/usr/sbin/tarvek")}) {
    if (access(path.c_str(), X_OK) == 0) return path;
  }
  return beside;
}

void AddCommon(CLI::App* app, Options* options, std::string* color) {
  app->add_flag("--json", options->json, "Write JSON, one object a line");
  app->add_option("--state-dir", options->state_directory, "Where runs and backups are kept")
      ->option_text(std::string("DIR (default: ") + kDefaultStateDirectory + ")");
  app->add_option("--tool", options->tool, "Another tarvek")->option_text("PATH");
  app->add_option("--color", *color, "Colour the output")
      ->option_text("auto|always|never")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""));
}

void AddInput(CLI::App* verb, Options* options, const char* name) {
  verb->add_option(name, options->input, name)->required();
}

/// What plan, update and restore have in common.
void AddWriting(CLI::App* verb, Options* options) {
  verb->add_option("--boards", options->boards, "The hardware list")
      ->option_text("FILE (default: mchk_fil beside INPUT)");
  verb->add_flag("--reprogram", options->reprogram, "Write the same records again, too");
  verb->add_flag("--no-backup", options->no_backup, "Do not save what is there before");
  verb->add_flag("--break-lock", options->break_lock, "Remove a lock that no process holds");
}

void AddUpdating(CLI::App* verb, Options* options) {
  AddInput(verb, options, "INPUT");
  AddWriting(verb, options);
  verb->add_flag("--force", options->force, "Whatever the versions are");
  verb->add_flag("--allow-findings", options->allow_findings, "Also what check finds wrong");
}

void AddRunning(CLI::App* verb, Options* options) {
  verb->add_flag("--detach", options->detach, "Print the run's id, and let it go on by itself");
  verb->add_option("--keep", options->keep, "How many runs are kept")
      ->option_text("N (default: 100)")
      ->check(CLI::NonNegativeNumber.description(""));
}

using Verbs = std::vector<std::pair<Verb, CLI::App*>>;

Verbs AddVerbs(CLI::App* app, Options* options) {
  Verbs verbs;
  const auto add = [&](Verb verb, const char* name, const char* what) {
    verbs.emplace_back(verb, app->add_subcommand(name, what));
    return verbs.back().second;
  };
  CLI::App* const doctor =
      add(Verb::kDoctor, "doctor", "What is missing on this machine, and how to mend it");
  doctor->add_option("--boards", options->boards, "A hardware list to look the board up in")
      ->option_text("FILE");
  CLI::App* const status =
      add(Verb::kStatus, "status", "Versions, board, script, driver, a run in progress, drift");
  status->add_option("--format", options->format, "Write metrics, without asking the BMC")
      ->option_text("prometheus")
      ->check(CLI::IsMember({"prometheus"}).description(""));
  status->add_flag("--break-lock", options->break_lock, "Remove a lock that no process holds");
  status->add_option("-o,--output", options->output, "Write them to FILE")->option_text("FILE");
  CLI::App* const plan =
      add(Verb::kPlan, "plan", "What an update with INPUT would do; changes nothing");
  AddUpdating(plan, options);
  plan->add_flag("--restore", options->as_restore, "What a restore with INPUT would do, instead");
  CLI::App* const update = add(Verb::kUpdate, "update", "Program INPUT, verified");
  AddUpdating(update, options);
  AddRunning(update, options);
  CLI::App* const restore = add(Verb::kRestore, "restore", "Program a backup");
  AddInput(restore, options, "FILE.BAK");
  AddWriting(restore, options);
  AddRunning(restore, options);
  CLI::App* const backup = add(Verb::kBackup, "backup", "Save what the BMC serves to a new file");
  AddInput(backup, options, "FILE.BAK");
  backup->add_flag("--overwrite", options->overwrite, "Replace the file that is there");
  backup->add_flag("--break-lock", options->break_lock, "Remove a lock that no process holds");
  add(Verb::kHistory, "history", "The runs on this machine");
  AddInput(add(Verb::kShow, "show", "One run"), options, "RUN");
  AddInput(add(Verb::kWait, "wait", "Follow a run until it ends"), options, "RUN");
  CLI::App* const resume = add(Verb::kResume, "resume", "Lead a run that was made ready");
  AddInput(resume, options, "RUN");
  resume->add_option("--lead", options->lead, "The descriptor that is its lead");
  resume->group("");  // for services: not shown
  return verbs;
}

/// The words of the command line as CLI11 takes a vector: the last one first. The verb comes before
/// its options, wherever it was typed: it is the first word that is neither an option nor the value
/// of one.
std::vector<std::string> VerbLast(int argc, const char* const argv[]) {
  constexpr std::array<std::string_view, 9> kWithValue{"--state-dir", "--tool", "--color",
                                                       "--boards",    "--keep", "--format",
                                                       "--output",    "-o",     "--lead"};
  std::vector<std::string> words(argv + 1, argv + argc);
  const auto takes_value = [&](const std::string& word) {
    return std::find(kWithValue.begin(), kWithValue.end(), word) != kWithValue.end();
  };
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (words[i] == "--") break;
    if (words[i].empty() || words[i].front() != '-') {
      std::rotate(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(i),
                  words.begin() + static_cast<std::ptrdiff_t>(i) + 1);
      break;
    }
    if (takes_value(words[i])) ++i;
  }
  std::reverse(words.begin(), words.end());
  return words;
}

/// The command as a shell would take it again.
std::string Typed(int argc, const char* const argv[]) {
  std::string typed = "tarvekctl";
  for (const std::string& word : std::vector<std::string>(argv + 1, argv + argc)) {
    typed += ' ' + ShellWord(word);
  }
  return inspect::Escaped(typed);
}

bool UsesColor(const std::string& when) {
  if (when != "auto") return when == "always";
  const char* const no_color = std::getenv("NO_COLOR");
  return inspect::OnTerminal() && (no_color == nullptr || no_color[0] == '\0');
}

/// What CLI11 cannot see.
/// @return a complaint, or none.
std::string CheckTogether(const Options& options) {
  if (!options.output.empty() && options.format.empty()) {
    return "--output goes with --format prometheus";
  }
  if (!options.format.empty() && options.json) return "--format prometheus is no JSON";
  if (options.input == "-") return "a run needs a file, not standard input";
  return "";
}

int Complain(const Options& options, const std::string& what) {
  constexpr auto kStatus = ExitStatus::kUsage;
  const std::string escaped = inspect::Escaped(what);
  if (options.json) {
    Result result;
    result.command = options.command;
    result.status = kStatus;
    result.outcome = Outcome::kUsage;
    result.message = {escaped + ".", "Nothing was changed.", "See tarvekctl --help."};
    std::cout << JsonLine(ResultJson(result)) << std::flush;
  } else {
    std::cerr << "tarvekctl: " << escaped << "\nTry: tarvekctl --help\n";
  }
  return static_cast<int>(kStatus);
}

/// --help, --version, or wrong use.
int EndParse(const CLI::App& app, const CLI::ParseError& error, const Options& options) {
  const std::vector<std::string> unknown = app.remaining();
  if (error.get_exit_code() != 0 && app.get_subcommands().empty() && !unknown.empty()) {
    return Complain(options, "no command: " + unknown.front());
  }
  if (error.get_exit_code() != 0) return Complain(options, error.what());
  std::ostringstream text;
  app.exit(error, text, text);
  inspect::StandardOutput output;
  output.Write(text.str());
  output.Finish();
  return 0;
}

void Settle(const std::string& color, Options* options) {
  options->color = UsesColor(color);
  options->self = PathOfSelf();
  if (options->tool.empty()) options->tool = FindTool(options->self);
  options->tool = AbsolutePath(options->tool);
  if (options->state_directory.empty()) options->state_directory = kDefaultStateDirectory;
  options->state_directory = AbsolutePath(options->state_directory);
}

}  // namespace

std::string AbsolutePath(const std::string& path) {
  if (path.empty() || path.front() == '/') return path;
  std::array<char, PATH_MAX> here{};
  if (getcwd(here.data(), here.size()) == nullptr) return path;
  return std::string(here.data()) + '/' + path;
}

int ParseCommandLine(int argc, const char* const argv[], Options* options) {
  CLI::App app("Reads, plans, updates and restores this server's sensor data records.",
               "tarvekctl");
  std::string color = "auto";
  app.fallthrough();  // options may stand behind the verb
  app.set_version_flag("--version", "tarvekctl " TARVEK_VERSION);
  AddCommon(&app, options, &color);
  app.footer(
      "INPUT is an SDR source file, a configuration script or a backup image; which of them, its\n"
      "content tells.\n"
      "Exit status: 0 done, 1 the BMC or its driver failed, 2 nothing to do, 3 INPUT is wrong,\n"
      "4 this machine is not one for INPUT or lacks something, 5 another run holds the lock,\n"
      "6 interrupted or unknown, 64 wrong use.");
  const Verbs verbs = AddVerbs(&app, options);
  app.require_subcommand(1);
  // Also complaints about the rest of the line are JSON where that is asked for.
  options->json = std::any_of(argv, argv + argc,
                              [](const char* word) { return std::string_view(word) == "--json"; });
  try {
    app.parse(VerbLast(argc, argv));
  } catch (const CLI::ParseError& error) {
    return EndParse(app, error, *options);
  }
  for (const auto& [verb, parser] : verbs) {
    if (!parser->parsed()) continue;
    options->verb = verb;
    options->command = parser->get_name();
  }
  Settle(color, options);
  options->again = Typed(argc, argv);
  const std::string wrong = CheckTogether(*options);
  if (wrong.empty()) return 0;
  options->verb = Verb::kNone;
  return Complain(*options, wrong);
}

}  // namespace tarvek::control
