// A small BMC for unit tests: a repository behind the standard and the maker's commands.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "tests/unit/support/fake_machine.h"

namespace tarvek_test {

/// A good answer: completion code 0 and `data`.
Reply Ok(const Bytes& data = {});

/// An answer of a completion code alone.
Reply Refuse(std::uint8_t completion_code);

/// What the maker's driver gives, header and all.
Reply WholeImage(const Bytes& image);

/// An exchange in which the driver fails.
Reply DriverFails();

/// A sensor data record: a header with record ID `id` and the body's length, and the body.
Bytes MakeRecord(unsigned id, std::uint8_t type, const Bytes& body);

/// A record of type 01h whose body is `body_length` bytes that count up from `first`.
Bytes CountingRecord(unsigned id, int body_length, std::uint8_t first = 0x10);

/// A record of the maker: type C0h, manufacturer ID 77h 00h 00h, then `rest`.
Bytes MakerRecord(unsigned id, const Bytes& rest);

/// The bytes of a text, without a terminator.
Bytes TextBytes(const std::string& text);

class SmallBmc {
 public:
  Bytes device_id{0x20, 0x01, 0x02, 0x34, 0x51, 0x9F, 0x77, 0x00, 0x00, 0xA3, 0x01};
  Bytes repository_info{0x51, 0x02, 0x00, 0x00, 0x10, 0x04, 0x03,
                        0x02, 0x01, 0x08, 0x07, 0x06, 0x05, 0x2F};
  Bytes slot{0x07, 0x08, 0x09};
  std::vector<Bytes> records;  // what reads find; adding appends, clearing removes all
  int polls_until_erased = 0;  // polls that an erase takes; 0: it is complete at once
  unsigned next_reservation = 0x1234;
  unsigned next_added_id = 0x0A01;  // record ID given by Partial Add
  /// Asked first; answers in the BMC's place.
  std::function<std::optional<Reply>(const Bytes&)> intercept;

  Reply Answer(const Bytes& request);

 private:
  Reply Clear(const Bytes& request);
  Reply Get(const Bytes& request) const;
  Reply Add(const Bytes& request);

  int polls_ = 0;
};

}  // namespace tarvek_test
