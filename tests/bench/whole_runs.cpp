// Whole runs of the tool over the simulated BMC with the virtual clock: what each request costs
// the tool's own process, the simulator's share taken off, and how much memory it comes to.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/blackbox/sdr_text.h"

namespace {

using Words = std::vector<std::string>;

constexpr int kRepetitions = 11;

struct Cost {
  double cpu_us = 0;  // user and system
  long peak_kib = 0;
};

[[noreturn]] void Become(const Words& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  if (std::freopen("/dev/null", "w", stdout) == nullptr) _exit(126);
  execv(arguments[0], arguments.data());
  _exit(127);
}

[[noreturn]] void Complain(const Words& words) {
  std::fprintf(stderr, "%s failed\n", words.back().c_str());
  std::exit(1);
}

/// Runs a program to its end.
Cost Run(const Words& words) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) Become(words);
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  if (status != 0) Complain(words);
  const auto microseconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_usec);
  };
  return {microseconds(usage.ru_utime) + microseconds(usage.ru_stime), usage.ru_maxrss};
}

Words Simulated(const Words& options, const Words& program) {
  Words words{BMCSIM_PROGRAM};
  words.insert(words.end(), options.begin(), options.end());
  words.emplace_back("--");
  words.insert(words.end(), program.begin(), program.end());
  return words;
}

/// The number behind `key` in the simulator's statistics.
double Statistic(const std::string& key) {
  std::ifstream file("stats");
  for (std::string word; file >> word;) {
    double value = 0;
    if (word == key && file >> value) return value;
  }
  std::fprintf(stderr, "no %s in the simulator's statistics\n", key.c_str());
  std::exit(1);
}

/// Measures the median of several runs.
void Measure(const char* what, int bmc_records, const Words& arguments) {
  std::vector<double> own_us;
  double requests = 0;
  long peak_kib = 0;
  for (int n = 0; n < kRepetitions; ++n) {
    std::filesystem::remove("bmcsim.state");
    std::filesystem::remove("sdrversion_HW");
    Run({BMCSIM_PROGRAM, "--create", "--records", std::to_string(bmc_records), "--version-text",
         "01.02"});
    Words program{TARVEK_PROGRAM};
    program.insert(program.end(), arguments.begin(), arguments.end());
    const Cost cost = Run(Simulated({"--clock", "virtual", "--stats", "stats"}, program));
    requests = Statistic("requests");
    own_us.push_back(cost.cpu_us - Statistic("simulator_cpu_ns") / 1000);
    peak_kib = std::max(peak_kib, cost.peak_kib);
  }
  std::sort(own_us.begin(), own_us.end());
  const double median_us = own_us[own_us.size() / 2];
  std::printf("%-28s %6.0f requests %9.0f us CPU %7.2f us/request %7.2f MiB peak\n", what, requests,
              median_us, median_us / requests, static_cast<double>(peak_kib) / 1024);
}

#ifdef TARVEK_SDR_PROGRAM
/// Measures the median of several runs of the companion.
void MeasureCompanion(const char* what, const Words& arguments) {
  std::vector<double> cpu_us;
  long peak_kib = 0;
  for (int n = 0; n < kRepetitions; ++n) {
    Words program{TARVEK_SDR_PROGRAM};
    program.insert(program.end(), arguments.begin(), arguments.end());
    const Cost cost = Run(program);
    cpu_us.push_back(cost.cpu_us);
    peak_kib = std::max(peak_kib, cost.peak_kib);
  }
  std::sort(cpu_us.begin(), cpu_us.end());
  std::printf("%-28s %9.1f ms CPU %7.2f MiB peak\n", what, cpu_us[cpu_us.size() / 2] / 1000,
              static_cast<double>(peak_kib) / 1024);
}

