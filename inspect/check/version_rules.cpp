// The version that an update compares.
#include <algorithm>
#include <string_view>

#include "inspect/check/subject.h"
#include "transport/ipmi_layout.h"

namespace tarvek::inspect {

namespace {

// As the tool reduces a version text to what it compares.
constexpr std::size_t kFieldStart = 12;
constexpr std::size_t kFieldSize = 5;

/// The text as the tool takes it: the bytes up to a NUL.
std::string_view VersionBytes(const Record& record) {
  const char* const bytes = reinterpret_cast<const char*>(record.bytes.data());
  const std::string_view text(bytes + kOemKindOffset, record.used - kOemKindOffset);
  return text.substr(0, text.find('\0'));
}

std::string_view ComparedField(std::string_view text) {
  return text.size() > kFieldStart ? text.substr(kFieldStart, kFieldSize) : text;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsAlphanumeric(char c) {
  return IsDigit(c) || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/// "01.02": compared byte by byte, it is in the order of the numbers.
bool IsVersionNumber(std::string_view field) {
  constexpr std::size_t kPoint = 2;
  if (field.size() != kFieldSize) return false;
  for (std::size_t i = 0; i < kFieldSize; ++i) {
    if (i == kPoint ? field[i] != '.' : !IsDigit(field[i])) return false;
  }
  return true;
}

/// A version number that goes on behind what is compared.
bool IsCut(std::string_view text) {
  const std::string_view rest = text.substr(std::min(text.size(), kFieldStart + kFieldSize));
  return !rest.empty() && (IsAlphanumeric(rest[0]) || rest[0] == '.');
}

void CheckText(const Record& record, std::size_t index, Findings* findings) {
  const std::string_view text = VersionBytes(record);
  const std::string_view field = ComparedField(text);
  const std::string remedy =
      "; write it as in \"SDR Version 01.02\": twelve characters, two digits, a point, two digits.";
  if (!IsVersionNumber(field)) {
    findings->Add(RuleId::kVersionNotComparable, index,
                  "An update compares \"" + std::string(field) + "\" of the version text \"" +
                      std::string(text) + "\", byte by byte, which is not the order of numbers" +
                      remedy);
  } else if (IsCut(text)) {
    findings->Add(RuleId::kVersionNotComparable, index,
                  "An update compares \"" + std::string(field) + "\" of the version text \"" +
                      std::string(text) + "\" alone, and not what follows" + remedy);
  }
}

}  // namespace

void CheckVersion(const Subject& subject, Findings* findings) {
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    if (!subject.Selected(i) || !VersionText(subject.records[i])) continue;
    CheckText(subject.records[i], i, findings);
    return;
  }
  findings->AddToSet(RuleId::kNoVersion,
                     "No version record is programmed, so that only a forced update takes the set; "
                     "add an OEM record with the maker's number, 77 00 00, and a text such as "
                     "\"SDR Version 01.02\".");
}

}  // namespace tarvek::inspect
