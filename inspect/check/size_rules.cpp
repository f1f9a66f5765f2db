// How long records and sets are.
#include "inspect/check/subject.h"
#include "sdrfile/utilities/sdr_record.h"
#include "transport/image_layout.h"
#include "transport/ipmi_layout.h"

namespace tarvek::inspect {

namespace {

constexpr std::size_t kFirstPiece = kMaxPiece;  // what the tool reads of a record at first
constexpr std::size_t kLargestRepository = kSdrImageSize;
constexpr std::size_t kManufacturerId = 3;     // bytes, of an OEM record
constexpr std::size_t kLargestBackup = 32767;  // bytes of records that an image holds

void CheckBody(const Subject& subject, std::size_t index, Findings* findings) {
  const Record& record = subject.records[index];
  const std::string body = "The body has " + std::to_string(record.body_length) + " bytes";
  if (record.body_length > kMaxRecordBody) {
    if (!subject.Selected(index)) return;
    findings->Add(RuleId::kBodyOver64, index,
                  body + "; the tool programs no more than 64, and stops here.");
    return;
  }
  const auto length = static_cast<std::size_t>(record.body_length);
  if (record.Is(RecordType::kOem) && length < kManufacturerId) {
    findings->Add(RuleId::kBodyTooShort, index,
                  body + ", and an OEM record begins with 3 bytes of manufacturer ID; add them.");
    return;
  }
  const std::optional<BodyLength> due = BodyLengthOf(record.type);
  if (!due) return;
  if (length < due->fixed) {
    findings->Add(RuleId::kBodyTooShort, index,
                  body + ", and the fields of type " + HexNumber(record.type) + " take " +
                      std::to_string(due->fixed) + "; add what is missing.");
    return;
  }
  const std::size_t name = due->has_name && record.name ? record.name->bytes_due : 0;
  if (length <= due->fixed + name) return;
  findings->Add(RuleId::kBodyTooLong, index,
                body + ", and the fields of type " + HexNumber(record.type) +
                    (due->has_name ? " with this ID string take " : " take ") +
                    std::to_string(due->fixed + name) +
                    "; correct the fields, the ID string's length, or the length of the record.");
}

void CheckPiece(const Subject& subject, std::size_t index, Findings* findings) {
  const std::size_t size = subject.Input(index).bytes.size();
  if (!subject.Selected(index) || size >= kFirstPiece) return;
  const std::string what = "The record has " + std::to_string(size) + " bytes, ";
  const std::string remedy = "; fill it up to 16 bytes if its type allows.";
  if (subject.set.reads_whole_pieces) {
    findings->Add(RuleId::kRecordNotReadable, index,
                  what + "and the tool, which reads 16 at first, cannot read it back" + remedy);
  } else {
    findings->Add(RuleId::kRecordNotRestorable, index,
                  what + "and a backup that holds it cannot be restored" + remedy);
  }
}

void CheckTotal(const Subject& subject, Findings* findings) {
  std::size_t total = 0;
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    if (subject.Selected(i)) total += subject.Input(i).bytes.size();
  }
  const std::string what = "The records take " + std::to_string(total) + " bytes";
  const std::size_t capacity = subject.options.capacity.value_or(kLargestRepository);
  if (total > kLargestRepository) {
    findings->AddToSet(RuleId::kOverCapacity,
                       what + ", and the tool reads back no more than 65535; take some out.");
  } else if (total > capacity) {
    findings->AddToSet(RuleId::kOverCapacity, what + ", and the repository holds " +
                                                  std::to_string(capacity) + "; take some out.");
  }
  if (total > kLargestBackup) {
    findings->AddToSet(RuleId::kOverBackupSize,
                       what +
                           ", and a backup image holds no more than 32767: once programmed, "
                           "the set cannot be backed up.");
  }
}

}  // namespace

void CheckSizes(const Subject& subject, Findings* findings) {
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    CheckBody(subject, i, findings);
    CheckPiece(subject, i, findings);
  }
  CheckTotal(subject, findings);
}

}  // namespace tarvek::inspect
