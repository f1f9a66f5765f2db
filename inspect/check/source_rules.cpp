// What a source file says that is not what the tool takes from it.
#include <algorithm>
#include <map>
#include <set>

#include "inspect/check/loaded_together.h"
#include "inspect/check/subject.h"
#include "sdrfile/utilities/sdr_record.h"

namespace tarvek::inspect {

namespace {

RuleId RuleFor(Remark::Kind kind) {
  switch (kind) {
    case Remark::Kind::kSkippedWord:
      return RuleId::kWordSkipped;
    case Remark::Kind::kSkippedC0:
      return RuleId::kWordSkippedBehindC0;
    case Remark::Kind::kLostData:
      return RuleId::kDataLost;
    case Remark::Kind::kBadNumber:
      break;
  }
  return RuleId::kNumberUnreadable;
}

std::string MessageFor(const Remark& remark) {
  const std::string word = "\"" + remark.word + "\" ";
  switch (remark.kind) {
    case Remark::Kind::kSkippedWord:
      return word +
             "is passed over: between records only _SDR_TYPE and \")\" count; remove it, or make "
             "it a part of the record or a comment.";
    case Remark::Kind::kSkippedC0:
      return word +
             "is passed over, because the record before it ends with C0; write '' behind the C0.";
    case Remark::Kind::kLostData:
      return word +
             "has an odd number of digits, and its bytes are left 0; write two digits for each "
             "byte.";
    case Remark::Kind::kBadNumber:
      break;
  }
  return word + "is no hexadecimal number and is taken for 0; correct it.";
}

void CheckRemarks(const Subject& subject, Findings* findings) {
  for (const Remark& remark : subject.set.remarks) {
    const RuleId rule = RuleFor(remark.kind);
    if (remark.record >= 1 && remark.record <= subject.records.size()) {
      findings->AddAt(rule, remark.record - 1, remark.place, MessageFor(remark));
    } else {
      findings->AddToSetAt(rule, remark.place, MessageFor(remark));
    }
  }
}

void CheckDeclared(const Subject& subject, std::size_t index, Findings* findings) {
  const InputRecord& input = subject.Input(index);
  const Record& record = subject.records[index];
  const int length = record.body_length + kRecordHeaderSize;
  if (input.declared_length && *input.declared_length != length) {
    const bool longer = *input.declared_length > length;
    findings->Add(RuleId::kLengthDiffers, index,
                  "_REC_LEN says " + std::to_string(*input.declared_length) +
                      " bytes and the record's length byte " + std::to_string(length) +
                      ": the tool programs " + std::to_string(length) + ", " +
                      (longer ? "without the rest" : "the missing ones as 0") +
                      "; correct the one that is wrong.");
  }
  if (input.declared_type && *input.declared_type != record.type) {
    findings->Add(RuleId::kTypeDiffers, index,
                  "_SDR_TYPE says " + HexNumber(*input.declared_type) +
                      " and the record's own type byte " + HexNumber(record.type) +
                      ", which is the one that is programmed; make them the same.");
  }
}

/// The tags that a script sets, to be asked as the tool asks: letter case counts for nothing, and
/// "#" in a record's tag stands for any digit.
class SetTags {
 public:
  explicit SetTags(const std::vector<std::string>& tags) {
    for (const std::string& tag : tags) {
      const std::string name = LowerCase(tag);
      if (names_.insert(name).second) by_shape_[Shape(name)].push_back(name);
    }
  }

  bool Has(const std::string& tag) const {
    const std::string name = LowerCase(tag);
    if (names_.contains(name)) return true;
    if (name.find('#') == std::string::npos) return false;
    const auto alike = by_shape_.find(Shape(name));
    if (alike == by_shape_.end()) return false;
    return std::any_of(alike->second.begin(), alike->second.end(), [&](const std::string& set) {
      return std::equal(set.begin(), set.end(), name.begin(),
                        [](char s, char n) { return n == s || (n == '#' && IsDigit(s)); });
    });
  }

 private:
  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }
  /// The tag with "#" for every digit: what a tag with "#" matches is of its shape.
  static std::string Shape(std::string name) {
    std::replace_if(name.begin(), name.end(), IsDigit, '#');
    return name;
  }

  std::set<std::string> names_;
  std::map<std::string, std::vector<std::string>> by_shape_;
};

/// Each tag is told once, at its first record.
void CheckTags(const Subject& subject, Findings* findings) {
  if (subject.set.format != Format::kScript) return;
  const SetTags set_tags(subject.set.set_tags);
  std::set<std::string> told;
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    for (const std::string& tag : subject.Input(i).tags) {
      if (!told.insert(LowerCase(tag)).second || set_tags.Has(tag)) continue;
      findings->Add(RuleId::kTagNeverSet, i,
                    "No SET of the script names the tag \"" + tag +
                        "\", so that it never loads this record; correct the tag if it should.");
    }
  }
}

}  // namespace

void CheckSource(const Subject& subject, Findings* findings) {
  CheckRemarks(subject, findings);
  for (std::size_t i = 0; i < subject.records.size(); ++i) CheckDeclared(subject, i, findings);
  CheckTags(subject, findings);
}

}  // namespace tarvek::inspect
