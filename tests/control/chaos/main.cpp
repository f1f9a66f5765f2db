// Runs of tarvekctl in which anything goes wrong:
//   tarvekctl_chaos [--runs N] [--seed S] [--jobs J]
// Run number i has the seed S + i; --seed X --runs 1 repeats the run of seed X.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "tests/control/apart.h"
#include "tests/control/chaos/trial.h"
#include "tests/unit/support/lock_name.h"

namespace {

constexpr int kNotPossible = 77;

struct Options {
  std::uint64_t runs = 10000;
  std::uint64_t seed = 1;
  unsigned jobs = 2;
};

bool Parse(int argc, char* argv[], Options* options) {
  for (int i = 1; i < argc; i += 2) {
    const std::string name = argv[i];
    char* end = nullptr;
    const std::uint64_t value = i + 1 < argc ? std::strtoull(argv[i + 1], &end, 10) : 0;
    if (end == nullptr || *end != '\0') return false;
    if (name == "--runs") options->runs = value;
    if (name == "--seed") options->seed = value;
    if (name == "--jobs") options->jobs = static_cast<unsigned>(value);
    if (name != "--runs" && name != "--seed" && name != "--jobs") return false;
  }
  return options->jobs > 0;
}

/// Every `jobs`th run, from number `first` on.
int RunShare(const Options& options, std::uint64_t first) {
  if (!control_test::IsApart()) {
    std::cout << "no process namespace is to be had\n";
    return kNotPossible;
  }
  tarvek_test::UsePrivateLock();
  std::string place = "/dev/shm/chaos-XXXXXX";
  if (mkdtemp(place.data()) == nullptr) return kNotPossible;
  int violated = 0;
  std::map<std::string, int> outcomes;
  for (std::uint64_t i = first; i < options.runs; i += options.jobs) {
    const chaos::Scenario scenario = chaos::MakeScenario(options.seed + i);
    chaos::Verdict verdict;
    try {
      verdict = chaos::TryScenario(scenario, place);
    } catch (const std::exception& error) {
      verdict.violations.push_back(error.what());
    }
    ++outcomes[verdict.outcome];
    if (verdict.violations.empty() && options.runs > 1) continue;
    if (!verdict.violations.empty()) ++violated;
    std::string text = scenario.ToText();
    for (const std::string& what : verdict.violations) text += "VIOLATED: " + what + '\n';
    std::cout << text + verdict.evidence + '\n' << std::flush;
  }
  std::string text = "exit statuses:";
  for (const auto& [outcome, count] : outcomes)
    text += ' ' + outcome + ": " + std::to_string(count);
  std::cout << text + '\n' << std::flush;
  std::filesystem::remove_all(place);
  return violated == 0 ? 0 : 1;
}

int Wait(pid_t pid) {
  int status = 0;
  return waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

}  // namespace

int main(int argc, char* argv[]) {
  Options options;
  if (!Parse(argc, argv, &options)) {
    std::cerr << "tarvekctl_chaos [--runs N] [--seed S] [--jobs J]\n";
    return 2;
  }
  const auto began = std::chrono::steady_clock::now();
  std::cout << options.runs << " runs from seed " << options.seed << " on\n" << std::flush;
  std::vector<pid_t> shares;
  for (unsigned job = 0; job < options.jobs; ++job) {
    const pid_t pid = fork();
    if (pid == 0) _exit(control_test::RunApart([&] { return RunShare(options, job); }));
    shares.push_back(pid);
  }
  int status = 0;
  for (const pid_t share : shares) status = std::max(status, Wait(share));
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - began;
  std::cout << options.runs << " runs in " << taken.count() << " s\n";
  return status;
}
