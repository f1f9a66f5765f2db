// Catching what the tool's readers report.
#pragma once

#include <functional>
#include <string_view>

#include "driver/reporting/history_log.h"
#include "errors/catalogue.h"

namespace tarvek::inspect {

/// @return the status of an error message, which does not begin with "Error, "; 81 for none of the
///   catalogue's.
ESTATUS StatusOfMessage(std::string_view message);

/// While it lives, what the readers report comes here instead of the log: errors one by one, and
/// what a script displays not at all.
class LogCatcher : private LogSink {
 public:
  /// @param on_error  called with each error's status and message, which does not begin with
  ///   "Error, " and is valid during the call.
  using OnError = std::function<void(ESTATUS status, std::string_view message)>;
  explicit LogCatcher(OnError on_error);
  ~LogCatcher() override;
  LogCatcher(const LogCatcher&) = delete;
  LogCatcher& operator=(const LogCatcher&) = delete;

 private:
  void Line(std::string_view text) override;

  OnError on_error_;
  LogSink* before_;
};

}  // namespace tarvek::inspect
