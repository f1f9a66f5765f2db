// What every step of a command has at hand.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "control/contract/result.h"
#include "control/engine/reading_place.h"
#include "control/runs/run_store.h"
#include "control/system/interrupts.h"

namespace tarvek::control {

/// How far a run is.
struct Progress {
  std::string run;                  // its id; empty: none
  std::string phase;                // "checking", "reading", "saving", "programming", "verifying"
  int percent = 0;                  // of the whole, never falling
  std::optional<int> seconds_left;  // a guess
};

/// Where progress is shown.
class ProgressSink {
 public:
  virtual ~ProgressSink() = default;
  virtual void Show(const Progress& progress) = 0;
};

struct Session {
  const RunStore& store;
  ReadingPlace& reading;
  const Interrupts& interrupts;
  const Interrupts* stops;  // what ends a waiting: the interrupts; null once it must go on
  ProgressSink& sink;
  std::string command;
  std::string again;        // the whole command, for people to type again; escaped
  std::string tool;         // the path of tarvek
  bool break_lock = false;  // a lock that nobody holds may be removed
};

/// A command that ends here, with its result.
class Stop : public std::exception {
 public:
  explicit Stop(Result what_it_came_to) : result(std::move(what_it_came_to)) {}
  const char* what() const noexcept override { return result.message.what.c_str(); }

  Result result;
};

/// A result of nothing having been changed.
Result Unchanged(const Session& session, ExitStatus status, Outcome outcome, std::string what,
                 std::string remedy);

// The usual ends before anything was written.
[[noreturn]] void Refuse(const Session& session, ExitStatus status, const std::string& what,
                         const std::string& remedy, const std::string& result_code = "");
[[noreturn]] void FailUnchanged(const Session& session, const std::string& what,
                                const std::string& remedy, const std::string& result_code = "");
/// A lock is in the way that no program is known to hold.
[[noreturn]] void StopBusy(const Session& session, const std::string& what,
                           const std::string& remedy);
/// Another program is at work, and may be changing what the BMC serves.
[[noreturn]] void StopInUse(const Session& session, const std::string& what,
                            const std::string& remedy);
[[noreturn]] void StopInterrupted(const Session& session);

}  // namespace tarvek::control
