// The runs on this machine: a directory each, which holds all that the run needs and leaves.
//
//   STATE/lock            held by the program that works with the BMC; the id of its run
//   STATE/state.json      what the BMC served when it was last read (machine_state.h)
//   STATE/backups/ID.BAK  what it served before run ID
//   STATE/runs/ID/        one run
//     runner              held by the program that leads the run
//     request.json        what was asked for
//     phase.json          how far it is
//     handed              a service was asked to lead the run
//     programming         what is to be written over what; there since the tool may write
//     work/               the tool's working directory: its inputs, logs and result files
//     output              what the tool wrote on its console
//     result.json         what the run came to; there when it has ended
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "control/contract/result.h"
#include "control/system/files.h"

namespace tarvek::control {

inline constexpr const char* kDefaultStateDirectory = "/var/lib/tarvek";

/// What a run is asked to do.
struct Request {
  std::string command;  // "update" or "restore"
  std::string input;    // as it was named, made absolute
  std::string tool;     // the path of tarvek
  bool force = false;
  bool reprogram = false;
  bool allow_findings = false;
  bool keep_backup = true;
  bool break_lock = false;
  std::string boards;    // the hardware list that was named, made absolute
  bool listed = true;    // the boards of a hardware list count; else the image's own product
  std::string digest;    // of what was copied
  std::size_t keep = 0;  // how many runs are kept behind it
  long began = 0;        // seconds since 1970
};

Json RequestJson(const Request& request);
/// @throws std::exception  for what is no such object.
Request RequestFromJson(const Json& json);

/// One run.
class Run {
 public:
  Run(std::string id, Directory directory) : id_(std::move(id)), directory_(std::move(directory)) {}

  const std::string& id() const { return id_; }
  const Directory& directory() const { return directory_; }
  Directory Work() const { return directory_.Sub(kWork); }
  std::string LogPath() const { return directory_.PathOf(std::string(kWork) + "/tarvek.log"); }

  /// Takes the lead of the run.
  /// @return the lead, held while it lives; empty when another program has it.
  Descriptor TakeLead() const { return directory_.TryLock(kLead); }

  /// @return whether a descriptor is the file by which this run is led, and its lock can be had.
  bool IsLead(const Descriptor& lead) const;

  void Save(const Request& request) const;
  Request ReadRequest() const;

  /// What the run came to; absent while it has not ended. What is there and cannot be understood is
  /// a result of which nobody knows anything.
  std::optional<Result> ReadResult() const;
  void Save(const Result& result) const;

  static constexpr const char* kLead = "runner";
  static constexpr const char* kWork = "work";
  static constexpr const char* kResult = "result.json";
  static constexpr const char* kProgramming = "programming";

 private:
  std::string id_;
  Directory directory_;
};

class RunStore {
 public:
  /// @throws SystemError  when the directory cannot be made or entered, or others may write to it.
  explicit RunStore(const std::string& state_directory);

  const Directory& state() const { return state_; }
  /// Whether it is where services look for it.
  bool IsDefault() const { return default_; }
  const Directory& backups() const { return backups_; }

  /// Makes a run with an id of its own, "20261121-223501-1e240a3b", and takes its lead: nobody
  /// finds it without one.
  Run New(Descriptor* lead) const;
  /// @return a run; absent when there is none of that id.
  std::optional<Run> Find(const std::string& id) const;
  /// The ids of all runs, the oldest first.
  std::vector<std::string> Ids() const;
  /// Those without a result, the oldest first.
  std::vector<Run> Unfinished() const;
  void Remove(const std::string& id) const;
  /// Removes all runs that have ended but the newest `keep`, the very newest never. What cannot be
  /// removed stays.
  void Prune(std::size_t keep) const;

  /// A directory for what is needed now and not later.
  Directory Scratch(std::string* name) const;
  void RemoveScratch(const std::string& name) const { state_.RemoveAll(name); }
  /// The names of the scratch directories, those of programs that were killed among them.
  std::vector<std::string> Scratches() const;
  /// Removes what programs that were killed left behind an hour ago or more.
  void Sweep() const;

 private:
  bool default_;
  Directory state_;
  Directory runs_;
  Directory backups_;
};

}  // namespace tarvek::control
