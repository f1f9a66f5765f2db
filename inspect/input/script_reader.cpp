#include "inspect/input/script_reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "config/cfg_file.h"
#include "inspect/input/input_error.h"
#include "inspect/input/log_catcher.h"
#include "inspect/input/source_reader.h"
#include "inspect/input/text_places.h"

namespace tarvek::inspect {
namespace {

constexpr std::size_t kRecordIdSize = 2;  // is the BMC's to give, and not compared

/// The working directory for as long as it lives: the script's files are named from there.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(const std::string& directory)
      : before_(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (!directory.empty() && (before_ < 0 || chdir(directory.c_str()) != 0)) {
      const int error = errno;
      if (before_ >= 0) close(before_);
      throw InputError({directory, 0, 0, {}},
                       std::string("cannot be entered: ") + std::strerror(error));
    }
  }
  ~WorkingDirectory() {
    // Where it cannot be gone back to, what is opened next says so.
    if (before_ >= 0 && fchdir(before_) == 0) close(before_);
  }
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;

 private:
  int before_;
};

/// Where the words of a script's line begin: the command, then its arguments.
std::vector<std::size_t> WordStarts(std::string_view line) {
  constexpr std::string_view kBlanks = " \t\r\n";
  std::vector<std::size_t> starts;
  std::size_t at = line.find_first_not_of(kBlanks);
  while (at != std::string_view::npos && line.substr(at, 2) != "//") {
    starts.push_back(at);
    const bool quoted = line[at] == '"';
    const std::size_t end = quoted ? line.find('"', at + 1) : line.find_first_of(kBlanks, at);
    if (end == std::string_view::npos) break;
    at = line.find_first_not_of(kBlanks, quoted ? end + 1 : end);
  }
  return starts;
}

/// The word that begins at `start`.
std::string WordAt(std::string_view line, std::size_t start) {
  line.remove_prefix(std::min(start, line.size()));
  const bool quoted = line.substr(0, 1) == "\"";
  const std::size_t end = quoted ? line.find('"', 1) : line.find_first_of(" \t\r\n");
  if (quoted && end != std::string_view::npos) return std::string(line.substr(0, end + 1));
  return std::string(line.substr(0, std::min(end, line.find_first_of("\r\n"))));
}

bool IsPrintable(const std::string& word) {
  return std::all_of(word.begin(), word.end(), [](char c) { return c >= ' ' && c < '\x7F'; });
}

/// Whether a word is the command that names a file.
bool IsSdrName(std::string word) {
  std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : static_cast<char>(c);
  });
  return word == "SDRNAME";
}

/// An error that the interpreter reported, and the line that it was at.
struct Told {
  ESTATUS status = kSuccess;
  std::string message;
  int piece = 0;  // of the text, from 1
  int arguments = 0;
  int max_arguments = 0;
  int max_length = 0;
};

std::string ExpectedAt(const Told& told) {
  switch (told.status) {
    case kUnwantedArgument:
      return "the end of the line";
    case kCommandArgumentTooLong:
    case kArgumentTooLong:
      return "at most " + std::to_string(told.max_length) + " characters";
    case kInvalidSdrNameArgument:
      return "COMPARE, FIRST or LAST, or COMPARE with one of the two";
    case kInvalidCommand:
    case kInvalidString:
      return "CONFIGURATION, DISPLAY, IFSET, ELSE, ENDIF, SDRNAME, SET or CLEAR";
    case kClosingQuoteMissing:
    case kUnbalancedQuotes:
      return "a closing double quote";
    case kScriptLineFailed:
      return "no double quote within a word";
    case kNoArgument:
    case kNoCondition:
      return "an argument";
    case kUnbalancedIfSet:
      return "an ENDIF for each IFSET";
    case kTooManyArguments:
      return told.max_arguments == 0 ? "no argument"
             : told.max_arguments == 1
                 ? "one argument"
                 : "at most " + std::to_string(told.max_arguments) + " arguments";
    case kControlCharacter:
      return "printable ASCII";
    case kSdrFileOpenFailed:
      return "the name of a file that can be read and is not empty";
    default:
      return "";
  }
}

