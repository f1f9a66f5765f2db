#include "control/doctor/bmc_findings.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace tarvek::control {
namespace {

DeviceId Board(unsigned manufacturer = kMakersNumber) {
  DeviceId device;
  device.product = 0x01A3;
  device.manufacturer = manufacturer;
  device.firmware_major = 3;
  device.firmware_minor = 0x07;
  device.ipmi_version = 0x51;
  return device;
}

TEST(BmcFinding, TellsWhatAnswers) {
  BmcReport report{BmcFailure::kNone, "", "openipmi", Board(), RepositoryInfo{}};
  report.info->records = 12;
  const Finding finding = BmcFinding(report);
  EXPECT_EQ(finding.subject, "bmc");
  EXPECT_EQ(finding.gravity, Gravity::kGood);
  EXPECT_EQ(
      finding.sentence,
      "The BMC answers: product 01a3, manufacturer 119, firmware 3.07, IPMI 1.5, 12 records.");
}

TEST(BmcFinding, EveryFailureIsAProblemWithARemedy) {
  for (const BmcFailure failure :
       {BmcFailure::kNoDriver, BmcFailure::kDriver, BmcFailure::kAnswer, BmcFailure::kSilent}) {
    const Finding finding = BmcFinding({failure, "no answer to Get Device ID", "", {}, {}});
    EXPECT_EQ(finding.gravity, Gravity::kProblem);
    EXPECT_EQ(finding.sentence, "No answer to Get Device ID.");
    EXPECT_FALSE(finding.remedy.empty());
  }
  EXPECT_EQ(
      BmcFinding(
          {BmcFailure::kAnswer, "Get SDR Repository Info was refused", "openipmi", Board(), {}})
          .gravity,
      Gravity::kProblem);
}

TEST(ManufacturerFinding, AnotherMakersBmcIsAProblem) {
  EXPECT_EQ(ManufacturerFinding(Board()).gravity, Gravity::kGood);
  const Finding finding = ManufacturerFinding(Board(343));
  EXPECT_EQ(finding.gravity, Gravity::kProblem);
  EXPECT_EQ(finding.sentence,
            "The BMC's manufacturer ID is 343, not 119: to another maker's BMC the requests of an "
            "update may mean anything.");
}

TEST(BoardsFinding, TellsWhetherTheListNamesTheProduct) {
  struct Case {
    SmallFile list;
    Gravity gravity;
    const char* sentence;
  };
  const Case cases[] = {
      {{0, "01A3\n", true}, Gravity::kGood, "b names the product 01a3."},
      {{0, "01A3\n", false}, Gravity::kGood, "b names the product 01a3."},
      {{0, "01A4\n", true}, Gravity::kProblem, "b does not name the product 01a3."},
      {{0, "", false}, Gravity::kProblem, "b is too large for a hardware list."},
      {{ENOENT, "", true}, Gravity::kProblem, "b cannot be read: No such file or directory."},
  };
  for (const Case& c : cases) {
    const Finding finding = BoardsFinding("b", c.list, Board());
    EXPECT_EQ(finding.subject, "boards");
    EXPECT_EQ(finding.gravity, c.gravity) << c.sentence;
    EXPECT_EQ(finding.sentence, c.sentence);
    EXPECT_EQ(finding.remedy.empty(), c.gravity == Gravity::kGood);
  }
}

TEST(RequestsFinding, ARequestThatTheBmcDoesNotKnowIsAProblem) {
  std::vector<Probe> probes{{"Get Device ID (06h/01h)", true, true, false, 0, ""},
                            {"Get SDR (0Ah/23h)", true, true, false, 0xCB, "Get SDR was refused"},
                            {"Get slot information (3Eh/E0h)", true, false, false, 0xC1, "refused"},
                            {"SparedSDR (3Eh/10h)", false, false, false, -1, "not tried: ..."}};
  const Finding good = RequestsFinding(probes);
  EXPECT_EQ(good.subject, "requests");
  EXPECT_EQ(good.gravity, Gravity::kGood);
  EXPECT_EQ(good.sentence,
            "The BMC knows what could be tried: Get Device ID (06h/01h) and Get SDR (0Ah/23h). Not "
            "known: Get slot information (3Eh/E0h), which is done without. Not tried: SparedSDR "
            "(3Eh/10h).");
  probes[1] = {
      "Get SDR (0Ah/23h)", true, false, false, 0xC1, "Get SDR was refused with completion code C1"};
  const Finding problem = RequestsFinding(probes);
  EXPECT_EQ(problem.gravity, Gravity::kProblem);
  EXPECT_EQ(problem.sentence,
            "The BMC does not do Get SDR (0Ah/23h): Get SDR was refused with completion code C1.");
}

TEST(RequestsFinding, WhatTheBmcDeniesIsWorthKnowing) {
  const Finding finding =
      RequestsFinding({{"Get SDR (0Ah/23h)", true, true, false, 0, ""},
                       {"Reserve SDR Repository (0Ah/22h)", false, false, true, -1, "not tried"}});
  EXPECT_EQ(finding.gravity, Gravity::kNote);
  EXPECT_EQ(finding.sentence,
            "The BMC knows what could be tried: Get SDR (0Ah/23h). Not tried: Reserve SDR "
            "Repository (0Ah/22h). It says that it has not Reserve SDR Repository (0Ah/22h).");
}

}  // namespace
}  // namespace tarvek::control
