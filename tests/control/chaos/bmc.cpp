#include "tests/control/chaos/bmc.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "inspect/convert/image.h"
#include "inspect/input/load.h"
#include "simulator/record_set.h"
#include "simulator/repository_text.h"
#include "simulator/state_file.h"

namespace chaos {
namespace {

constexpr std::uint32_t kLongAgo = 1500000000;

bmcsim::RecordSet SetOf(const std::vector<blackbox::SourceRecord>& records) {
  bmcsim::RecordSet set;
  for (const blackbox::SourceRecord& record : records) {
    bmcsim::FileRecord file;
    file.bytes.assign(record.bytes.begin() + 2, record.bytes.end());
    set.records.push_back(std::move(file));
  }
  return set;
}

std::unique_ptr<bmcsim::BmcState> StateOf(const std::vector<blackbox::SourceRecord>& records) {
  auto state = std::make_unique<bmcsim::BmcState>();
  bmcsim::InitialiseState({}, *state);
  std::string error;
  if (!bmcsim::AddRecordSet(SetOf(records), *state, error)) throw std::runtime_error(error);
  return state;
}

/// The BMC's memory, with its lock held.
class Held {
 public:
  explicit Held(const std::string& path) {
    std::string error;
    if (!file_.Open(path, error)) throw std::runtime_error(error);
    file_.Lock();
  }
  ~Held() { file_.Unlock(); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  bmcsim::BmcState& state() { return *file_.state(); }

 private:
  bmcsim::StateFile file_;
};

bmcsim::Control WithoutSpare(const bmcsim::BmcState& state) {
  bmcsim::Control control = bmcsim::ActiveControl(state);
  control.spare_open = 0;
  control.reservation = 0;
  control.spare_reservation = 0;
  return control;
}

}  // namespace

void MakeBmc(const std::string& path, const std::vector<blackbox::SourceRecord>& records) {
  const auto state = StateOf(records);
  bmcsim::Control control = bmcsim::ActiveControl(*state);
  control.store[control.served].addition_time = kLongAgo;
  control.store[control.served].erase_time = kLongAgo;
  bmcsim::Publish(control, *state);
  std::string error;
  if (!bmcsim::StateFile::Create(path, *state, error)) throw std::runtime_error(error);
}

std::vector<std::string> ServedBy(const std::string& path) {
  Held bmc(path);
  std::istringstream text(bmcsim::HexRepository(bmc.state()));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

void ResetBmc(const std::string& path) {
  Held bmc(path);
  bmcsim::Publish(WithoutSpare(bmc.state()), bmc.state());
}

void ReplaceSet(const std::string& path, const std::vector<blackbox::SourceRecord>& records) {
  const auto other = StateOf(records);
  const bmcsim::Control& made = bmcsim::ActiveControl(*other);
  Held bmc(path);
  bmcsim::Control control = WithoutSpare(bmc.state());
  const std::uint32_t added = control.store[control.served].addition_time;
  control.served ^= 1U;
  bmc.state().store_bytes[control.served] = other->store_bytes[made.served];
  control.store[control.served] = made.store[made.served];
  control.store[control.served].addition_time = added + 1;
  control.store[control.served].erase_time = added + 1;
  bmcsim::Publish(control, bmc.state());
}

std::string ImageOf(const std::vector<blackbox::SourceRecord>& records) {
  namespace inspect = tarvek::inspect;
  inspect::RecordSet set;
  set.format = inspect::Format::kImage;
  for (const blackbox::SourceRecord& record : records) {
    inspect::InputRecord input;
    input.bytes.assign(record.bytes.begin(), record.bytes.end());
    set.records.push_back(std::move(input));
  }
  std::array<unsigned char, 32> identity{};
  identity[10] = 0xA3;
  identity[11] = 0x01;
  return inspect::ConvertToImage(set, inspect::Which::kAll, {identity});
}

std::vector<std::string> RecordsInImage(const std::string& path) {
  std::vector<std::string> lines;
  for (const auto& record : tarvek::inspect::Load(path, {}).records) {
    std::string line;
    for (std::size_t i = 2; i < record.bytes.size(); ++i) {
      std::array<char, 4> text{};
      std::snprintf(text.data(), text.size(), i > 2 ? " %02X" : "%02X", record.bytes[i]);
      line += text.data();
    }
    lines.push_back(line);
  }
  return lines;
}

}  // namespace chaos
