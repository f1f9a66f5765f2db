// The history logs: one time-stamped line per event, in the working directory.
#pragma once

#include <string_view>

namespace tarvek {

/// Takes the lines of the history log in the place of the console and the log file: the seam for
/// programs that read the tool's inputs with its own readers and report in their own way.
class LogSink {
 public:
  virtual ~LogSink() = default;
  /// @param text  a line as Bmc_HistoryLog() was given it; valid during the call.
  virtual void Line(std::string_view text) = 0;
};

/// Sends every line from now on to `sink`, which must live until it is replaced; null, as at the
/// start, sends them to the log.
/// @return the sink before.
LogSink* SetLogSink(LogSink* sink);

}  // namespace tarvek

inline int g_log_file_count = 0;  // kept for callers that know the name; read by nothing

/// Appends one line, "YYYY/MM/DD hh:mm:ss  text", in local time, to the log of the run mode:
/// "tarvek_version.log" (version query), "tarvek_ratio.log" (progress query) or "tarvek.log".
/// A text that ends with a line feed gets a second one in the file. Without a run mode or with
/// `g_display_flg` 1 the text goes to standard output first, there ended by one line feed.
///
/// The text is printed as it stands, never as a format; a line of more than 1023 bytes is cut.
/// A log that cannot be opened loses the line silently.
void Bmc_HistoryLog(std::string_view text);

/// Logs one raw BMC exchange as two lines, "request  = " and "response = ", each followed by
/// its bytes as two upper-case hexadecimal digits and a blank.
///
/// @param request, response  `request_length` and `response_length` bytes, read only.
void OutputBmcAccessLog(const unsigned char* request, const unsigned char* response,
                        unsigned char request_length, unsigned char response_length);

/// Keeps the version query's log small: one that is larger than 2000000 bytes replaces
/// "tarvek_version.old". The other logs grow without limit, deliberately.
void RotateVersionLog();
