#include "tests/unit/support/small_bmc.h"

#include <algorithm>

namespace tarvek_test {
namespace {

constexpr std::uint8_t kStorage = 0x28;
constexpr std::uint8_t kApplication = 0x18;
constexpr std::uint8_t kUnknownCommand = 0xC1;
constexpr std::uint8_t kNoSuchRecord = 0xCB;
constexpr std::uint8_t kFiller = 0xEE;  // behind the end of a record

std::uint8_t Low(unsigned value) { return static_cast<std::uint8_t>(value & 0xFF); }
std::uint8_t High(unsigned value) { return static_cast<std::uint8_t>(value >> 8); }

}  // namespace

Reply Ok(const Bytes& data) {
  Reply reply;
  reply.data.insert(reply.data.end(), data.begin(), data.end());
  return reply;
}

Reply Refuse(std::uint8_t completion_code) {
  Reply reply;
  reply.data = {completion_code};
  return reply;
}

Reply WholeImage(const Bytes& image) {
  Reply reply;
  reply.whole_image = image;
  return reply;
}

Reply DriverFails() {
  Reply reply;
  reply.send_fails = true;
  return reply;
}

Bytes MakeRecord(unsigned id, std::uint8_t type, const Bytes& body) {
  Bytes record{Low(id), High(id), 0x51, type, static_cast<std::uint8_t>(body.size())};
  record.insert(record.end(), body.begin(), body.end());
  return record;
}

Bytes CountingRecord(unsigned id, int body_length, std::uint8_t first) {
  Bytes body(static_cast<std::size_t>(body_length));
  for (std::uint8_t& byte : body) byte = first++;
  return MakeRecord(id, 0x01, body);
}

Bytes MakerRecord(unsigned id, const Bytes& rest) {
  Bytes body{0x77, 0x00, 0x00};
  body.insert(body.end(), rest.begin(), rest.end());
  return MakeRecord(id, 0xC0, body);
}

Bytes TextBytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

Reply SmallBmc::Answer(const Bytes& request) {
  if (intercept) {
    if (const std::optional<Reply> reply = intercept(request)) return *reply;
  }
  const std::uint8_t command = request[1];
  if (request[0] == kApplication) return Ok(device_id);
  const bool storage = request[0] == kStorage;
  if (storage && command == 0x20) return Ok(repository_info);
  if (command == (storage ? 0x22 : 0x11)) {
    const unsigned id = next_reservation++;
    return Ok({Low(id), High(id)});
  }
  if (command == (storage ? 0x23 : 0x12)) return Get(request);
  if (storage) return Refuse(kUnknownCommand);
  if (command == 0xE0) return Ok(slot);
  if (command == 0x10) return Ok();
  if (command == 0x13) return Add(request);
  if (command == 0x14) return Clear(request);
  return Refuse(kUnknownCommand);
}

Reply SmallBmc::Get(const Bytes& request) const {
  const std::size_t index = request[4] + request[5] * 256U;
  if (index >= records.size()) return Refuse(kNoSuchRecord);
  const unsigned next = index + 1 < records.size() ? static_cast<unsigned>(index + 1) : 0xFFFF;
  Bytes data{Low(next), High(next)};
  for (std::size_t i = request[6]; i < std::size_t{request[6]} + request[7]; ++i) {
    data.push_back(i < records[index].size() ? records[index][i] : kFiller);
  }
  return Ok(data);
}

Reply SmallBmc::Add(const Bytes& request) {
  if (request[6] == 0) records.emplace_back();
  records.back().insert(records.back().end(), request.begin() + 8, request.end());
  const unsigned id = request[6] == 0 ? next_added_id++ : next_added_id - 1;
  return Ok({Low(id), High(id)});
}

Reply SmallBmc::Clear(const Bytes& request) {
  if (request[7] == 0xAA) {
    records.clear();
    polls_ = 0;
  } else {
    ++polls_;
  }
  return Ok({static_cast<std::uint8_t>(polls_ >= polls_until_erased ? 1 : 0)});
}

}  // namespace tarvek_test
