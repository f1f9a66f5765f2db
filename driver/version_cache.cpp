#include "driver/version_cache.h"

#include <array>
#include <cstdio>
#include <optional>
#include <string>

#include "driver/reporting/output_file.h"
#include "driver/reporting/run_settings.h"
#include "driver/reporting/text_file.h"
#include "driver/reporting/text_format.h"

namespace tarvek {
namespace {

constexpr const char* kCacheName = "sdrversion_HW";
constexpr int kTextLineSize = 254;  // bytes, the terminator included

/// Reads a hexadecimal number and the white space behind it.
std::optional<unsigned long long> ReadStamp(std::FILE* file) {
  unsigned long long stamp = 0;
  // NOLINTNEXTLINE(cert-err34-c): one too large comes out as the largest, which is no time stamp
  if (std::fscanf(file, "%llx\n", &stamp) != 1) return std::nullopt;
  return stamp;
}

/// Reads a line without its last character. That is cut off without a look: it is the line feed
/// of every line that this tool has written.
std::string ReadText(std::FILE* file) {
  std::array<char, kTextLineSize> line{};
  if (std::fgets(line.data(), kTextLineSize, file) == nullptr) return "";
  std::string text(line.data());
  if (!text.empty()) text.pop_back();
  return text;
}

}  // namespace

void LoadVersionCache(const RepositoryStamps& stamps) {
  std::FILE* const file = OpenInput(kCacheName);
  if (file == nullptr) return;
  const std::optional<unsigned long long> addition = ReadStamp(file);
  const std::optional<unsigned long long> erase = ReadStamp(file);
  if (addition == stamps.addition && erase == stamps.erase) {
    g_HW_sdr_version = ReadText(file);
    gCFGIdentifyOEMSDR = ReadText(file);
  }
  std::fclose(file);
}

void StoreVersionCache(const RepositoryStamps& stamps) {
  Text text = Format("%04x\n%04x\n", stamps.addition, stamps.erase);
  text.Append(g_HW_sdr_version).Append('\n');
  if (!gCFGIdentifyOEMSDR.empty()) text.Append(gCFGIdentifyOEMSDR).Append('\n');
  WriteOutput(kCacheName, Keep::kNothing, text);
}

}  // namespace tarvek
