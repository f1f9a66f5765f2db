#include "inspect/options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "inspect/exit_status.h"
#include "inspect/output.h"
#include "inspect/text/escape.h"

namespace tarvek::inspect {
namespace {

constexpr std::size_t kLongestTag = 31;  // characters, as SET takes them

/// What the parser fills besides the options themselves.
struct Parsed {
  std::string color = "auto";
  bool raw = false;
  bool long_form = false;
  std::vector<std::string> inputs;
};

/// A tag as a script's SET takes it: a complaint, or none.
std::string CheckTag(const std::string& tag) {
  const bool printable =
      std::all_of(tag.begin(), tag.end(), [](char c) { return c >= ' ' && c < '\x7F'; });
  if (tag.empty() || tag.size() > kLongestTag) return "a tag has 1 to 31 characters";
  if (!printable || tag.find('"') != std::string::npos) {
    return "a tag has printable characters and no double quote";
  }
  return "";
}

/// A number of bytes: a complaint, or none.
std::string CheckCapacity(const std::string& text) {
  constexpr std::size_t kMostDigits = 9;
  const bool digits =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  return digits && !text.empty() && text.size() <= kMostDigits ? "" : "no number of bytes: " + text;
}

void AddInputOptions(CLI::App* command, Options* options) {
  command->add_flag("--cfg", options->load.force_script,
                    "INPUT is a configuration script, whatever it begins with");
  command->add_option("--set", options->load.tags, "Set TAG before a script runs")
      ->option_text("TAG")
      ->check(CLI::Validator(CheckTag, ""))
      ->expected(1)
      ->allow_extra_args(false)  // what follows the tag is an input
      ->take_all();
}

void AddAll(CLI::App* command, Options* options) {
  command->add_flag("--all", options->all, "Take records too whose tags are not set");
}

CLI::Option* AddJson(CLI::App* command, Options* options) {
  return command->add_flag("--json", options->json, "Write JSON");
}

CLI::App* AddShow(CLI::App* app, Options* options, Parsed* parsed) {
  CLI::App* const show = app->add_subcommand("show", "What the records of INPUT say");
  CLI::Option* const json = AddJson(show, options);
  show->add_flag("--raw", parsed->raw, "The bytes that the tool sends, one record a line")
      ->excludes(json);
  show->add_flag("--long", parsed->long_form, "Every field of every record")
      ->excludes(json)
      ->excludes("--raw");
  AddAll(show, options);
  AddInputOptions(show, options);
  show->add_option("INPUT", options->input, "A file, or -")->required();
  return show;
}

CLI::App* AddCheck(CLI::App* app, Options* options) {
  CLI::App* const check = app->add_subcommand("check", "What is wrong with the records of INPUT");
  AddJson(check, options);
  check->add_option("--fail-on", options->fail_on, "Which findings make the exit status 1")
      ->option_text("note|warning|error (default: warning)")
      ->check(CLI::IsMember({"note", "warning", "error"}).description(""));
  check->add_option("--capacity", options->capacity, "How many bytes the repository holds")
      ->option_text("N")
      ->check(CLI::Validator(CheckCapacity, ""));
  check->add_flag("--rules", options->list_rules, "List the rules")->excludes("--json");
  AddInputOptions(check, options);
  check->add_option("INPUT", options->input, "A file, or -");
  return check;
}

CLI::App* AddDiff(CLI::App* app, Options* options) {
  CLI::App* const diff = app->add_subcommand("diff", "What NEW changes against OLD");
  AddJson(diff, options);
  AddAll(diff, options);
  AddInputOptions(diff, options);
  diff->add_option("OLD", options->old_input, "What is there, for example a backup")->required();
  diff->add_option("NEW", options->input, "What is to come")->required();
  return diff;
}

CLI::App* AddConvert(CLI::App* app, Options* options) {
  CLI::App* const convert = app->add_subcommand("convert", "The records of INPUT in another form");
  convert->add_option("--to", options->to, "The form")
      ->option_text("source|image|raw|hex REQUIRED")
      ->required()
      ->check(CLI::IsMember({"source", "image", "raw", "hex"}).description(""));
  convert->add_option("-o,--output", options->output, "Write to FILE")->option_text("FILE");
  convert->add_option("--identity", options->identity, "Take the identity block of IMAGE")
      ->option_text("IMAGE");
  AddAll(convert, options);
  AddInputOptions(convert, options);
  convert->add_option("INPUT", options->input, "A file, or -")->required();
  return convert;
}

CLI::App* AddReport(CLI::App* app, Options* options, Parsed* parsed) {
  CLI::App* const report =
      app->add_subcommand("report", "A page about INPUT, or about what it changes against OLD");
  report->add_option("-o,--output", options->output, "Write to FILE.html")
      ->option_text("FILE.html REQUIRED")
      ->required();
  AddAll(report, options);
  AddInputOptions(report, options);
  report->add_option("INPUTS", parsed->inputs, "[OLD] INPUT: files, or -")
      ->required()
      ->expected(1, 2);
  return report;
}

bool UsesColor(const std::string& when) {
  if (when != "auto") return when == "always";
  const char* const no_color = std::getenv("NO_COLOR");
  return OnTerminal() && (no_color == nullptr || no_color[0] == '\0');
}

/// What CLI11 cannot see.
/// @return a complaint, or none.
std::string CheckTogether(const Options& options) {
  if (options.command == Command::kCheck && options.input.empty() && !options.list_rules) {
    return "check needs an INPUT";
  }
  if (!options.identity.empty() && options.to != "image") return "--identity goes with --to image";
  const auto inputs = {options.input, options.old_input, options.identity};
  if (std::count(inputs.begin(), inputs.end(), "-") > 1) return "only one input can be -";
  return "";
}

void Settle(const Parsed& parsed, Options* options) {
  options->color = UsesColor(parsed.color);
  if (options->json) options->form = ShowForm::kJson;
  if (parsed.raw) options->form = ShowForm::kRaw;
  if (parsed.long_form) options->form = ShowForm::kLong;
  if (parsed.inputs.empty()) return;
  options->input = parsed.inputs.back();
  if (parsed.inputs.size() > 1) options->old_input = parsed.inputs.front();
}

int Complain(const std::string& what) {
  std::cerr << "tarvek-sdr: " << Escaped(what) << "\nTry: tarvek-sdr --help\n";
  return kExitWrongUse;
}

/// --help, --version, or wrong use.
int EndParse(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = app.remaining();
  if (error.get_exit_code() != 0 && app.get_subcommands().empty() && !unknown.empty()) {
    return Complain("no command: " + unknown.front());
  }
  if (error.get_exit_code() != 0) return Complain(error.what());
  std::ostringstream text;
  app.exit(error, text, text);
  StandardOutput output;
  output.Write(text.str());
  output.Finish();
  return kExitGood;
}

}  // namespace

int ParseCommandLine(int argc, const char* const argv[], Options* options) {
  CLI::App app("Shows, checks, compares and converts sets of sensor data records, offline.",
               "tarvek-sdr");
  Parsed parsed;
  app.fallthrough();  // the commands take it over: --color may stand behind them
  app.set_version_flag("--version", "tarvek-sdr " TARVEK_VERSION);
  app.add_option("--color", parsed.color, "Colour the output")
      ->option_text("auto|always|never")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""));
  app.footer(
      "INPUT is an SDR source file, a configuration script, a backup image, or a raw or\n"
      "hexadecimal dump; which of them, its content tells.\n"
      "Exit status: 0 good, 1 findings or differences, 2 wrong use, 3 an input or output failed.");
  const std::vector<std::pair<Command, CLI::App*>> commands{
      {Command::kShow, AddShow(&app, options, &parsed)},
      {Command::kCheck, AddCheck(&app, options)},
      {Command::kDiff, AddDiff(&app, options)},
      {Command::kConvert, AddConvert(&app, options)},
      {Command::kReport, AddReport(&app, options, &parsed)},
  };
  app.require_subcommand(1);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return EndParse(app, error);
  }
  Settle(parsed, options);
  for (const auto& [command, parser] : commands) {
    if (parser->parsed()) options->command = command;
  }
  const std::string wrong = CheckTogether(*options);
  if (wrong.empty()) return kExitGood;
  options->command = Command::kNone;
  return Complain(wrong);
}

}  // namespace tarvek::inspect
