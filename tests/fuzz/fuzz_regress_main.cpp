// Runs a fuzzer over the files of the directories that are named as arguments, once each, without
// libFuzzer: any compiler can build it, and a crash or an abort fails the test.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
// A fuzzer need not have one.
extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

std::vector<std::filesystem::path> InputsOf(const char* directory) {
  std::vector<std::filesystem::path> inputs;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    if (entry.is_regular_file()) inputs.push_back(std::filesystem::absolute(entry.path()));
  }
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

bool Run(const std::filesystem::path& input) {
  std::ifstream file(input, std::ios::binary);
  if (!file) return false;
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::printf("%s: %zu bytes\n", input.filename().c_str(), bytes.size());
  std::fflush(stdout);
  return LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                bytes.size()) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
  int runs = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& input : InputsOf(argv[i])) {
      if (!Run(input)) {
        std::fprintf(stderr, "%s failed\n", input.c_str());
        return 1;
      }
      ++runs;
    }
  }
  std::printf("%d inputs\n", runs);
  return runs > 0 ? 0 : 1;
}
