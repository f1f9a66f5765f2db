#include "tests/blackbox/call_ledger.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <iterator>
#include <optional>

namespace failing_calls {
namespace {

// As a rule's errno.
constexpr int kShortWrite = -1;
constexpr int kSlow = -2;

struct NamedError {
  std::string_view name;
  int number;
};

constexpr NamedError kErrors[] = {
    {"EACCES", EACCES}, {"EAGAIN", EAGAIN}, {"EDQUOT", EDQUOT},     {"EINTR", EINTR},
    {"EIO", EIO},       {"EMFILE", EMFILE}, {"ENOENT", ENOENT},     {"ENOMEM", ENOMEM},
    {"ENOSPC", ENOSPC}, {"EROFS", EROFS},   {"SHORT", kShortWrite}, {"SLOW", kSlow},
};

/// A mistake in the rules is the test's: it must not look like a run without failures.
[[noreturn]] void Refuse() {
  constexpr std::string_view kComplaint = "failing_calls: the rules are not understood\n";
  constexpr int kStatus = 99;
  if (RealReportCalls().write(STDERR_FILENO, kComplaint.data(), kComplaint.size()) < 0) {
    _exit(kStatus);
  }
  _exit(kStatus);
}

int ErrorOf(std::string_view name) {
  const auto* const found = std::find_if(std::begin(kErrors), std::end(kErrors),
                                         [&](const NamedError& e) { return e.name == name; });
  if (found == std::end(kErrors)) Refuse();
  return found->number;
}

/// Waits in truth, whatever clock the simulator shows.
void Nap() {
  constexpr timespec kNap{0, 1000000};
  ppoll(nullptr, 0, &kNap, nullptr);
}

}  // namespace

void CallLedger::Open() {
  const char* const rules = std::getenv(kRulesVariable);
  if (rules == nullptr) return;
  report_ = std::getenv(kReportVariable);
  for (std::string_view rest = rules; !rest.empty();) {
    const std::size_t end = std::min(rest.find(' '), rest.size());
    if (end > 0) Take(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  open_ = true;
}

void CallLedger::Take(std::string_view word) {
  if (word == "list") {
    listing_ = true;
    return;
  }
  const std::size_t at = word.find('@');
  if (at == std::string_view::npos || rule_count_ == kMaxRules) Refuse();
  Rule& rule = rules_[rule_count_++];
  rule.which = word.substr(0, at);
  const char* const end = word.data() + word.size();
  const auto [stop, wrong] = std::from_chars(word.data() + at + 1, end, rule.first);
  if (wrong != std::errc() || rule.first == 0) Refuse();
  word.remove_prefix(static_cast<std::size_t>(stop - word.data()));
  rule.onwards = word.starts_with('-');
  if (rule.onwards) word.remove_prefix(1);
  rule.error = rule.which == "alloc" ? ENOMEM : EIO;
  if (word.empty()) return;
  if (word.front() != '=') Refuse();
  rule.error = ErrorOf(word.substr(1));
}

bool CallLedger::Rule::Names(Kind kind, std::string_view function) const {
  if (which == "alloc") return kind == Kind::kAlloc;
  if (which == "call") return kind == Kind::kCall;
  return which == function;
}

Verdict CallLedger::Judge(Kind kind, const char* function, const char* file) {
  if (!open_) return Verdict::kPass;
  const int caller_errno = errno;
  std::optional<int> error;
  for (Rule& rule : rules_) {
    if (rule.first == 0 || !rule.Names(kind, function)) continue;
    ++rule.seen;
    if (rule.seen == rule.first || (rule.onwards && rule.seen > rule.first)) error = rule.error;
  }
  if (listing_) Report("", kind, function, file);
  if (error && *error != kSlow) Report("fail ", kind, function, file);
  if (error == kSlow) Nap();
  errno = caller_errno;
  if (!error || *error == kSlow) return Verdict::kPass;
  if (*error == kShortWrite) return Verdict::kShort;
  errno = *error;
  return Verdict::kFail;
}

void CallLedger::Report(const char* lead, Kind kind, const char* function, const char* file) const {
  if (report_ == nullptr) return;
  std::array<char, 256> line{};
  std::size_t size = 0;
  const auto put = [&](std::string_view text) {
    const std::size_t count = std::min(text.size(), line.size() - size);
    std::copy_n(text.data(), count, line.data() + size);
    size += count;
  };
  for (const char* part : {lead, kind == Kind::kAlloc ? "alloc " : "call ", function, " ",
                           file == nullptr ? "-" : file, "\n"}) {
    put(part);
  }
  const ReportCalls real = RealReportCalls();
  constexpr mode_t kMode = 0644;
  const int fd = real.open(report_, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kMode);
  if (fd < 0 || real.write(fd, line.data(), size) < 0) Refuse();
  real.close(fd);
}

}  // namespace failing_calls
