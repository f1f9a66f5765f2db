// What every conversion of a set into another form has in common.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "inspect/input/record_set.h"

namespace tarvek::inspect {

/// Which records of a set are meant.
enum class Which {
  kSelected,  // those that the tool would program
  kAll,
};

/// A set that the form asked for cannot hold. what() is a sentence without a place, which names the
/// record; escaped.
class ConversionError : public std::runtime_error {
 public:
  /// The record `number` (from 1) of `set` is at fault.
  /// @param why  what follows the record in the sentence: "has …".
  ConversionError(const RecordSet& set, std::size_t number, const std::string& why);
  /// The set as a whole is at fault.
  explicit ConversionError(const std::string& why) : std::runtime_error(why) {}

  std::size_t record = 0;  // its number in the set, from 1; 0: the set as a whole
};

/// A record to be written.
struct NumberedRecord {
  std::size_t number = 0;  // in the set, from 1
  const InputRecord* record = nullptr;
};

/// The records of `set` that are meant, in its order.
/// @throws ConversionError  when a record is not whole: the tool would not program it, and no form
///   but the one that it came in could hold it.
std::vector<NumberedRecord> WholeRecords(const RecordSet& set, Which which);

}  // namespace tarvek::inspect
