// The rules by name, for those that find what breaks them.
#pragma once

#include "inspect/check/check.h"

namespace tarvek::inspect {

/// In the order of Rules().
enum class RuleId {
  kDataLost,
  kNumberUnreadable,
  kWordSkipped,
  kWordSkippedBehindC0,
  kLengthDiffers,
  kTypeDiffers,
  kBodyOver64,
  kBodyTooShort,
  kBodyTooLong,
  kNameCut,
  kNameTooLong,
  kNameLengthReserved,
  kNameEncoding,
  kSensorNumberReserved,
  kDuplicateSensor,
  kDuplicateName,
  kThresholdOrder,
  kThresholdOutsideRange,
  kThresholdSettableOnly,
  kThresholdWithoutCapability,
  kNominalOutsideRange,
  kFactorMZero,
  kUnknownSensorType,
  kUnknownEventType,
  kUnknownEntity,
  kShareCountZero,
  kAssociationUnknownEntity,
  kAssociationLoop,
  kOwnerWithoutLocator,
  kTagNeverSet,
  kRecordNotReadable,
  kRecordNotRestorable,
  kNoVersion,
  kVersionNotComparable,
  kOverCapacity,
  kOverBackupSize,
};

const Rule& RuleOf(RuleId id);

}  // namespace tarvek::inspect
