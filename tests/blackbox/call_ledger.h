// What libfailing_calls.so knows of a run: which calls the tool has made, and which of them are to
// fail. Takes no memory from the heap, since it is asked about every allocation.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace failing_calls {

/// The environment variable that holds the rules, separated by blanks:
///
///     rule  = which '@' K [ '-' ] [ '=' errno ]  |  "list"
///     which = "alloc"  every allocation: malloc, calloc, realloc, operator new
///           | "call"   every other call
///           | a function's name, as the C library has it: fclose, sem_open, ...
///
/// The Kth of them fails, or with '-' every one from the Kth on. The errno is a name like ENOSPC;
/// SHORT lets a write take half of its bytes, and SLOW lets the call do what it does a millisecond
/// later. "list" writes every call into the report.
inline constexpr char kRulesVariable[] = "TARVEK_FAIL";

/// The environment variable that names the report. It is appended to, a line for a call:
///
///     alloc malloc tarvek.log            a call, listed
///     call fclose tarvek.log             a call, listed
///     fail alloc malloc tarvek.log       a call that a rule made fail
///
/// The last word is the file that the call is about, without its directories; "-" for none.
inline constexpr char kReportVariable[] = "TARVEK_CALLS";

/// Only this program's calls are counted, and only while its main() runs: what the loader and the
/// libraries do before is none of its doing.
inline constexpr char kProgram[] = "tarvek";

enum class Kind : std::uint8_t { kAlloc, kCall };

enum class Verdict : std::uint8_t { kPass, kFail, kShort };

class CallLedger {
 public:
  constexpr CallLedger() = default;

  /// Begins to count, if the environment holds rules. The first call of a run.
  void Open();

  /// Ends it: whatever is called from here on passes.
  void Close() { open_ = false; }

  /// Counts a call.
  ///
  /// @param function  its name.
  /// @param file      what it is about, or null.
  /// @return what is to become of it; with kFail errno is set.
  Verdict Judge(Kind kind, const char* function, const char* file);

 private:
  static constexpr std::size_t kMaxRules = 8;

  struct Rule {
    std::string_view which;
    std::uint32_t first = 0;
    bool onwards = false;
    int error = 0;
    std::uint32_t seen = 0;

    bool Names(Kind kind, std::string_view function) const;
  };

  void Take(std::string_view word);
  void Report(const char* lead, Kind kind, const char* function, const char* file) const;

  bool open_ = false;
  bool listing_ = false;
  const char* report_ = nullptr;
  std::array<Rule, kMaxRules> rules_{};
  std::size_t rule_count_ = 0;
};

/// The real open, write and close, which the ledger's report goes through.
struct ReportCalls {
  int (*open)(const char*, int, ...);
  ssize_t (*write)(int, const void*, std::size_t);
  int (*close)(int);
};
ReportCalls RealReportCalls();

}  // namespace failing_calls
