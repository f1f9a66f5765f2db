#include "control/engine/reading.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>

#include "control/engine/lock_gate.h"
#include "control/messages/advice.h"
#include "control/runs/machine_state.h"
#include "inspect/input/input_error.h"
#include "inspect/input/load.h"
#include "inspect/input/log_catcher.h"
#include "inspect/text/escape.h"

namespace tarvek::control {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kImage = "served.bak";
constexpr const char* kOutput = "output";
constexpr int kSecond = 1000;  // milliseconds
constexpr int kTries = 2;
constexpr std::chrono::seconds kLongestReading{900};
constexpr std::chrono::seconds kEndSoon{30};

std::string LastLine(const std::string& text) {
  std::size_t end = text.find_last_not_of("\r\n");
  if (end == std::string::npos) return "";
  const std::size_t begin = text.find_last_of("\r\n", end);
  return text.substr(begin == std::string::npos ? 0 : begin + 1, end - begin);
}

ReadFailure FailureOf(const Directory& work, const ChildEnd& end) {
  ReadFailure failure;
  const std::string log = work.Read("tarvek.log").value_or("");
  failure.error = FirstError(log);
  failure.busy =
      log.find("The update/backup has already been being executed.") != std::string::npos;
  failure.remedy = "Look for what is wrong: tarvekctl doctor.";
  if (failure.busy) {
    failure.what = "Another run of tarvek took the single-run lock while the BMC was to be read.";
    failure.remedy = "Wait until it has ended, then run the command again: tarvekctl status tells.";
  } else if (failure.error) {
    failure.what = "The BMC's records could not be read: error " +
                   std::to_string(failure.error->number) + ", " +
                   inspect::Escaped(failure.error->text) + ".";
    constexpr int kImageError = 31;
    failure.too_large = failure.error->number == kImageError &&
                        log.find("SDRReocrd Reading") != std::string::npos &&
                        log.find("No Space") == std::string::npos;
  } else if (end.signal != 0) {
    failure.what = "The BMC's records could not be read: tarvek was ended by signal " +
                   std::to_string(end.signal) + ".";
  } else {
    failure.what = "The BMC's records could not be read; tarvek's last words: \"" +
                   inspect::Escaped(LastLine(work.Read(kOutput).value_or(""))) + "\".";
  }
  return failure;
}

/// Runs `tarvek -backup` to its end. It may be ended at any time; one that was told to end, soon.
/// @return how it ended; absent for one that not even KILL ends.
std::optional<ChildEnd> RunReader(const Session& session, const Directory& work,
                                  bool* interrupted) {
  const Descriptor output = work.Append(kOutput);
  const Child child =
      Child::Start(session.tool, {"-backup", kImage}, work, output.get(), session.interrupts);
  Clock::time_point end_by = Clock::now() + kLongestReading;
  int told = 0;  // the signals that it was sent
  return WaitForChild(child, session.stops, interrupted, [&] {
    const Clock::time_point now = Clock::now();
    if (*interrupted && told == 0) end_by = now;
    if (now < end_by) return true;
    if (told == 2) return false;
    child.Signal(told == 0 ? SIGTERM : SIGKILL);
    end_by = now + kEndSoon;
    ++told;
    return true;
  });
}

/// One reading.
std::optional<Served> TryReading(const Session& session, const Bmc& bmc, ReadFailure* failure) {
  const Directory& work = session.reading.Prepare(bmc.device.ProductText());
  bool interrupted = false;
  const std::optional<ChildEnd> end = RunReader(session, work, &interrupted);
  // A killed reader leaves the lock; one that lives on keeps it.
  if (!end) {
    session.reading.Leave();
  } else if (end->signal != 0) {
    NoteKilled(work);
    WaitForFreeLock(session);
  }
  if (interrupted) StopInterrupted(session);
  if (!end) {
    failure->what = "The tarvek that was to read the BMC's records does not end, not even killed.";
    failure->remedy = "Its driver hangs: reboot the server, or reset its BMC.";
    failure->hangs = true;
    return std::nullopt;
  }
  if (!work.Has(kImage)) {
    *failure = FailureOf(work, *end);
    return std::nullopt;
  }
  Served served;
  try {
    served.set = inspect::Load(work.PathOf(kImage), {});
    served.image = work.Read(kImage).value_or("");
  } catch (const inspect::InputError& error) {
    // The tool leaves an image that is too large, and tells that it is none.
    *failure = FailureOf(work, *end);
    if (failure->too_large) return std::nullopt;
    failure->what = std::string("The image of the BMC's records is wrong (") +
                    inspect::Escaped(error.what()) + ").";
    failure->remedy = "Run the command again; look for what is wrong: tarvekctl doctor.";
    return std::nullopt;
  }
  served.records = RecordsOf(served.set.records);
  if (served.set.version) served.version = ReducedVersion(*served.set.version);
  served.script = served.set.script;
  return served;
}

}  // namespace