/// Whether an error is about something that is not there.
bool IsMissing(ESTATUS status) {
  return status == kNoArgument || status == kNoCondition || status == kUnbalancedIfSet;
}

/// Which word of its line an error is about: 0 the command, then its arguments.
std::size_t WordIndex(const Told& told, const std::vector<std::string>& words) {
  const auto arguments = static_cast<std::size_t>(told.arguments);
  switch (told.status) {
    case kUnwantedArgument:
    case kCommandArgumentTooLong:
    case kSdrFileOpenFailed:
      return 1;
    case kInvalidSdrNameArgument:
    case kArgumentTooLong:
    case kClosingQuoteMissing:
    case kScriptLineFailed:
      return arguments;
    case kUnbalancedQuotes:
      return arguments + 1;
    case kTooManyArguments:
      return static_cast<std::size_t>(told.max_arguments) + 1;
    case kControlCharacter:
      return static_cast<std::size_t>(std::find_if_not(words.begin(), words.end(), IsPrintable) -
                                      words.begin());
    default:
      return 0;
  }
}

/// The interpreter, with files read instead of loaded.
class ScriptReader : private CfgFile {
 public:
  ScriptReader(const Snapshot& input, RecordSet* set, int tag_lines)
      : input_(input), set_(set), tag_lines_(tag_lines) {}

  void Run(const Snapshot& script);

 private:
  ESTATUS WhileSDRFilesToLoad(int pass) override;
  void ReadFile(const CSDRHeader& file);
  void CompareFile(const std::string& name, const RecordSet& read) const;
  void NoteSetTags();
  void OnError(ESTATUS status, std::string_view message);
  [[noreturn]] void Fail() const;

  const Snapshot& input_;
  RecordSet* set_;
  int tag_lines_;  // lines that stand before the script's own
  std::vector<Told> told_;
  std::exception_ptr file_error_;
  bool programmed_ = false;
};

void ScriptReader::Run(const Snapshot& script) {
  const LogCatcher catcher(
      [this](ESTATUS status, std::string_view message) { OnError(status, message); });
  const ESTATUS status = Process(script.path().c_str());
  if (file_error_ != nullptr) std::rethrow_exception(file_error_);
  if (status != kSuccess) Fail();
}

ESTATUS ScriptReader::WhileSDRFilesToLoad(int pass) {
  NoteSetTags();
  try {
    for (const CSDRHeader* file = state->sdr_files; file != nullptr; file = file->next) {
      if (file->pass == pass) ReadFile(*file);
    }
  } catch (...) {
    // The interpreter's own frames are no place for an exception.
    file_error_ = std::current_exception();
    return kReported;
  }
  return kSuccess;
}

void ScriptReader::NoteSetTags() {
  set_->set_tags.clear();
  for (const CfgLine* line = lines; line != nullptr; line = line->next) {
    if (line->id == kCfgSet && line->argument_count > 0) {
      set_->set_tags.emplace_back(line->arguments[0]);
    }
  }
}

void ScriptReader::ReadFile(const CSDRHeader& file) {
  const Snapshot source{std::string(file.filename)};
  RecordSet read;
  ReadSource(source, state->tags, &read);
  set_->files.push_back({file.filename, file.pass, file.compare != 0, read.records.size(), {}});
  if (file.compare != 0) {
    CompareFile(file.filename, read);
    if (!programmed_) set_->files.back().compared = std::move(read.records);
    return;
  }
  // Each file clears what the one before has programmed.
  programmed_ = true;
  set_->records = std::move(read.records);
  set_->remarks = std::move(read.remarks);
  set_->from_source = true;
  set_->reads_whole_pieces = read.reads_whole_pieces;
}

