// A simulated BMC in memory, asked in hex.
#ifndef TARVEK_TESTS_UNIT_SIMULATOR_BMC_FIXTURE_H_
#define TARVEK_TESTS_UNIT_SIMULATOR_BMC_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "simulator/bmc_model.h"
#include "simulator/bmc_state.h"

namespace bmcsim_test {

using Bytes = std::vector<std::uint8_t>;

/// "28 22" as bytes; blanks anywhere.
Bytes FromHex(const std::string& text);

/// Bytes as "28 22".
std::string ToHex(const Bytes& bytes);

/// A record without its ID: version 51, type 01, and a body of `body` bytes `fill`.
Bytes RecordOf(std::size_t body, std::uint8_t fill);

class BmcFixture : public ::testing::Test {
 protected:
  static constexpr std::uint32_t kNow = 0x40000000;

  BmcFixture() { Reset(bmcsim::Identity()); }

  /// A BMC with an empty repository.
  void Reset(const bmcsim::Identity& identity);

  /// What the BMC answers to a request image in hex: completion code and data, in hex.
  std::string Ask(const std::string& image);

  /// Sends SparedSDR with a phase.
  std::string Spared(int phase) { return Ask("F8 10 0" + std::to_string(phase)); }

  /// Takes a reservation with the command ("28 22", "F8 11"), as the hex of its two bytes.
  std::string Reserve(const std::string& command);

  /// Adds a record (without ID) to the open spare copy, in pieces of 16 bytes under a new
  /// reservation; gives the last answer.
  std::string Add(const Bytes& record);

  /// Adds records to the served repository, behind the BMC's back.
  void Fill(const std::vector<Bytes>& records);

  /// The served repository, record by record in hex, without record IDs.
  std::string Served();

  const bmcsim::Control& control() const { return bmcsim::ActiveControl(*state_); }

  std::unique_ptr<bmcsim::BmcState> state_ = std::make_unique<bmcsim::BmcState>();
  std::unique_ptr<bmcsim::BmcModel> model_;
  std::uint32_t now_ = kNow;
};

}  // namespace bmcsim_test

#endif  // TARVEK_TESTS_UNIT_SIMULATOR_BMC_FIXTURE_H_
