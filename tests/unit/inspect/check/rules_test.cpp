// Every rule: what breaks it, and what does not.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <set>

#include "tests/unit/inspect/check/test_set.h"

namespace tarvek::inspect {
namespace {

// Offsets in a record, header included.
constexpr std::size_t kLength = 4;
constexpr std::size_t kFullName = 47;  // the type/length byte

/// Gives a full sensor another ID string, and its record the length that belongs to it.
void SetName(InputRecord* record, int type_length, const Bytes& characters) {
  record->bytes.resize(kFullName);
  record->bytes.push_back(static_cast<unsigned char>(type_length));
  record->bytes.insert(record->bytes.end(), characters.begin(), characters.end());
  record->bytes[kLength] = static_cast<unsigned char>(record->bytes.size() - 5);
}

/// Makes the body `count` bytes longer or shorter.
void Resize(InputRecord* record, int count) {
  record->bytes.resize(record->bytes.size() + static_cast<std::size_t>(count));
  record->bytes[kLength] = static_cast<unsigned char>(record->bytes.size() - 5);
}

void AddRemark(TestSet* set, Remark::Kind kind, const char* word, std::size_t record) {
  set->set.remarks.push_back({kind, {"SET", 7, 3, {}}, word, record});
}

/// Adds records of at least 16 bytes that break nothing, `count` bytes in all.
void AddBytes(TestSet* set, std::size_t count) {
  constexpr std::size_t kUsual = 50;
  constexpr std::size_t kLeast = 16;
  while (count > 0) {
    const std::size_t size = count < kUsual + kLeast ? count : kUsual;
    set->Add(MakeRecord(0x70, Bytes(size - 5)));
    count -= size;
  }
}

std::size_t SizeOf(const TestSet& set) {
  std::size_t size = 0;
  for (const InputRecord& record : set.set.records) size += record.bytes.size();
  return size;
}

struct Case {
  const char* rule;
  const char* what;
  std::function<void(TestSet*)> change;
  int record = kUnbroken;  // that the finding is about
  const char* message = "";
  static constexpr int kUnbroken = -1;
  static constexpr int kTheSet = 0;
};

void PrintTo(const Case& row, std::ostream* out) { *out << row.rule << ": " << row.what; }

Bytes EventOnly(int number, int share_count, std::string_view name) {
  Bytes body = {0x20, 0,    static_cast<unsigned char>(number),      0x03, 0x01,
                0x07, 0x6F, static_cast<unsigned char>(share_count), 0x01, 0,
                0};
  AppendName(name, &body);
  return MakeRecord(0x03, body);
}

Bytes DeviceAssociation(int id, int instance, int address, const Bytes& entries) {
  Bytes body = {static_cast<unsigned char>(id), static_cast<unsigned char>(instance),
                static_cast<unsigned char>(address), 0, 0};
  body.insert(body.end(), entries.begin(), entries.end());
  body.resize(27);
  return MakeRecord(0x09, body);
}

// clang-format off
const std::vector<Case>& Cases() {
  static const std::vector<Case> cases = {
    // What a source file says and the tool passes over.
    {"data-lost", "an odd word", [](TestSet* s) {
       AddRemark(s, Remark::Kind::kLostData, "0AB", 3);
     }, 3, "\"0AB\" has an odd number of digits, and its bytes are left 0; write two digits for each byte."},
    {"data-lost", "another remark", [](TestSet* s) {
       AddRemark(s, Remark::Kind::kBadNumber, "XY", 3);
     }},
    {"number-unreadable", "a number that is none", [](TestSet* s) {
       AddRemark(s, Remark::Kind::kBadNumber, "XY", 3);
     }, 3, "\"XY\" is no hexadecimal number and is taken for 0; correct it."},
    {"number-unreadable", "another remark", [](TestSet* s) {
       AddRemark(s, Remark::Kind::kLostData, "0AB", 3);
     }},
    {"word-skipped", "a word between records", [](TestSet* s) {
       AddRemark(s, Remark::Kind::kSkippedWord, "_SDRTYPE", 2);
     }, 2, "\"_SDRTYPE\" is passed over: between records only _SDR_TYPE and \")\" count; remove it, or make it a part of the record or a comment."},
    {"word-skipped", "a word before the first record", [](TestSet* s) {
       AddRemark(s, Remark::Kind::kSkippedWord, "x", 0);
     }, Case::kTheSet, "\"x\" is passed over: between records only _SDR_TYPE and \")\" count; remove it, or make it a part of the record or a comment."},
    {"word-skipped", "no word", [](TestSet*) {}},
    {"word-skipped-behind-c0", "a record type behind C0", [](TestSet* s) {
       AddRemark(s, Remark::Kind::kSkippedC0, "_SDR_TYPE", 2);
     }, 2, "\"_SDR_TYPE\" is passed over, because the record before it ends with C0; write '' behind the C0."},
    {"word-skipped-behind-c0", "a word that no C0 precedes", [](TestSet* s) {
       AddRemark(s, Remark::Kind::kSkippedWord, "x", 2);
     }},
    {"length-differs", "_REC_LEN is too short", [](TestSet* s) {
       s->Controller().declared_length = 18;
     }, 2, "_REC_LEN says 18 bytes and the record's length byte 19: the tool programs 19, the missing ones as 0; correct the one that is wrong."},
    {"length-differs", "_REC_LEN is too long", [](TestSet* s) {
       s->Controller().declared_length = 20;
     }, 2, "_REC_LEN says 20 bytes and the record's length byte 19: the tool programs 19, without the rest; correct the one that is wrong."},
    {"length-differs", "_REC_LEN is the record's", [](TestSet* s) {
       s->Controller().declared_length = 19;
     }},
    {"type-differs", "_SDR_TYPE is another", [](TestSet* s) {
       s->Full().declared_type = 0x02;
     }, 3, "_SDR_TYPE says 02h and the record's own type byte 01h, which is the one that is programmed; make them the same."},
    {"type-differs", "_SDR_TYPE is the record's", [](TestSet* s) {
       s->Full().declared_type = 0x01;
     }},

    // How long records are.
    {"body-over-64", "65 bytes", [](TestSet* s) {
       s->Add(MakeRecord(0x70, Bytes(65)));
     }, 5, "The body has 65 bytes; the tool programs no more than 64, and stops here."},
    {"body-over-64", "64 bytes", [](TestSet* s) { s->Add(MakeRecord(0x70, Bytes(64))); }},
    {"body-over-64", "65 bytes that are not selected", [](TestSet* s) {
       s->AddUnselected(MakeRecord(0x70, Bytes(65)), {"A"});
     }},
    {"body-too-short", "a full sensor without its type/length byte", [](TestSet* s) {
       s->Full().bytes.resize(kFullName + 1);
       Resize(&s->Full(), -1);
     }, 3, "The body has 42 bytes, and the fields of type 01h take 43; add what is missing."},
    {"body-too-short", "a full sensor with an empty ID string", [](TestSet* s) {
       SetName(&s->Full(), 0xC0, {});
     }},
    {"body-too-short", "an association of ten bytes", [](TestSet* s) {
       Resize(&s->Add(Association(3, 1, 0, {0x1D, 1})), -1);
     }, 5, "The body has 10 bytes, and the fields of type 08h take 11; add what is missing."},
    {"body-too-short", "an OEM record without a whole manufacturer ID", [](TestSet* s) {
       s->Add(MakeRecord(0xC0, Bytes(2)));
     }, 5, "The body has 2 bytes, and an OEM record begins with 3 bytes of manufacturer ID; add them."},
    {"body-too-short", "an OEM record of a manufacturer ID alone", [](TestSet* s) {
       s->Add(MakeRecord(0xC0, Bytes(3)));
     }},
    {"body-too-short", "a type that the standard does not define", [](TestSet* s) {
       s->Add(MakeRecord(0x70, Bytes(11)));
     }},
    {"body-too-long", "a byte behind the ID string", [](TestSet* s) {
       Resize(&s->Compact(), 1);
     }, 4, "The body has 31 bytes, and the fields of type 02h with this ID string take 30; correct the fields, the ID string's length, or the length of the record."},
    {"body-too-long", "an association of twelve bytes", [](TestSet* s) {
       Resize(&s->Add(Association(3, 1, 0, {0x1D, 1})), 1);
     }, 5, "The body has 12 bytes, and the fields of type 08h take 11; correct the fields, the ID string's length, or the length of the record."},
    {"body-too-long", "an OEM record of any length", [](TestSet* s) {
       Resize(&s->Add(VersionRecord("SDR Version 01.02")), 9);
     }},
    {"body-too-long", "an association of eleven bytes", [](TestSet* s) {
       s->Add(Association(3, 1, 0, {0x1D, 1}));
     }},

    // ID strings.
    {"name-cut", "the record ends in the ID string", [](TestSet* s) {
       s->Compact().bytes[31] = 0xC4;
     }, 4, "The ID string is to have 4 characters in 4 bytes, and the record ends after 3 of them; correct its length or that of the record."},
    {"name-cut", "a Unicode string of an odd number of bytes", [](TestSet* s) {
       SetName(&s->Full(), 0x02, {'A', 0, 'B'});
     }, 3, "The ID string is to have 2 characters in 4 bytes, and the record ends after 1 of them; correct its length or that of the record."},
    {"name-cut", "the record ends with the ID string", [](TestSet* s) {
       SetName(&s->Full(), 0x02, {'A', 0, 'B', 0});
     }},
    {"name-too-long", "17 bytes", [](TestSet* s) {
       SetName(&s->Full(), 0xC0 | 17, Bytes(17, 'x'));
     }, 3, "The ID string takes 17 bytes, and the standard allows 16; shorten it."},
    {"name-too-long", "9 Unicode characters", [](TestSet* s) {
       Bytes text;
       for (int i = 0; i < 9; ++i) text.insert(text.end(), {'x', 0});
       SetName(&s->Full(), 9, text);
     }, 3, "The ID string takes 18 bytes, and the standard allows 16; shorten it."},
    {"name-too-long", "16 bytes", [](TestSet* s) {
       SetName(&s->Full(), 0xC0 | 16, Bytes(16, 'x'));
     }},
    {"name-too-long", "20 packed characters", [](TestSet* s) {
       SetName(&s->Full(), 0x80 | 20, Bytes(15, 0x41));
     }},
    {"name-length-reserved", "one character of ASCII", [](TestSet* s) {
       SetName(&s->Full(), 0xC1, {'A'});
     }, 3, "The standard reserves a length of 1 for 8-bit ASCII; readers may take it for something else: give the ID string another length or encoding."},
    {"name-length-reserved", "31 characters", [](TestSet* s) {
       SetName(&s->Full(), 0x40 | 31, Bytes(16, 0x10));
     }, 3, "The standard reserves a length of 31; readers may take it for something else: give the ID string another length or encoding."},
    {"name-length-reserved", "bit 5", [](TestSet* s) {
       SetName(&s->Full(), 0xE2, {'A', 'B'});
     }, 3, "The standard reserves bit 5 of the type/length byte; readers may take it for something else: give the ID string another length or encoding."},
    {"name-length-reserved", "one packed character", [](TestSet* s) {
       SetName(&s->Full(), 0x81, {0x21});
     }},
    {"name-length-reserved", "30 characters", [](TestSet* s) {
       SetName(&s->Full(), 0x40 | 30, Bytes(15, 0x11));
     }},
    {"name-encoding", "an escape in ASCII", [](TestSet* s) {
       SetName(&s->Full(), 0xC2, {'A', 0x1B});
     }, 3, "The ID string has the byte 1Bh, which is no printable character of 8-bit ASCII and Latin-1; replace it."},
    {"name-encoding", "a control character of Latin-1", [](TestSet* s) {
       SetName(&s->Full(), 0xC2, {'A', 0x85});
     }, 3, "The ID string has the byte 85h, which is no printable character of 8-bit ASCII and Latin-1; replace it."},
    {"name-encoding", "Latin-1", [](TestSet* s) { SetName(&s->Full(), 0xC2, {'A', 0xE4}); }},
    {"name-encoding", "half a pair of Unicode", [](TestSet* s) {
       SetName(&s->Full(), 0x02, {'A', 0, 0x3D, 0xD8});
     }, 3, "Character 2 of the ID string, the bytes 3Dh D8h, is no printable Unicode character; replace it, low byte first."},
    {"name-encoding", "the second half of a pair first", [](TestSet* s) {
       SetName(&s->Full(), 0x02, {0x00, 0xDE, 0x3D, 0xD8});
     }, 3, "Character 1 of the ID string, the bytes 00h DEh, is no printable Unicode character; replace it, low byte first."},
    {"name-encoding", "a control character of Unicode", [](TestSet* s) {
       SetName(&s->Full(), 0x02, {'A', 0, 0x07, 0});
     }, 3, "Character 2 of the ID string, the bytes 07h 00h, is no printable Unicode character; replace it, low byte first."},
    {"name-encoding", "a pair of Unicode", [](TestSet* s) {
       SetName(&s->Full(), 0x03, {0x3D, 0xD8, 0x00, 0xDE, 'A', 0});
     }},
    {"name-encoding", "left-over bits of 6-bit ASCII", [](TestSet* s) {
       SetName(&s->Full(), 0x82, {0x29, 0xDC});
     }, 3, "The ID string's last character leaves bits of the byte DCh that are not 0; its length counts characters, not bytes: correct one or the other."},
    {"name-encoding", "whole bytes of 6-bit ASCII", [](TestSet* s) {
       SetName(&s->Full(), 0x84, {0x29, 0xDC, 0xA6});
     }},
    {"name-encoding", "6-bit ASCII filled up with zeros", [](TestSet* s) {
       SetName(&s->Full(), 0x82, {0x29, 0x0C});
     }},
    {"name-encoding", "a left-over digit of BCD plus", [](TestSet* s) {
       SetName(&s->Full(), 0x43, {0x12, 0x34});
     }, 3, "The ID string's last character leaves bits of the byte 34h that are not 0; its length counts characters, not bytes: correct one or the other."},
    {"name-encoding", "BCD plus filled up with zeros", [](TestSet* s) {
       SetName(&s->Full(), 0x43, {0x1A, 0xF0});
     }},

    // Sensors that are told apart by nothing.
    {"sensor-number-reserved", "FFh", [](TestSet* s) { s->Full().bytes[7] = 0xFF; }, 3,
     "The sensor number is FFh, which the standard reserves; give it another number."},
    {"sensor-number-reserved", "FEh", [](TestSet* s) { s->Full().bytes[7] = 0xFE; }},
    {"sensor-number-reserved", "three sensors from FDh on", [](TestSet* s) {
       s->Add(EventOnly(0xFD, 3, "Event "));
     }, 5, "The 3 sensors from number FDh on reach FFh, which the standard reserves; give it another number."},
    {"sensor-number-reserved", "two sensors from FDh on", [](TestSet* s) {
       s->Add(EventOnly(0xFD, 2, "Event "));
     }},
    {"duplicate-sensor", "the same number twice", [](TestSet* s) {
       s->Add(CompactSensor(1, "Other"));
     }, 5, "Sensor number 01h of owner 20h, LUN 0, is already that of record 3, which is loaded together with this record; remove one of them, or give it another number."},
    {"duplicate-sensor", "a record that stands for several sensors", [](TestSet* s) {
       s->Add(EventOnly(0, 2, "Event "));
     }, 5, "Sensor number 01h of owner 20h, LUN 0, is already that of record 3, which is loaded together with this record; remove one of them, or give it another number."},
    {"duplicate-sensor", "a number within an earlier record's", [](TestSet* s) {
       s->Add(EventOnly(0x30, 15, "Event "));
       s->Add(CompactSensor(0x3E, "Other"));
     }, 6, "Sensor number 3Eh of owner 20h, LUN 0, is already that of record 5, which is loaded together with this record; remove one of them, or give it another number."},
    {"duplicate-sensor", "a number behind an earlier record's", [](TestSet* s) {
       s->Add(EventOnly(0x30, 15, "Event "));
       s->Add(CompactSensor(0x3F, "Other"));
     }},
    {"duplicate-sensor", "a tag that comes beside what is always loaded", [](TestSet* s) {
       s->AddUnselected(CompactSensor(1, "Other"), {"A"});
     }, 5, "Sensor number 01h of owner 20h, LUN 0, is already that of record 3, which is loaded together with this record; remove one of them, or give it another number."},
    {"duplicate-sensor", "two records of one tag", [](TestSet* s) {
       s->AddUnselected(CompactSensor(9, "One"), {"A"});
       s->AddUnselected(CompactSensor(9, "Two"), {"a", "B"});
     }, 6, "Sensor number 09h of owner 20h, LUN 0, is already that of record 5, which is loaded together with this record; remove one of them, or give it another number."},
    {"duplicate-sensor", "alternatives", [](TestSet* s) {
       s->AddUnselected(CompactSensor(9, "One"), {"A"});
       s->AddUnselected(CompactSensor(9, "Two"), {"B"});
     }},
    {"duplicate-sensor", "another LUN, owner or channel", [](TestSet* s) {
       s->Add(CompactSensor(1, "LUN")).bytes[6] = 0x01;
       s->Add(CompactSensor(1, "Owner")).bytes[5] = 0x21;
       s->Add(CompactSensor(1, "Channel")).bytes[6] = 0x10;
     }},
    {"duplicate-name", "the same name twice", [](TestSet* s) {
       s->Add(CompactSensor(9, "Fan"));
     }, 5, "\"Fan\" is already the name of a sensor of owner 20h in record 4; give one of them another name, or nobody can tell them apart."},
    {"duplicate-name", "a name that sharing makes", [](TestSet* s) {
       s->Add(CompactSensor(9, "Event 2"));
       s->Add(EventOnly(0x30, 2, "Event "));
     }, 6, "\"Event 2\" is already the name of a sensor of owner 20h in record 5; give one of them another name, or nobody can tell them apart."},
    {"duplicate-name", "a name that sharing makes with letters", [](TestSet* s) {
       s->Add(CompactSensor(9, "Event AB"));
       InputRecord& shared = s->Add(EventOnly(0x30, 4, "Event "));
       shared.bytes[12] = 0x14;
       shared.bytes[13] = 24;  // "Y", "Z", "AA", "AB"
     }, 6, "\"Event AB\" is already the name of a sensor of owner 20h in record 5; give one of them another name, or nobody can tell them apart."},
    {"duplicate-name", "the text that sharing makes names of", [](TestSet* s) {
       s->Add(CompactSensor(9, "Event "));
       s->Add(EventOnly(0x30, 2, "Event "));
     }},
    {"duplicate-name", "alternatives", [](TestSet* s) {
       s->AddUnselected(CompactSensor(9, "Pump"), {"A"});
       s->AddUnselected(CompactSensor(8, "Pump"), {"B"});
     }},
    {"duplicate-name", "another owner", [](TestSet* s) {
       s->Add(CompactSensor(9, "Fan")).bytes[5] = 0x21;
     }},
    {"duplicate-name", "no name", [](TestSet* s) {
       s->Add(CompactSensor(8, ""));
       s->Add(CompactSensor(9, ""));
     }},
    {"duplicate-name", "a locator of that name", [](TestSet* s) {
       s->Add(CompactSensor(9, "BMC"));
     }},

    // Thresholds, ranges and factors. Offsets 36 to 41: upper non-recoverable down to lower
    // non-critical.
    {"threshold-order", "upper critical above upper non-recoverable", [](TestSet* s) {
       s->Full().bytes[37] = 101;
     }, 3, "Upper Critical (101 degrees C) is above Upper Non-recoverable (100 degrees C); put the thresholds in order."},
    {"threshold-order", "lower critical above lower non-critical", [](TestSet* s) {
       s->Full().bytes[40] = 6;
     }, 3, "Lower Critical (6 degrees C) is above Lower Non-critical (5 degrees C); put the thresholds in order."},
    {"threshold-order", "lower and upper non-critical the same", [](TestSet* s) {
       s->Full().bytes[41] = 90;
     }, 3, "Lower Non-critical (90 degrees C) is not below Upper Non-critical (90 degrees C); put the thresholds in order."},
    {"threshold-order", "the lowest and the highest alone", [](TestSet* s) {
       s->Full().bytes[18] = s->Full().bytes[19] = 0x24;
       s->Full().bytes[39] = 100;
     }, 3, "Lower Non-recoverable (100 degrees C) is not below Upper Non-recoverable (100 degrees C); put the thresholds in order."},
    {"threshold-order", "uppers the same", [](TestSet* s) {
       s->Full().bytes[36] = s->Full().bytes[37] = 90;
     }},
    {"threshold-order", "a threshold that the masks leave out", [](TestSet* s) {
       s->Full().bytes[37] = 1;
       s->Full().bytes[18] = s->Full().bytes[19] = 0x2F;
     }},
    {"threshold-order", "a negative M turns raw values around", [](TestSet* s) {
       Bytes& bytes = s->Full().bytes;
       bytes[24] = 0xFF;  // M is -1
       bytes[25] = 0xC0;
       for (std::size_t i = 36; i < 42; ++i) bytes[i] = static_cast<unsigned char>(-bytes[i]);
     }},
    {"threshold-order", "a negative M with raw values that rise", [](TestSet* s) {
       s->Full().bytes[24] = 0xFF;
       s->Full().bytes[25] = 0xC0;
       s->Full().bytes[18] = s->Full().bytes[19] = 0x30;
     }, 3, "Upper Critical (-95 degrees C) is above Upper Non-recoverable (-100 degrees C); put the thresholds in order."},
    {"threshold-order", "one over x turns raw values around", [](TestSet* s) {
       s->Full().bytes[23] = 7;
       s->Full().bytes[18] = s->Full().bytes[19] = 0x30;
       s->Full().bytes[37] = 100;
       s->Full().bytes[36] = 95;
       s->Full().bytes[35] = 1;
     }},
    {"threshold-order", "a non-linear sensor has no real values", [](TestSet* s) {
       s->Full().bytes[23] = 0x70;
       s->Full().bytes[37] = 101;
     }},
    {"threshold-outside-range", "above the maximum", [](TestSet* s) {
       s->Full().bytes[34] = 99;
     }, 3, "Upper Non-recoverable (100 degrees C) is outside the sensor's minimum and maximum, -128 to 99 degrees C; correct the one or the other."},
    {"threshold-outside-range", "below the minimum", [](TestSet* s) {
       s->Full().bytes[35] = 0xFC;
     }, 3, "Lower Non-recoverable (-5 degrees C) is outside the sensor's minimum and maximum, -4 to 127 degrees C; correct the one or the other."},
    {"threshold-outside-range", "the maximum itself", [](TestSet* s) {
       s->Full().bytes[34] = 100;
     }},
    {"threshold-outside-range", "minimum and maximum in raw order under a negative M", [](TestSet* s) {
       s->Full().bytes[24] = 0xFF;
       s->Full().bytes[25] = 0xC0;
     }},
    {"threshold-outside-range", "a range that is none", [](TestSet* s) {
       s->Full().bytes[34] = s->Full().bytes[35] = 0;
     }},
    {"threshold-settable-only", "one bit in the one mask", [](TestSet* s) {
       s->Full().bytes[18] = 0x2F;
     }, 3, "Upper Critical is settable but not readable; make it readable, or not settable."},
    {"threshold-settable-only", "readable but not settable", [](TestSet* s) {
       s->Full().bytes[19] = 0x00;
     }},
    {"threshold-settable-only", "the masks of a discrete sensor are states", [](TestSet* s) {
       s->Compact().bytes[19] = 0x03;
     }},
    {"threshold-without-capability", "capabilities without thresholds", [](TestSet* s) {
       s->Full().bytes[11] = 0x60;
     }, 3, "The masks call thresholds readable, and the sensor's capabilities say that it has none; correct the capabilities or the masks."},
    {"threshold-without-capability", "fixed thresholds", [](TestSet* s) {
       s->Full().bytes[11] = 0x6C;
     }},
    {"threshold-without-capability", "neither capabilities nor masks", [](TestSet* s) {
       s->Full().bytes[11] = 0x60;
       s->Full().bytes[18] = s->Full().bytes[19] = 0;
     }},
    {"nominal-outside-range", "above the sensor's maximum", [](TestSet* s) {
       s->Full().bytes[30] = 0x01;
       s->Full().bytes[31] = 126;
       s->Full().bytes[34] = 125;
     }, 3, "The nominal reading (126 degrees C) is outside the sensor's range, -128 to 125 degrees C; correct the one or the other."},
    {"nominal-outside-range", "above the normal maximum", [](TestSet* s) {
       s->Full().bytes[31] = 81;
     }, 3, "The nominal reading (81 degrees C) is outside the normal range, 10 to 80 degrees C; correct the one or the other."},
    {"nominal-outside-range", "the normal maximum itself", [](TestSet* s) {
       s->Full().bytes[31] = 80;
     }},
    {"nominal-outside-range", "a normal range that is not specified", [](TestSet* s) {
       s->Full().bytes[30] = 0x03;
       s->Full().bytes[31] = 81;
     }},
    {"nominal-outside-range", "a nominal reading that is not specified", [](TestSet* s) {
       s->Full().bytes[30] = 0x06;
       s->Full().bytes[31] = 81;
     }},
    {"factor-m-zero", "M of 0", [](TestSet* s) { s->Full().bytes[24] = 0; }, 3,
     "The factor M is 0, so that every reading has the same value; give the factor that turns raw readings into real ones, or 1."},
    {"factor-m-zero", "M of 256", [](TestSet* s) {
       s->Full().bytes[24] = 0;
       s->Full().bytes[25] = 0x40;
     }},
    {"factor-m-zero", "a non-linear sensor", [](TestSet* s) {
       s->Full().bytes[24] = 0;
       s->Full().bytes[23] = 0x70;
     }},
    {"factor-m-zero", "no analog reading", [](TestSet* s) {
       s->Full().bytes[24] = 0;
       s->Full().bytes[20] = 0xC0;
     }},
    {"factor-m-zero", "a discrete sensor without a unit", [](TestSet* s) {
       s->Full().bytes[13] = 0x6F;
       s->Full().bytes[21] = 0;
       s->Full().bytes[24] = 0;
     }},
    {"factor-m-zero", "a discrete sensor that reads degrees", [](TestSet* s) {
       s->Full().bytes[13] = 0x6F;
       s->Full().bytes[24] = 0;
     }, 3, "The factor M is 0, so that every reading has the same value; give the factor that turns raw readings into real ones, or 1."},

    // Codes.
    {"unknown-sensor-type", "one behind the last", [](TestSet* s) { s->Full().bytes[12] = 0xB0; },
     3, "The standard defines no sensor type B0h; choose the one that says what is measured."},
    {"unknown-sensor-type", "an OEM type", [](TestSet* s) { s->Full().bytes[12] = 0xC0; }},
    {"unknown-event-type", "between the generic ones and 6Fh", [](TestSet* s) {
       s->Compact().bytes[13] = 0x0D;
     }, 4, "The standard defines no event/reading type 0Dh; choose 01h for thresholds, a generic type, or 6Fh."},
    {"unknown-event-type", "the reserved bit 7", [](TestSet* s) { s->Compact().bytes[13] = 0x83; }},
    {"unknown-event-type", "an OEM type", [](TestSet* s) { s->Compact().bytes[13] = 0x70; }},
    {"unknown-entity", "of a sensor", [](TestSet* s) { s->Full().bytes[8] = 0x7F; }, 3,
     "The standard defines no entity ID 7Fh; choose the one that names the part."},
    {"unknown-entity", "of an association", [](TestSet* s) {
       s->Add(Association(3, 1, 0, {0x1D, 1, 0x7E, 1}));
     }, 5, "The standard defines no entity ID 7Eh; choose the one that names the part."},
    {"unknown-entity", "an OEM entity", [](TestSet* s) { s->Full().bytes[8] = 0xD0; }},
    {"unknown-entity", "an unused entry of an association", [](TestSet* s) {
       s->Add(Association(3, 1, 0, {0x1D, 1, 0x00, 0x00}));
     }},
    {"share-count-zero", "a compact sensor", [](TestSet* s) { s->Compact().bytes[23] = 0; }, 4,
     "The record stands for 0 sensors; write 1 for one that shares it with no other."},
    {"share-count-zero", "an event-only sensor", [](TestSet* s) { s->Add(EventOnly(9, 0, "Event")); },
     5, "The record stands for 0 sensors; write 1 for one that shares it with no other."},
    {"share-count-zero", "a full sensor has none", [](TestSet* s) { s->Full().bytes[23] = 0; }},

    // Between records.
    {"association-unknown-entity", "an entity that nothing has", [](TestSet* s) {
       s->Add(Association(3, 1, 0, {0x1D, 1, 0x1D, 2}));
     }, 5, "The association names 1Dh.2, and no sensor or locator of the set is of it; correct the association or add the record that is missing."},
    {"association-unknown-entity", "a container that nothing has", [](TestSet* s) {
       s->Add(Association(0x17, 1, 0, {0x1D, 1}));
     }, 5, "The association names the container 17h.1, and no sensor or locator of the set is of it; correct the association or add the record that is missing."},
    {"association-unknown-entity", "a range without one of it", [](TestSet* s) {
       s->Add(Association(3, 1, 0x80, {0x1D, 2, 0x1D, 9, 0x1D, 0x81, 0x1D, 0x82}));
     }, 5, "The association names 1Dh.2 to 1Dh.9, 1Dh.1 (logical) to 1Dh.2 (logical), and no sensor or locator of the set is of it; correct the association or add the record that is missing."},
    {"association-unknown-entity", "a record that is not loaded with it", [](TestSet* s) {
       s->AddUnselected(CompactSensor(9, "Pump"), {"A"}).bytes[8] = 0x0A;
       s->Add(Association(3, 1, 0, {0x0A, 1}));
     }, 6, "The association names 0Ah.1, and no sensor or locator of the set is of it; correct the association or add the record that is missing."},
    {"association-unknown-entity", "an instance that is relative to another device", [](TestSet* s) {
       s->Compact().bytes[9] = 0x60;
       s->Add(DeviceAssociation(3, 1, 0x20, {0x22, 0x00, 0x1D, 0x60}));
     }, 5, "The association names 1Dh.96, and no sensor or locator of the set is of it; correct the association or add the record that is missing."},
    {"association-unknown-entity", "an instance that is relative to its device", [](TestSet* s) {
       s->Compact().bytes[9] = 0x60;
       s->Add(DeviceAssociation(3, 1, 0x20, {0x20, 0x00, 0x1D, 0x60}));
     }},
    {"association-unknown-entity", "a range with one of it", [](TestSet* s) {
       s->Add(Association(3, 1, 0x80, {0x1D, 0, 0x1D, 9}));
     }},
    {"association-unknown-entity", "a logical container, and a container as a part", [](TestSet* s) {
       s->Add(Association(3, 0x81, 0, {0x1D, 1, 3, 0x82}));
       s->Add(Association(3, 0x82, 0, {3, 1}));
     }},
    {"association-unknown-entity", "an instance that sharing makes", [](TestSet* s) {
       s->Compact().bytes[23] = 3;
       s->Compact().bytes[24] = 0x80;
       s->Add(Association(3, 1, 0, {0x1D, 3}));
     }},
    {"association-loop", "an entity in itself", [](TestSet* s) {
       s->Add(Association(3, 1, 0, {0x1D, 1, 3, 1}));
     }, 5, "What the entity 03h.1 contains contains it in turn; take it out of the one that is no part of the other."},
    {"association-loop", "two that contain each other, one by a range", [](TestSet* s) {
       s->Add(Association(3, 1, 0, {0x1D, 1}));
       s->Add(Association(0x1D, 1, 0x80, {3, 0, 3, 5}));
     }, 5, "What the entity 03h.1 contains contains it in turn; take it out of the one that is no part of the other."},
    {"association-loop", "the same entity by two ways", [](TestSet* s) {
       s->Add(Association(7, 1, 0, {3, 1, 0x1D, 1}));
       s->Add(Association(3, 1, 0, {0x1D, 1}));
     }},
    {"association-loop", "alternatives", [](TestSet* s) {
       s->AddUnselected(Association(3, 1, 0, {0x1D, 1}), {"A"});
       s->AddUnselected(Association(0x1D, 1, 0, {3, 1}), {"B"});
     }},
    {"owner-without-locator", "two sensors of another controller", [](TestSet* s) {
       s->Full().bytes[5] = s->Compact().bytes[5] = 0x2C;
     }, 3, "Owner 2Ch on channel 0, of 2 sensors, has no management controller locator in the set; add one, or correct the owner or its channel."},
    {"owner-without-locator", "a locator on another channel", [](TestSet* s) {
       s->Compact().bytes[6] = 0x60;
     }, 4, "Owner 20h on channel 6, of 1 sensor, has no management controller locator in the set; add one, or correct the owner or its channel."},
    {"owner-without-locator", "a locator that is not loaded with it", [](TestSet* s) {
       s->Full().bytes[5] = 0x2C;
       s->AddUnselected(ControllerRecord(0x2C), {"A"});
     }, 3, "Owner 2Ch on channel 0, of 1 sensor, has no management controller locator in the set; add one, or correct the owner or its channel."},
    {"owner-without-locator", "a second controller", [](TestSet* s) {
       s->Full().bytes[5] = 0x2C;
       s->Full().bytes[6] = 0x60;
       s->Add(ControllerRecord(0x2C, 6));
     }},
    {"owner-without-locator", "software", [](TestSet* s) { s->Full().bytes[5] = 0x41; }},
    {"tag-never-set", "a tag that the script does not set", [](TestSet* s) {
       s->set.format = Format::kScript;
       s->set.set_tags = {"CPU1", "PSUA"};
       s->AddUnselected(CompactSensor(9, "A"), {"PSU#"});
       s->AddUnselected(CompactSensor(10, "B"), {"psu#"});
     }, 5, "No SET of the script names the tag \"PSU#\", so that it never loads this record; correct the tag if it should."},
    {"tag-never-set", "tags that it does set, in other letters and by a digit", [](TestSet* s) {
       s->set.format = Format::kScript;
       s->set.set_tags = {"CPU1", "PSU2"};
       s->AddUnselected(CompactSensor(9, "A"), {"psu#", "cpu1"});
     }},
    {"tag-never-set", "no script", [](TestSet* s) {
       s->AddUnselected(CompactSensor(9, "A"), {"PSU#"});
     }},

    // What the tool can do with the set.
    {"record-not-readable", "15 bytes in an image", [](TestSet* s) {
       s->set.reads_whole_pieces = true;
       s->Add(MakeRecord(0x70, Bytes(10)));
     }, 5, "The record has 15 bytes, and the tool, which reads 16 at first, cannot read it back; fill it up to 16 bytes if its type allows."},
    {"record-not-readable", "16 bytes in an image", [](TestSet* s) {
       s->set.reads_whole_pieces = true;
       s->Add(MakeRecord(0x70, Bytes(11)));
     }},
    {"record-not-readable", "15 bytes in a source", [](TestSet* s) {
       s->Add(MakeRecord(0x70, Bytes(10)));
     }},
    {"record-not-restorable", "15 bytes in a source", [](TestSet* s) {
       s->Add(MakeRecord(0x70, Bytes(10)));
     }, 5, "The record has 15 bytes, and a backup that holds it cannot be restored; fill it up to 16 bytes if its type allows."},
    {"record-not-restorable", "16 bytes", [](TestSet* s) { s->Add(MakeRecord(0x70, Bytes(11))); }},
    {"record-not-restorable", "15 bytes that are not selected", [](TestSet* s) {
       s->AddUnselected(MakeRecord(0x70, Bytes(10)), {"A"});
     }},
    {"no-version", "no version record", [](TestSet* s) {
       s->set.records.erase(s->set.records.begin());
     }, Case::kTheSet, "No version record is programmed, so that only a forced update takes the set; add an OEM record with the maker's number, 77 00 00, and a text such as \"SDR Version 01.02\"."},
    {"no-version", "a version record that is not selected", [](TestSet* s) {
       s->Version().selected = false;
     }, Case::kTheSet, "No version record is programmed, so that only a forced update takes the set; add an OEM record with the maker's number, 77 00 00, and a text such as \"SDR Version 01.02\"."},
    {"no-version", "a version record at the end", [](TestSet* s) {
       std::rotate(s->set.records.begin(), s->set.records.begin() + 1, s->set.records.end());
     }},
    {"version-not-comparable", "a text that is compared whole", [](TestSet* s) {
       s->Version().bytes = VersionRecord("SDR Ver 1.02");
     }, 1, "An update compares \"SDR Ver 1.02\" of the version text \"SDR Ver 1.02\", byte by byte, which is not the order of numbers; write it as in \"SDR Version 01.02\": twelve characters, two digits, a point, two digits."},
    {"version-not-comparable", "one digit too few", [](TestSet* s) {
       s->Version().bytes = VersionRecord("SDR Version 1.02");
     }, 1, "An update compares \"1.02\" of the version text \"SDR Version 1.02\", byte by byte, which is not the order of numbers; write it as in \"SDR Version 01.02\": twelve characters, two digits, a point, two digits."},
    {"version-not-comparable", "letters", [](TestSet* s) {
       s->Version().bytes = VersionRecord("SDR Version 01.0a");
     }, 1, "An update compares \"01.0a\" of the version text \"SDR Version 01.0a\", byte by byte, which is not the order of numbers; write it as in \"SDR Version 01.02\": twelve characters, two digits, a point, two digits."},
    {"version-not-comparable", "a third number", [](TestSet* s) {
       s->Version().bytes = VersionRecord("SDR Version 01.02.03");
     }, 1, "An update compares \"01.02\" of the version text \"SDR Version 01.02.03\" alone, and not what follows; write it as in \"SDR Version 01.02\": twelve characters, two digits, a point, two digits."},
    {"version-not-comparable", "a NUL ends the text", [](TestSet* s) {
       s->Version().bytes = VersionRecord(std::string_view("SDR Version\0 01.02", 18));
     }, 1, "An update compares \"SDR Version\" of the version text \"SDR Version\", byte by byte, which is not the order of numbers; write it as in \"SDR Version 01.02\": twelve characters, two digits, a point, two digits."},
    {"version-not-comparable", "a remark behind the number", [](TestSet* s) {
       s->Version().bytes = VersionRecord("SDR Version 01.02 (beta)");
     }},
    {"version-not-comparable", "a second version record is not compared", [](TestSet* s) {
       s->Add(VersionRecord("SDR second"));
     }},
    {"over-capacity", "a byte more than the repository holds", [](TestSet* s) {
       s->options.capacity = SizeOf(*s) - 1;
     }, Case::kTheSet, "The records take 135 bytes, and the repository holds 134; take some out."},
    {"over-capacity", "a byte more than the tool reads back", [](TestSet* s) {
       s->options.capacity = 100000;
       AddBytes(s, 65536 - SizeOf(*s));
     }, Case::kTheSet, "The records take 65536 bytes, and the tool reads back no more than 65535; take some out."},
    {"over-capacity", "what the repository holds", [](TestSet* s) {
       s->options.capacity = SizeOf(*s);
       s->AddUnselected(MakeRecord(0x70, Bytes(11)), {"A"});
     }},
    {"over-capacity", "what the tool reads back", [](TestSet* s) { AddBytes(s, 65535 - SizeOf(*s)); }},
    {"over-backup-size", "a byte more than an image holds", [](TestSet* s) {
       AddBytes(s, 32768 - SizeOf(*s));
     }, Case::kTheSet, "The records take 32768 bytes, and a backup image holds no more than 32767: once programmed, the set cannot be backed up."},
    {"over-backup-size", "what an image holds", [](TestSet* s) { AddBytes(s, 32767 - SizeOf(*s)); }},
  };
  return cases;
}
// clang-format on

class RuleTest : public testing::TestWithParam<Case> {};

TEST_P(RuleTest, IsBrokenByWhatItSays) {
  const Case& row = GetParam();
  TestSet set;
  row.change(&set);
  std::vector<Finding> found;
  for (const Finding& finding : set.Check()) {
    if (finding.rule == row.rule) found.push_back(finding);
  }
  if (row.record == Case::kUnbroken) {
    EXPECT_TRUE(found.empty()) << found[0].message;
    return;
  }
  ASSERT_FALSE(found.empty());
  EXPECT_EQ(found[0].record.value_or(Case::kTheSet), row.record);
  EXPECT_EQ(found[0].message, row.message);
}

std::string CaseName(const testing::TestParamInfo<Case>& info) {
  std::string name = std::string(info.param.rule) + "_" + info.param.what;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, RuleTest, testing::ValuesIn(Cases()), CaseName);

TEST(Rules, EachHasACaseThatBreaksItAndOneThatDoesNot) {
  std::set<std::string_view> broken;
  std::set<std::string_view> unbroken;
  for (const Case& row : Cases()) {
    (row.record == Case::kUnbroken ? unbroken : broken).insert(row.rule);
  }
  std::set<std::string_view> rules;
  for (const Rule& rule : Rules()) rules.insert(rule.name);
  EXPECT_EQ(broken, rules);
  EXPECT_EQ(unbroken, rules);
}

TEST(Rules, AreNamedInSmallLettersOnceAndSayASentence) {
  std::set<std::string_view> names;
  for (const Rule& rule : Rules()) {
    EXPECT_TRUE(names.insert(rule.name).second) << rule.name;
    EXPECT_EQ(rule.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-"),
              std::string_view::npos)
        << rule.name;
    EXPECT_TRUE(rule.sentence.ends_with('.')) << rule.name;
  }
}

TEST(Rules, SeveritiesHaveNames) {
  EXPECT_EQ(SeverityName(Severity::kNote), "note");
  EXPECT_EQ(SeverityName(Severity::kWarning), "warning");
  EXPECT_EQ(SeverityName(Severity::kError), "error");
  EXPECT_LT(Severity::kNote, Severity::kWarning);
  EXPECT_LT(Severity::kWarning, Severity::kError);
}

}  // namespace
}  // namespace tarvek::inspect
