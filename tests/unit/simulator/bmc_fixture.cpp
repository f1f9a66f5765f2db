#include "tests/unit/simulator/bmc_fixture.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "simulator/repository_text.h"
#include "simulator/sample_records.h"

namespace bmcsim_test {

Bytes FromHex(const std::string& text) {
  Bytes bytes;
  std::string digits;
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
               [](char c) { return c != ' '; });
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(
        static_cast<std::uint8_t>(std::strtoul(digits.substr(i, 2).c_str(), nullptr, 16)));
  }
  return bytes;
}

std::string ToHex(const Bytes& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    char pair[4];
    (void)std::snprintf(pair, sizeof pair, "%02X", byte);
    if (!text.empty()) text += ' ';
    text += pair;
  }
  return text;
}

Bytes RecordOf(std::size_t body, std::uint8_t fill) {
  Bytes record(3 + body, fill);
  record[0] = 0x51;
  record[1] = 0x01;
  record[2] = static_cast<std::uint8_t>(body);
  return record;
}

void BmcFixture::Reset(const bmcsim::Identity& identity) {
  bmcsim::InitialiseState(identity, *state_);
  model_ = std::make_unique<bmcsim::BmcModel>(*state_);
}

std::string BmcFixture::Ask(const std::string& image) {
  const Bytes bytes = FromHex(image);
  bmcsim::Answer answer;
  model_->Handle(bytes[0], bytes[1], std::span(bytes).subspan(2), now_, answer);
  EXPECT_EQ(bmcsim::CheckState(*state_), "") << "after " << image;
  return ToHex({answer.bytes().begin(), answer.bytes().end()});
}

std::string BmcFixture::Reserve(const std::string& command) {
  const std::string answer = Ask(command);
  EXPECT_EQ(answer.substr(0, 3), "00 ") << command;
  return answer.substr(answer.size() - 5);
}

std::string BmcFixture::Add(const Bytes& record) {
  constexpr std::size_t kPiece = 16;
  Bytes whole = {0, 0};
  whole.insert(whole.end(), record.begin(), record.end());
  const std::string reservation = Reserve("F8 11");
  std::string id = "00 00";
  std::string answer;
  for (std::size_t at = 0; at < whole.size(); at += kPiece) {
    const std::size_t count = std::min(kPiece, whole.size() - at);
    const bool last = at + count == whole.size();
    const auto begin = whole.begin() + static_cast<std::ptrdiff_t>(at);
    std::string request = "F8 13 ";
    request += reservation;
    request += id;
    request += ToHex({static_cast<std::uint8_t>(at)});
    request += last ? "01" : "00";
    request += ToHex(Bytes(begin, begin + static_cast<std::ptrdiff_t>(count)));
    answer = Ask(request);
    if (answer.size() < 8) return answer;
    id = answer.substr(3);
  }
  return answer;
}

void BmcFixture::Fill(const std::vector<Bytes>& records) {
  for (const Bytes& record : records) ASSERT_TRUE(bmcsim::AppendRecord(record, *state_));
}

std::string BmcFixture::Served() { return bmcsim::HexRepository(*state_); }

}  // namespace bmcsim_test
