#include "transport/spared_mode.h"

#include <csignal>
#include <filesystem>
#include <functional>

#include "driver/reporting/output_file.h"
#include "driver/reporting/single_run_lock.h"
#include "driver/reporting/text_format.h"
#include "tests/unit/support/fresh_run.h"
#include "tests/unit/support/small_bmc.h"

namespace tarvek_test {
namespace {

constexpr const char* kDrop = "F8 10 01 ";

tarvek::SparedRequest Spared(const Bytes& request) {
  return {request.data(), static_cast<unsigned char>(request.size())};
}

const tarvek::SparedRequest kBegin = Spared({0xF8, 0x10, 0x00});

class SparedMode : public FreshRun {
 protected:
  /// @return what the BMC is asked when a signal ends the run behind `action`.
  std::string AskedBySignalAfter(const std::function<void()>& action) {
    WriteFile("requests", "");
    machine().bmc = [](const Bytes& request) {
      tarvek::WriteOutput("requests", tarvek::Keep::kContent, tarvek::HexImage("", request));
      return Reply();
    };
    EXPECT_EXIT(
        {
          action();
          sem_post_proc(SIGTERM);
        },
        ::testing::ExitedWithCode(SIGTERM), "");
    return ReadFile("requests");
  }
};

TEST_F(SparedMode, IsDroppedOnceItsBeginHasGoneOut) {
  for (const bool maker : {false, true}) {
    if (maker) {
      UseMakerDriver();
    } else {
      UseOpenIpmi();
    }
    EXPECT_EQ(AskedBySignalAfter([] {}), "");
    EXPECT_EQ(AskedBySignalAfter([] { kBegin.WentOut(); }), kDrop);
  }
}

TEST_F(SparedMode, IsNotDroppedWhenItsBeginCameToNothing) {
  UseOpenIpmi();
  EXPECT_EQ(AskedBySignalAfter([] {
              kBegin.WentOut();
              kBegin.CameToNothing();
            }),
            "");
}

TEST_F(SparedMode, IsNotDroppedBehindItsEndWhateverBecomesOfThat) {
  UseOpenIpmi();
  for (const std::uint8_t phase : Bytes{1, 2}) {
    const tarvek::SparedRequest end = Spared({0xF8, 0x10, phase});
    EXPECT_EQ(AskedBySignalAfter([&] {
                kBegin.WentOut();
                end.WentOut();
              }),
              "");
    EXPECT_EQ(AskedBySignalAfter([&] {
                kBegin.WentOut();
                end.WentOut();
                end.CameToNothing();
              }),
              "");
  }
}

TEST_F(SparedMode, IsStillDroppedBehindAnyOtherRequest) {
  UseOpenIpmi();
  for (const Bytes& request : {Bytes{0xF8, 0x11}, Bytes{0xF8, 0x10}, Bytes{0x28, 0x10, 0x00},
                               Bytes{0xF8, 0x12, 0x00}, Bytes{0xF8, 0x10, 0x00, 0x00}}) {
    const tarvek::SparedRequest other = Spared(request);
    EXPECT_EQ(AskedBySignalAfter([&] {
                other.WentOut();
                other.CameToNothing();
              }),
              "");
    EXPECT_EQ(AskedBySignalAfter([&] {
                kBegin.WentOut();
                other.WentOut();
                other.CameToNothing();
              }),
              kDrop);
  }
}

}  // namespace
}  // namespace tarvek_test
