// What reading the inputs costs: SDR text and configuration scripts, by size.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "config/cfg_file.h"
#include "driver/reporting/run_settings.h"
#include "sdrfile/sdr_file.h"
#include "tests/blackbox/sdr_text.h"

namespace {

/// A file in the temporary directory, gone at the end of the benchmark.
class ScratchFile {
 public:
  explicit ScratchFile(const std::string& bytes) : size_(bytes.size()) {
    name_ = "/tmp/tarvek-bench-XXXXXX";
    const int fd = mkstemp(name_.data());
    if (fd < 0) std::abort();
    std::FILE* const file = fdopen(fd, "w");
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile() { std::remove(name_.c_str()); }

  const char* name() const { return name_.c_str(); }
  std::int64_t size() const { return static_cast<std::int64_t>(size_); }

 private:
  std::string name_;
  std::size_t size_;
};

void ParseSdrText(benchmark::State& state) {
  const ScratchFile file(blackbox::SdrText(blackbox::SdrSet(static_cast<int>(state.range(0)))));
  for (auto _ : state) {
    SDRFile loader(kProtocolId);
    FileRecord input;
    if (loader.OpenFile(file.name(), &input, "r") != kSuccess ||
        loader.Parse(&input, nullptr) != kSuccess) {
      state.SkipWithError("the file does not parse");
    }
    input.Close();
  }
  state.SetBytesProcessed(state.iterations() * file.size());
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(ParseSdrText)->RangeMultiplier(10)->Range(100, 1000000)->Unit(benchmark::kMillisecond);

/// A script of so many lines that sets, tests and clears tags in nested blocks.
std::string ScriptText(std::int64_t lines) {
  std::string text;
  for (std::int64_t n = 0; n < lines; n += 10) {
    const std::string tag = "TAG" + std::to_string(n % 50);
    text += "SET " + tag + "  // line " + std::to_string(n) + "\n";
    text += "IFSET " + tag + "\n  IFSET NEVER " + tag + "\n    MENU x y\n  ELSE\n";
    text += "    CONFIGURATION \"\"\n  ENDIF\nELSE\nENDIF\nCLEAR " + tag + "\n";
  }
  return text;
}

void RunScript(benchmark::State& state) {
  const ScratchFile file(ScriptText(state.range(0)));
  for (auto _ : state) {
    CfgFile script(kProtocolId);
    if (script.Process(file.name()) != kSuccess) state.SkipWithError("the script does not run");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(RunScript)->RangeMultiplier(10)->Range(100, 1000000)->Unit(benchmark::kMillisecond);

/// A script that sets half as many tags as it has lines, and asks for each.
void RunScriptOfManyTags(benchmark::State& state) {
  std::string text;
  for (std::int64_t n = 0; n < state.range(0) / 2; n += 2) {
    const std::string tag = "TAG" + std::to_string(n);
    text += "SET " + tag + "\nSET A" + tag + "\nIFSET " + tag + " A" + tag + "\nENDIF\n";
  }
  const ScratchFile file(text);
  for (auto _ : state) {
    CfgFile script(kProtocolId);
    if (script.Process(file.name()) != kSuccess) state.SkipWithError("the script does not run");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(RunScriptOfManyTags)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMillisecond);

/// A script that sets a quarter as many tags of one form as it has lines, and asks with "#" among
/// other digits for tags of that form that are not set.
void RunScriptOfWildcards(benchmark::State& state) {
  constexpr std::int64_t kNumbers = 10'000'000;
  std::string text;
  const std::int64_t tags = state.range(0) / 4;
  for (std::int64_t n = 0; n < tags; ++n) text += "SET T" + std::to_string(kNumbers + n) + "0\n";
  for (std::int64_t n = 0; n < tags; ++n) {
    text += "IFSET T#" + std::to_string(kNumbers + n).substr(1) + "1\nELSE\nENDIF\n";
  }
  const ScratchFile file(text);
  for (auto _ : state) {
    CfgFile script(kProtocolId);
    if (script.Process(file.name()) != kSuccess) state.SkipWithError("the script does not run");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(RunScriptOfWildcards)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
