// INPUT: copied, told apart, read and checked.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "control/engine/records.h"
#include "control/engine/session.h"
#include "inspect/check/check.h"
#include "inspect/input/record_set.h"

namespace tarvek::control {

/// What is known of an INPUT by its copy.
struct Input {
  std::string name;  // of the copy: "input.SDR", "input.CFG", "input.BIN"
  inspect::RecordSet set;
  std::vector<inspect::Finding> findings;
  RecordList records;                  // that it would leave in service
  std::optional<std::string> version;  // reduced
  bool compares_only = false;          // a script that programs nothing
};

/// Copies INPUT, and of a script the files that it names, into the tool's working directory. Only
/// regular files are read, so nothing can hang.
/// @return a digest of all that was copied.
/// @throws Stop  refused: INPUT cannot be read, or names files that it may not name.
std::string CopyInput(const Session& session, const std::string& path, const Directory& work);

/// Copies a hardware list.
/// @param path   empty: "mchk_fil" beside INPUT.
/// @throws Stop  refused: there is none.
void CopyBoards(const Session& session, const std::string& path, const std::string& input,
                const Directory& work);

/// Reads and checks the copy. Copied files that are not needed are removed.
/// @param original        INPUT's own path, for complaints.
/// @param allow_findings  findings that are errors refuse nothing.
/// @throws Stop  refused.
Input LoadInput(const Session& session, const Directory& work, const std::string& original,
                bool allow_findings);

/// A finding as `tarvek-sdr check --json` has it, with the place in INPUT itself.
Json FindingJson(const inspect::Finding& finding, const std::string& original);
/// A finding as a line for people, with the place in INPUT itself; escaped.
std::string FindingText(const inspect::Finding& finding, const std::string& original);

}  // namespace tarvek::control