std::optional<NumberedError> FirstError(const std::string& log) {
  constexpr std::string_view kMark = "  Error, ";
  const std::size_t at = log.find(kMark);
  if (at == std::string::npos) return std::nullopt;
  const std::size_t begin = at + kMark.size();
  const std::string text = log.substr(begin, log.find('\n', begin) - begin);
  const ESTATUS status = inspect::StatusOfMessage(text);
  if (status > kLastCatalogued) return std::nullopt;
  return NumberedError{status, text};
}

std::optional<ChildEnd> WaitForChild(const Child& child, const Interrupts* stops, bool* interrupted,
                                     const std::function<bool()>& each) {
  while (each()) {
    switch (WaitFor(child.pidfd(), *interrupted ? nullptr : stops, kSecond)) {
      case Woken::kReadable:
        return child.Reap();
      case Woken::kInterrupted:
        *interrupted = true;
        child.Signal(SIGTERM);
        break;
      case Woken::kTimeOut:
        break;
    }
  }
  return std::nullopt;
}

Bmc IdentifyBmc(const Session& session) {
  const BmcReport report = AskBmc(session.stops);
  switch (report.failure) {
    case BmcFailure::kNone:
      return {*report.device, *report.info, report.driver};
    case BmcFailure::kInterrupted:
      StopInterrupted(session);
    case BmcFailure::kNoDriver:
      Refuse(session, ExitStatus::kUnfit, "No IPMI driver could be opened on this machine.",
             std::string(AdviceFor("SDRC03")->remedy), "SDRC03");
    default:
      FailUnchanged(session, "The BMC cannot be asked: " + inspect::Escaped(report.detail) + ".",
                    std::string(AdviceFor("SDRC05")->remedy), "SDRC05");
  }
}

std::optional<Served> ReadServed(const Session& session, const Bmc& bmc, ReadFailure* failure) {
  if (bmc.info.records == 0) return Served{};
  for (int left = kTries; left > 0; --left) {
    std::optional<Served> served = TryReading(session, bmc, failure);
    if (served || failure->too_large || failure->hangs) return served;
  }
  return std::nullopt;
}

void RememberServed(const Session& session, const Bmc& bmc, const Served& served, bool programmed) {
  ServedState now;
  now.product = bmc.device.ProductText();
  now.driver = bmc.driver;
  now.records = bmc.info.records;
  now.added = bmc.info.added;
  now.erased = bmc.info.erased;
  now.version = served.version;
  now.script = served.script;
  now.digest = DigestOf(served.records);
  now.read = std::time(nullptr);
  ChangeMachineState(session.store.state(), [&](MachineState* machine) {
    if (machine->served) now.programmed = machine->served->programmed;
    if (programmed) now.programmed = now.digest;
    machine->served = now;
    machine->readable = true;
  });
}

void RememberUnreadable(const Session& session) {
  ChangeMachineState(session.store.state(),
                     [](MachineState* machine) { machine->readable = false; });
}

}  // namespace tarvek::control
