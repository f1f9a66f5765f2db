#include "control/show/progress.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "inspect/output.h"

namespace tarvek::control {
namespace {

constexpr int kWhole = 100;

struct PhaseWords {
  std::string_view phase;
  const char* words;
};
constexpr std::array<PhaseWords, 5> kWords{{
    {"checking", "Checking INPUT and the machine"},
    {"reading", "Reading what the BMC serves"},
    {"saving", "Saving what the BMC serves"},
    {"programming", "Programming"},
    {"verifying", "Reading back what the BMC serves"},
}};

std::string WordsOf(const std::string& phase) {
  for (const auto& [known, words] : kWords) {
    if (known == phase) return words;
  }
  return phase;
}

/// What is shown need not arrive: a run goes on without a reader, and beside one that does not
/// read, such as a terminal that was stopped.
void Say(const std::string& text) {
  pollfd ready{STDOUT_FILENO, POLLOUT, 0};
  if (poll(&ready, 1, 0) != 1) return;
  try {
    inspect::StandardOutput output;
    output.Write(text);
    output.Finish();
  } catch (const inspect::OutputError&) {
    return;
  }
}

bool Same(const Progress& a, const Progress& b) {
  return a.phase == b.phase && a.percent == b.percent && a.seconds_left == b.seconds_left;
}

/// Progress as it goes on from what was shown: it never falls, and a run stays the run that it was.
Progress Rising(Progress progress, const Progress& last) {
  progress.percent = std::max(progress.percent, last.percent);
  if (progress.run.empty()) progress.run = last.run;
  return progress;
}

/// What fits into a line of the terminal; a longer one could not be written over.
std::size_t Columns() {
  winsize size{};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return known ? size.ws_col - 1U : std::string::npos;
}

class Bar : public ProgressSink {
 public:
  Bar() = default;
  Bar(const Bar&) = delete;
  Bar& operator=(const Bar&) = delete;
  ~Bar() override {
    if (shown_) Say(kClear);
  }

  void Show(const Progress& progress) override {
    const Progress next = Rising(progress, last_);
    if (shown_ && Same(last_, next)) return;
    last_ = next;
    shown_ = true;
    Say(std::string(kClear) + BarText(next).substr(0, Columns()));
  }

 private:
  static constexpr const char* kClear = "\r\x1b[K";

  Progress last_;
  bool shown_ = false;
};

class Lines : public ProgressSink {
 public:
  void Show(const Progress& progress) override {
    if (progress.phase == last_) return;
    last_ = progress.phase;
    Say(WordsOf(progress.phase) + " ...\n");
  }

 private:
  std::string last_;
};

class Objects : public ProgressSink {
 public:
  explicit Objects(std::string command) : command_(std::move(command)) {}

  void Show(const Progress& progress) override {
    const Progress next = Rising(progress, last_);
    if (shown_ && Same(last_, next)) return;
    last_ = next;
    shown_ = true;
    Json json{{"schema", 1},         {"command", command_},     {"run", nullptr},
              {"phase", next.phase}, {"percent", next.percent}, {"seconds_left", nullptr}};
    if (!next.run.empty()) json["run"] = next.run;
    if (next.seconds_left) json["seconds_left"] = *next.seconds_left;
    Say(JsonLine(json));
  }

 private:
  std::string command_;
  Progress last_;
  bool shown_ = false;
};

class Quiet : public ProgressSink {
 public:
  void Show(const Progress& /*progress*/) override {}
};

}  // namespace

std::string BarText(const Progress& progress) {
  constexpr int kWidth = 30;
  const int percent = std::clamp(progress.percent, 0, kWhole);
  const auto done = static_cast<std::size_t>(kWidth * percent / kWhole);
  std::string text = WordsOf(progress.phase) + "  [" + std::string(done, '#') +
                     std::string(kWidth - done, '.') + "]  " + std::to_string(percent) + " %";
  if (progress.seconds_left) text += ", " + std::to_string(*progress.seconds_left) + " s left";
  return text;
}

std::unique_ptr<ProgressSink> MakeProgressSink(bool json, const std::string& command) {
  if (json) return std::make_unique<Objects>(command);
  if (inspect::OnTerminal()) return std::make_unique<Bar>();
  return std::make_unique<Lines>();
}

std::unique_ptr<ProgressSink> MakeQuietSink() { return std::make_unique<Quiet>(); }

}  // namespace tarvek::control
