// The simulated BMC of a run, looked at and meddled with from outside.
#pragma once

#include <string>
#include <vector>

#include "tests/blackbox/sdr_text.h"

namespace chaos {

/// Makes a BMC of product 01A3h that serves these records.
void MakeBmc(const std::string& path, const std::vector<blackbox::SourceRecord>& records);

/// What it serves: one record a line in hexadecimal, without record IDs.
std::vector<std::string> ServedBy(const std::string& path);

/// What a BMC forgets when it is reset: the spare copy and the reservations.
void ResetBmc(const std::string& path);

/// Somebody else programs other records.
void ReplaceSet(const std::string& path, const std::vector<blackbox::SourceRecord>& records);

/// @return a backup image with these records, of a board of product 01A3h.
std::string ImageOf(const std::vector<blackbox::SourceRecord>& records);

/// @return the records of a backup image, as ServedBy() gives them.
std::vector<std::string> RecordsInImage(const std::string& path);

}  // namespace chaos