void MeasureCompanion() {
  constexpr int kRecords = 10000;
  std::ofstream("LARGE.SDR") << blackbox::SdrText(blackbox::SdrSet(kRecords - 1));
  std::puts("\nThe companion, a source file of 10,000 records:");
  MeasureCompanion("show", {"show", "LARGE.SDR"});
  MeasureCompanion("show --raw", {"show", "--raw", "LARGE.SDR"});
  MeasureCompanion("show --json", {"show", "--json", "LARGE.SDR"});
  MeasureCompanion("show --long", {"show", "--long", "LARGE.SDR"});
  MeasureCompanion("diff with itself", {"diff", "LARGE.SDR", "LARGE.SDR"});
}
#else
void MeasureCompanion() {}
#endif

#ifdef TARVEKCTL_PROGRAM
/// Runs a program on the simulated BMC to its end.
/// @return the CPU time that it took itself, without its children's, in milliseconds.
double OwnCpu(const Words& program) {
  std::fflush(stdout);
  const Words words = Simulated({"--clock", "virtual"}, program);
  const pid_t child = fork();
  if (child == 0) Become(words);
  siginfo_t info{};
  waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
  double nanoseconds = 0;
  std::ifstream("/proc/" + std::to_string(child) + "/schedstat") >> nanoseconds;
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) Complain(words);
  return nanoseconds / 1e6;
}

/// What an update costs tarvekctl itself.
/// @param what     differs from the records served.
void MeasureUpdate(const char* what, const std::string& served, const std::string& input) {
  std::vector<double> own_ms;
  for (int n = 0; n < kRepetitions; ++n) {
    std::filesystem::remove("bmcsim.state");
    std::filesystem::remove("sdrversion_HW");
    Run({BMCSIM_PROGRAM, "--create", "--records", "299", "--version-text", "01.01"});
    if (!served.empty())
      Run(Simulated({"--clock", "virtual"}, {TARVEK_PROGRAM, "-update", "-sdr", served}));
    own_ms.push_back(
        OwnCpu({TARVEKCTL_PROGRAM, "--state-dir", "state", "update", "--allow-findings", input}));
  }
  std::sort(own_ms.begin(), own_ms.end());
  std::printf("%-42s %5.1f ms (%.1f to %.1f)\n", what, own_ms[own_ms.size() / 2], own_ms.front(),
              own_ms.back());
}

void MeasureControl() {
  std::ofstream("NEWER.SDR") << blackbox::SdrText(blackbox::SdrSet(299, "SDR Version 01.09"));
  std::puts("\nAn update with tarvekctl, its CPU beside its children's (300 records):");
  MeasureUpdate("one record is another", "BMCSDR.SDR", "NEWER.SDR");
  MeasureUpdate("all records are others", "", "NEWER.SDR");
}
#else
void MeasureControl() {}
#endif

}  // namespace

int main() {
  // In memory, if there is such a place: what files cost differs much from disk to disk.
  const bool in_memory = access("/dev/shm", W_OK) == 0;
  const std::filesystem::path place =
      in_memory ? "/dev/shm" : std::filesystem::temp_directory_path();
  std::string directory = (place / "tarvek-bench-XXXXXX").string();
  if (mkdtemp(directory.data()) == nullptr) return 1;
  std::filesystem::current_path(directory);
  std::ofstream("mchk_fil") << "01a3\n";
  std::ofstream("BMCSDR.SDR") << blackbox::SdrText(blackbox::SdrSet(299));
  Run({TARVEK_PROGRAM, "-ratio"});  // warms the page cache

  std::puts("\nThe tool's own CPU (user and system, logging and start-up included):");
  Measure("version, 300 records", 299, {"-version", "-sdr"});
  Measure("update, 300 records", 299, {"-update", "-sdr"});
  Measure("update with -test", 299, {"-update", "-sdr", "-test"});
  Measure("backup, 500 records", 499, {"-backup"});
  MeasureCompanion();
  MeasureControl();

  std::filesystem::current_path("/");
  std::filesystem::remove_all(directory);
}
