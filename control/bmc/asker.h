// Requests one after the other, in a process apart, under one limit of time.
#pragma once

#include <chrono>
#include <span>
#include <string>
#include <vector>

#include "control/bmc/answers.h"
#include "control/bmc/bmc.h"
#include "control/system/interrupts.h"

namespace tarvek::control {

/// What came of one request.
struct Reply {
  BmcFailure failure = BmcFailure::kNone;  // kAnswer: there is an answer, and it is not good
  std::string detail;                      // of a failure, for people
  std::string driver;                      // as in BmcReport
  std::vector<unsigned char> answer;

  bool HasAnswer() const { return failure == BmcFailure::kNone || failure == BmcFailure::kAnswer; }
};

class Asker {
 public:
  /// @param interrupts  may be null; must live as long as this object.
  /// @param limit       milliseconds from now on, for all requests.
  Asker(const Interrupts* interrupts, int limit);

  Reply Ask(const ReadingRequest& request);
  /// Asks one after the other, until one has no good answer.
  /// @return a reply to each that was asked: all good, or the last one not.
  std::vector<Reply> Ask(std::span<const ReadingRequest* const> requests);

 private:
  const Interrupts* interrupts_;
  int limit_;
  std::chrono::steady_clock::time_point end_;
};

}  // namespace tarvek::control