/// Refuses a file that is compared with what the script itself programs before, and differs: the
/// tool stops there.
void ScriptReader::CompareFile(const std::string& name, const RecordSet& read) const {
  if (!programmed_) return;  // what the BMC holds is not the files' to say
  const auto next_selected = [](auto at, auto end) {
    return std::find_if(at, end, [](const InputRecord& record) { return record.selected; });
  };
  auto served = next_selected(set_->records.begin(), set_->records.end());
  auto wanted = next_selected(read.records.begin(), read.records.end());
  for (; served != set_->records.end() && wanted != read.records.end();
       served = next_selected(served + 1, set_->records.end()),
       wanted = next_selected(wanted + 1, read.records.end())) {
    if (!std::equal(served->bytes.begin() + kRecordIdSize, served->bytes.end(),
                    wanted->bytes.begin() + kRecordIdSize, wanted->bytes.end())) {
      throw InputError(wanted->place,
                       "the record differs from the one that the script programs before this "
                       "file is compared");
    }
  }
  if (served != set_->records.end() || wanted != read.records.end()) {
    throw InputError({name, 0, 0, {}},
                     "has another number of records than the script programs before this file "
                     "is compared");
  }
}

void ScriptReader::OnError(ESTATUS status, std::string_view message) {
  Told told{status, std::string(message)};
  const bool at_line = state != nullptr && state->fp == nullptr && cursor != nullptr;
  if (at_line) {
    told.piece = cursor->line_number;
    told.arguments = cursor->argument_count;
    told.max_arguments = cursor->max_arguments;
    told.max_length = cursor->max_argument_length;
  } else if (state != nullptr) {
    told.piece = state->line_number;
  }
  told_.push_back(std::move(told));
}

void ScriptReader::Fail() const {
  if (told_.empty()) throw InputError({input_.name(), 0, 0, {}}, "cannot be read");
  // The lexer reports a line's fault twice, the second time as what it is.
  const bool lexed = told_.size() > 1 && told_[0].status == kInvalidCommand &&
                     told_[1].status != kScriptReadFailed;
  const Told& told = lexed ? told_[1] : told_[0];
  if (told.status == kInsufficientMemory) {
    throw InputError({input_.name(), 0, 0, {}}, "has too many lines, or memory ran out");
  }

  TextPlaces places(input_.bytes());
  places.GoTo(std::max(told.piece - tag_lines_, 1));
  const std::string_view piece = places.Piece();
  const std::vector<std::size_t> starts = WordStarts(piece);
  std::vector<std::string> words;
  words.reserve(starts.size());
  for (const std::size_t start : starts) words.push_back(WordAt(piece, start));
  // What is missing is missing where the line ends.
  const std::size_t index = IsMissing(told.status) ? starts.size() : WordIndex(told, words);
  const bool there = index < starts.size();
  const std::size_t line_end = std::min(piece.find_last_not_of(" \t\r\n") + 1, piece.size());

  const std::size_t last = told.message.find_last_not_of(' ');
  InputError error(places.At(input_.name(), there ? starts[index] : line_end),
                   told.message.substr(0, last + 1));
  error.line = places.Line();
  error.expected = ExpectedAt(told);
  error.found = there                             ? "\"" + words[index] + "\""
                : told.status == kUnbalancedIfSet ? "the end of the script"
                                                  : "the end of the line";
  throw InputError(std::move(error));
}

}  // namespace

void ReadScript(const Snapshot& input, const std::string& directory,
                const std::vector<std::string>& tags, RecordSet* set) {
  std::string text;
  for (const std::string& tag : tags) text += "SET \"" + tag + "\"\n";
  const Snapshot script(input.name(), text + std::string(input.bytes()));
  const WorkingDirectory there(directory);
  ScriptReader(input, set, static_cast<int>(tags.size())).Run(script);
}

std::vector<std::string> FilesNamed(std::string_view script) {
  std::vector<std::string> names;
  while (!script.empty()) {
    const std::string_view line = script.substr(0, script.find('\n'));
    script.remove_prefix(std::min(line.size() + 1, script.size()));
    const std::vector<std::size_t> words = WordStarts(line);
    if (words.size() < 2 || !IsSdrName(WordAt(line, words[0]))) continue;
    std::string name = WordAt(line, words[1]);
    if (name.size() > 1 && name.front() == '"' && name.back() == '"') {
      name = name.substr(1, name.size() - 2);
    }
    if (std::find(names.begin(), names.end(), name) == names.end()) {
      names.push_back(std::move(name));
    }
  }
  return names;
}

}  // namespace tarvek::inspect
