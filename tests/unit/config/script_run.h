// Running scripts in tests: the fixture, a reader whose insides can be seen, and the seams below
// it (files that do not open, silent pipes, memory that runs out, the loader of SDR files).
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "config/cfg_file.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {

/// A script reader whose insides a test may look at and set up.
class OpenCfgFile : public CfgFile {
 public:
  using CfgFile::CfgFile;
  using CfgFile::compare;
  using CfgFile::cursor;
  using CfgFile::fru_name_field;
  using CfgFile::ifset_depth;
  using CfgFile::last_sdr_name;
  using CfgFile::lines;
  using CfgFile::matched_length;
  using CfgFile::prompt_answer;
  using CfgFile::prompt_mode;
  using CfgFile::state;

  /// Makes the state that Process() would make, and reads and lexes `script` into it.
  /// @return what failed first: Read() or Parse(); else 0.
  ESTATUS Lex(const std::string& script);
  /// Lex(), then Interpret() from the first line.
  ESTATUS InterpretText(const std::string& script);
  /// @return each line's command and arguments as "WORD [a] [b]".
  std::vector<std::string> Lines() const;
  /// @return the names of the tags that are set, joined by commas.
  std::string Tags() const;
  /// @return the queued files as "name compare=c pass=p", joined by commas.
  std::string Files() const;
};

/// What lies below the interpreter in a test.
struct Seams {
  /// Files that fopen() refuses, and how often; -1: always.
  std::map<std::string, int> unopenable;
  std::map<std::string, int> opened;  // how often each file was opened, or tried
  /// Takes the place of poll(), if set.
  std::function<int()> poll;
  /// One call of the loader: "file[tags]", then "c" and the compare flag, then "e" if the echo
  /// stream was open.
  std::vector<std::string> loads;
  /// What the loader returns for a file; by default 0. The real loader is called where this is
  /// set to kRealLoader.
  std::map<std::string, int> load_status;
  static constexpr int kRealLoader = -1;
  /// What a BOOT command ends with in place of its own status, if not 0.
  int boot_status = 0;
  /// Which allocation that may fail does so: 1 the next one. 0: none.
  int failing_allocation = 0;
};

Seams& TheSeams();

class ScriptRun : public FreshRun {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// Processes a script of this text.
  ESTATUS Run(const std::string& script);
};

/// The lines, each ended by a line feed, as one text.
std::string Script(const std::vector<std::string>& lines);

}  // namespace tarvek_test
