#include "inspect/convert/source.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>
#include <string_view>

#include "inspect/convert/plain_ascii.h"
#include "inspect/convert/source_rows.h"
#include "inspect/decode/explain.h"
#include "inspect/decode/names.h"
#include "inspect/decode/record.h"
#include "sdrfile/utilities/sdr_record.h"

namespace tarvek::inspect {
namespace {

constexpr std::size_t kMaxRecordInSource = 64;  // bytes, header included
constexpr std::size_t kMaxLine = 254;           // bytes, without the line feed
constexpr std::size_t kCommentColumn = 26;
constexpr std::size_t kTextWidth = 104;  // of lines with comments, where words allow it
constexpr std::size_t kMaxFileName = 31;
constexpr std::size_t kMaxFileVersion = 7;
constexpr unsigned char kC0 = 0xC0;
constexpr std::string_view kComment = "// ";
constexpr char kQuote = '\'';

std::string Hex(unsigned value, int digits) {
  std::array<char, 9> text{};
  std::snprintf(text.data(), text.size(), "%0*X", digits, value);
  return text.data();
}

std::string Quoted(std::string_view text) { return kQuote + std::string(text) + kQuote; }

/// Writes `comment`, which is plain ASCII, behind `data`, on as many lines as it takes.
void AddCommented(std::string_view data, std::string_view comment, std::size_t column,
                  std::string* source) {
  std::string line(data);
  if (comment.empty()) *source += line + "\n";
  while (!comment.empty()) {
    line.resize(std::max(line.empty() ? column : line.size() + 2, column), ' ');
    const std::size_t room = kTextWidth - std::min(column, line.size()) - kComment.size();
    std::size_t cut = comment.size() <= room ? comment.size() : comment.rfind(' ', room);
    if (cut == std::string_view::npos || cut == 0) cut = std::min(room, comment.size());
    *source += line.append(kComment).append(comment.substr(0, cut)) + "\n";
    comment.remove_prefix(cut);
    comment.remove_prefix(std::min(comment.find_first_not_of(' '), comment.size()));
    line.clear();
  }
}

/// What a file header's text may hold: the tool stores so many characters of it.
std::string HeaderText(std::string_view wanted, std::size_t size, std::string_view otherwise) {
  std::string text(wanted.substr(0, size));
  const auto is_plain = [](char c) { return c >= ' ' && c <= '~' && c != kQuote; };
  std::replace_if(
      text.begin(), text.end(), [&](char c) { return !is_plain(c); }, '_');
  return text.empty() ? std::string(otherwise) : text;
}

/// The number in "SDR Version 01.03".
std::string FileVersion(const RecordSet& set) {
  constexpr std::string_view kNone = "00.00";
  const std::string_view text = set.version ? std::string_view(*set.version) : "";
  const std::string_view word = text.substr(text.find_last_of(' ') + 1);
  return word.size() <= kMaxFileVersion ? HeaderText(word, kMaxFileVersion, kNone)
                                        : std::string(kNone);
}

std::string FileHeader(const RecordSet& set, const std::vector<NumberedRecord>& records,
                       const SourceOptions& options) {
  constexpr std::size_t kMostStated = 0xFFFF;
  std::size_t size = 0;
  for (const NumberedRecord& entry : records) size += entry.record->bytes.size();
  const std::string count =
      std::to_string(records.size()) + (records.size() == 1 ? " record" : " records");
  std::string text;
  AddCommented("", count + ", written by tarvek-sdr from " + PlainAscii(set.name) + ".", 0, &text);
  AddCommented("",
               "Numbers are hexadecimal. Who changes the length of a text changes three of them: "
               "_REC_LEN, which counts all bytes of the record; its fifth byte, which counts those "
               "behind it; and the byte in front of the text.",
               0, &text);
  text += "\n_LF_NAME " + Quoted(HeaderText(options.file_name, kMaxFileName, "BMCSDR.SDR"));
  text += "\n_LF_VERSION " + Quoted(FileVersion(set));
  text += "\n_LF_FMT_VER '1.5'\n_IPMI_VERSION '1.50'\n\n_SDR (\n_START_ADDR 0000 _DATA_LEN ";
  text += Hex(static_cast<unsigned>(std::min(size, kMostStated)), 4);
  return text + " _NVS_TYPE 'IMBDEVICE' _DEV_BUS 00 _DEV_ADDRESS 20\n";
}

/// The bytes of a row as data tokens; those of the record ID make one, and are 0.
std::string RowData(const Record& record, const SourceRow& row) {
  const std::span<const unsigned char> bytes = std::span(record.bytes).first(record.used);
  const std::size_t end = row.offset + row.size;
  std::string data = row.offset == 0 ? "0000" : "";
  for (std::size_t i = row.offset == 0 ? 2 : row.offset; i < end - row.text; ++i) {
    if (!data.empty()) data += ' ';
    data += Hex(bytes[i], 2);
  }
  if (row.text != 0) {
    if (!data.empty()) data += ' ';
    return data + Quoted({reinterpret_cast<const char*>(&bytes[end - row.text]), row.text});
  }
  // Behind a record that ends with this byte a word is skipped unread.
  if (end == bytes.size() && bytes.back() == kC0) data += " ''";
  return data;
}

/// The row of an ID string says in its comment what its bytes do not show.
std::string NameComment(const Record& record, const SourceRow& row) {
  const Name& name = *record.name;
  std::string text = "ID string: " + std::to_string(name.declared_length) +
                     (name.declared_length == 1 ? " character, " : " characters, ") +
                     std::string(EncodingName(name.encoding));
  if (row.text == 0 && name.characters != 0) text += ", \"" + name.text + "\"";
  return text;
}

bool IsHexNumber(std::string_view text) {
  return !text.empty() && text.back() == 'h' &&
         text.find_first_not_of("0123456789ABCDEF") == text.size() - 1;
}

/// What a field says beyond the byte beside it: "5Fh (95 degrees C), readable" says "95 degrees C,
/// readable".
std::string BriefText(const LongField& field) {
  constexpr std::size_t kByteSize = 3;  // "5Fh"
  if (!field.explained || field.key == "data") return {};
  std::string text = field.text;
  if (!IsHexNumber(std::string_view(text).substr(0, kByteSize))) return text;
  text.erase(0, kByteSize);
  if (text.substr(0, 2) != " (") return text;
  const std::size_t close = text.back() == ')' ? text.size() - 1 : text.find("), ");
  if (close == std::string::npos) return text;
  return text.erase(close, 1).erase(0, 2);
}

/// Fields that say "nothing special" are left out where others of the row do say something.
std::string RowComment(const Record& record, const SourceRow& row,
                       std::span<const LongField> fields) {
  if (record.name && row.offset + 1 == record.name->offset) return NameComment(record, row);
  std::string text;
  std::string dull;
  for (const LongField& field : fields) {
    if (field.offset < row.offset || field.offset >= row.offset + row.size) continue;
    if (field.offset == 0) continue;  // the record ID, which is the BMC's to give
    const std::string brief = BriefText(field);
    const bool is_dull = brief == "none" || brief == "no" || brief == "unspecified";
    std::string& to = is_dull ? dull : text;
    if (!to.empty()) to += "; ";
    to.append(field.label).append(brief.empty() ? "" : ": ").append(brief);
  }
  return text.empty() ? dull : text;
}

std::string Kind(const Record& record) {
  std::string kind(TypeName(record.type));
  if (VersionText(record)) kind += ", the version of the set";
  if (ScriptName(record)) kind += ", the script of the set";
  return kind;
}

void AddTag(const RecordSet& set, const NumberedRecord& entry, std::string_view tag,
            std::string* source) {
  constexpr std::string_view kWord = "_SDR_TAG ";
  constexpr std::size_t kQuotes = 2;
  if (tag.find_first_of(std::string_view("'\n\0", 3)) != std::string_view::npos) {
    throw ConversionError(set, entry.number, "has a tag that cannot be quoted");
  }
  // The tool compares no more than so many characters of a tag.
  if (kWord.size() + tag.size() + kQuotes > kMaxLine) tag = tag.substr(0, kMaxTagLength);
  source->append(kWord).append(Quoted(tag)) += '\n';
}

void AddRecord(const RecordSet& set, const NumberedRecord& entry, std::string* source) {
  const InputRecord& input = *entry.record;
  if (input.bytes.size() > kMaxRecordInSource) {
    throw ConversionError(set, entry.number,
                          "has " + std::to_string(input.bytes.size()) +
                              " bytes, a source file holds records of at most 64");
  }
  const Record record = Decode(input.bytes);
  const std::string name = PlainAscii(record.NameText());
  *source += '\n';
  AddCommented("",
               std::to_string(entry.number) + ": " + (name.empty() ? "" : name + ", ") +
                   PlainAscii(Kind(record)),
               0, source);
  *source += "_SDR_TYPE " + Hex(static_cast<unsigned>(record.type), 2) + "\n";
  for (const std::string& tag : input.tags) AddTag(set, entry, tag, source);
  *source += "_REC_LEN " + Hex(static_cast<unsigned>(input.bytes.size()), 2) + "\n";
  const std::vector<LongField> fields = Explain(record);
  for (const SourceRow& row : RowsOf(record)) {
    AddCommented(RowData(record, row), PlainAscii(RowComment(record, row, fields)), kCommentColumn,
                 source);
  }
}

}  // namespace

std::string ConvertToSource(const RecordSet& set, const SourceOptions& options) {
  const std::vector<NumberedRecord> records = WholeRecords(set, Which::kAll);
  std::string source = FileHeader(set, records, options);
  for (const NumberedRecord& entry : records) AddRecord(set, entry, &source);
  return source + ")\n";
}

}  // namespace tarvek::inspect
