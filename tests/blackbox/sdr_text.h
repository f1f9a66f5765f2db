// SDR source files for tests: records as bytes, and the text that describes them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace blackbox {

using Bytes = std::vector<std::uint8_t>;

/// A record of a source file.
struct SourceRecord {
  Bytes bytes;                    // header and body
  std::vector<std::string> tags;  // tag names
};

/// A compact sensor record (type 02h) of 27 fixed bytes and an ID string.
SourceRecord SensorRecord(int number, const std::string& id);

/// The maker's OEM record that carries `version`, whose text begins with "S".
SourceRecord VersionRecord(const std::string& version = "SDR Version 01.03");

/// The maker's OEM record that names a configuration script (without ".CFG").
SourceRecord ScriptNameRecord(const std::string& name);

/// A version record and `count` sensor records.
std::vector<SourceRecord> SdrSet(int count, const std::string& version = "SDR Version 01.03");

/// A whole source file of format 1.5 that holds `records`.
std::string SdrText(const std::vector<SourceRecord>& records);

/// Each record in upper-case hex, as the simulator dumps them: without its record ID.
std::vector<std::string> HexOf(const std::vector<SourceRecord>& records);

}  // namespace blackbox
