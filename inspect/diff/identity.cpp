#include "inspect/diff/identity.h"

#include <initializer_list>
#include <optional>

namespace tarvek::inspect {

namespace {

constexpr std::size_t kRecordIdSize = 2;

/// The numbers as a key; a number that is absent is none of a byte.
std::string KeyOf(const Record& record, std::initializer_list<std::optional<int>> numbers) {
  std::string key = std::to_string(record.type);
  for (const std::optional<int>& number : numbers) {
    key += number ? "." + std::to_string(*number) : ".-";
  }
  return key;
}

std::optional<int> Number(const std::optional<bool>& flag) {
  return flag ? std::optional<int>(*flag ? 1 : 0) : std::nullopt;
}

/// The rare records whose content is what they are: a change of theirs is a record more and one
/// less.
std::string ContentKey(const Record& record) { return "=" + ContentOf(record); }

std::string OemKey(const Record& record) {
  if (VersionText(record)) return "version";
  if (ScriptName(record)) return "script";
  return ContentKey(record);
}

}  // namespace

std::string ContentOf(const Record& record) {
  if (record.bytes.size() <= kRecordIdSize) return "";
  return {record.bytes.begin() + kRecordIdSize, record.bytes.end()};
}

std::string IdentityOf(const Record& record) {
  const Record& r = record;
  switch (static_cast<RecordType>(record.type)) {
    case RecordType::kFullSensor:
    case RecordType::kCompactSensor:
    case RecordType::kEventOnly:
      return KeyOf(r, {r.owner_id, r.owner_lun, r.channel, r.sensor_number});
    case RecordType::kEntityAssociation:
    case RecordType::kDeviceEntityAssociation:
      return KeyOf(r, {r.entity_id, r.entity_instance, Number(r.entity_logical), r.device_address,
                       r.channel});
    case RecordType::kGenericDeviceLocator:
      return KeyOf(r, {r.access_address, r.device_address, r.access_lun, r.private_bus, r.channel});
    case RecordType::kFruDeviceLocator:
      return KeyOf(
          r, {r.device_address, r.fru_id, r.slave_address, r.access_lun, r.private_bus, r.channel});
    case RecordType::kControllerLocator:
    case RecordType::kControllerConfirmation:
      return KeyOf(r, {r.device_address, r.channel});
    case RecordType::kMessageChannelInfo:
      return KeyOf(r, {});
    case RecordType::kOem:
      return OemKey(record);
  }
  return ContentKey(record);
}

}  // namespace tarvek::inspect
