#include "simulator/record_set.h"

#include <algorithm>
#include <charconv>

#include "simulator/sample_records.h"

namespace bmcsim {
namespace {

constexpr std::size_t kIdBytes = 2;
constexpr std::size_t kBareHeaderBytes = kRecordHeaderBytes - kIdBytes;
constexpr std::string_view kImageMark = "KOV IPMI";
constexpr std::string_view kBlanks = " \t\r";
constexpr char kNoBareRecord[] = "it is not a whole record (SDR version, type, body length, body)";
constexpr char kNoRecord[] =
    "it is not a whole record (record ID, SDR version, type, body length, body)";

std::uint8_t Byte(char character) { return static_cast<std::uint8_t>(character); }

bool IsText(std::string_view content) {
  return std::none_of(content.begin(), content.end(), [](char c) {
    const bool control = Byte(c) < 0x20 || c == 0x7F;
    return control && c != '\t' && c != '\n' && c != '\r' && c != '\f';
  });
}

/// A line of a text that holds bytes.
struct Line {
  int number;
  std::vector<std::uint8_t> bytes;

  bool IsBareRecord() const {
    return bytes.size() >= kBareHeaderBytes &&
           bytes.size() == kBareHeaderBytes + bytes[kBareHeaderBytes - 1];
  }
  bool IsRecord() const {
    return bytes.size() >= kRecordHeaderBytes &&
           bytes.size() == kRecordHeaderBytes + bytes[kBodyLengthOffset];
  }
};

bool ParseHexLine(std::string_view line, std::vector<std::uint8_t>& bytes) {
  while (true) {
    const std::size_t begin = line.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) return true;
    line.remove_prefix(begin);
    const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
    std::uint8_t byte = 0;
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), byte, 16);
    if (error != std::errc() || stop != word.data() + word.size() || word.size() != 2) return false;
    bytes.push_back(byte);
    line.remove_prefix(word.size());
  }
}

bool ReadLines(std::string_view text, std::vector<Line>& lines, std::string& error) {
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    std::string_view words = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    words = words.substr(0, words.find('#'));
    Line line{number, {}};
    if (!ParseHexLine(words, line.bytes)) {
      error = "line " + std::to_string(number) + ": it is not bytes in hex";
      return false;
    }
    if (!line.bytes.empty()) lines.push_back(std::move(line));
  }
  return true;
}

// Whether the lines have record IDs: what the lines say that can be read in one way only.
bool HaveIds(const std::vector<Line>& lines) {
  const auto with = std::count_if(lines.begin(), lines.end(), [](const Line& line) {
    return line.IsRecord() && !line.IsBareRecord();
  });
  const auto without = std::count_if(lines.begin(), lines.end(), [](const Line& line) {
    return line.IsBareRecord() && !line.IsRecord();
  });
  return with > without;
}

std::uint16_t RecordId(const std::vector<std::uint8_t>& record) {
  return static_cast<std::uint16_t>(record[0] | record[1] << 8);
}

bool ParseHexSet(std::string_view text, RecordSet& set, std::string& error) {
  std::vector<Line> lines;
  if (!ReadLines(text, lines, error)) return false;
  const bool ids = HaveIds(lines);
  for (Line& line : lines) {
    const std::string place = "line " + std::to_string(line.number);
    if (ids ? !line.IsRecord() : !line.IsBareRecord()) {
      error = place + ": " + (ids ? kNoRecord : kNoBareRecord);
      return false;
    }
    FileRecord record{place, kFirstRecord, std::move(line.bytes)};
    if (ids) {
      record.id = RecordId(record.bytes);
      record.bytes.erase(record.bytes.begin(), record.bytes.begin() + kIdBytes);
    }
    set.records.push_back(std::move(record));
  }
  return true;
}

/// Gives the records their IDs, none of them twice.
class RecordIds {
 public:
  explicit RecordIds(std::uint16_t step) : step_(step) {}

  std::uint16_t Take(std::uint16_t wanted) {
    if (wanted == kFirstRecord || wanted == kLastRecord || taken_[wanted]) {
      while (taken_[next_]) next_ = NextRecordId(next_, 1);
      wanted = next_;
    }
    taken_[wanted] = true;
    highest_ = std::max(highest_, wanted);
    next_ = NextRecordId(wanted, step_);
    return wanted;
  }

  std::uint16_t highest() const { return highest_; }

 private:
  std::uint16_t step_;
  std::uint16_t next_ = 1;
  std::uint16_t highest_ = 0;
  std::vector<bool> taken_ = std::vector<bool>(std::size_t{UINT16_MAX} + 1);
};

}  // namespace

bool ParseRawRecords(std::string_view content, std::size_t begin, RecordSet& set,
                     std::string& error) {
  while (begin < content.size()) {
    const std::string_view rest = content.substr(begin);
    const std::string place = "offset " + std::to_string(begin);
    const std::size_t length =
        rest.size() < kRecordHeaderBytes ? 0 : kRecordHeaderBytes + Byte(rest[kBodyLengthOffset]);
    if (length == 0 || length > rest.size()) {
      error = place + ": " + kNoRecord;
      return false;
    }
    FileRecord record{place, kFirstRecord, {rest.begin(), rest.begin() + static_cast<int>(length)}};
    record.id = RecordId(record.bytes);
    record.bytes.erase(record.bytes.begin(), record.bytes.begin() + kIdBytes);
    set.records.push_back(std::move(record));
    begin += length;
  }
  return true;
}

bool ParseRecordSet(std::string_view content, RecordSet& set, std::string& error) {
  set = RecordSet();
  if (content.starts_with(kImageMark)) return ParseImageSet(content, set, error);
  if (IsText(content)) return ParseHexSet(content, set, error);
  return ParseRawRecords(content, 0, set, error);
}

bool AddRecordSet(const RecordSet& set, BmcState& state, std::string& error) {
  RecordIds ids(ActiveControl(state).identity.record_id_step);
  for (const FileRecord& record : set.records) {
    if (AppendRecord(record.bytes, state, ids.Take(record.id))) continue;
    error = record.place + ": there is no room for this record";
    return false;
  }
  if (set.records.empty()) return true;
  Control control = ActiveControl(state);
  control.store[control.served].next_id =
      NextRecordId(ids.highest(), control.identity.record_id_step);
  Publish(control, state);
  return true;
}

}  // namespace bmcsim
