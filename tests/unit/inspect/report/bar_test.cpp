#include "inspect/report/bar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/report/sample_server.h"

namespace tarvek::inspect {
namespace {

using tarvek_test::FullSensor;
using tarvek_test::kNone;
using tarvek_test::SampleSensor;
using ::testing::HasSubstr;
using ::testing::Not;

/// A sensor from 0 to 100 degrees C.
SampleSensor Percent() { return {.name = "T", .minimum = 0, .maximum = 100}; }

Record Decoded(const SampleSensor& sensor) { return Decode(FullSensor(sensor)); }

std::string BarOf(const SampleSensor& sensor) {
  const Record record = Decoded(sensor);
  return Bar(record, AxisOf(record).value());
}

TEST(AxisTest, GoesFromMinimumToMaximum) {
  const auto axis = AxisOf(Decoded(Percent()));
  ASSERT_TRUE(axis);
  EXPECT_EQ(axis->low, 0);
  EXPECT_EQ(axis->high, 100);
}

TEST(AxisTest, ShowsAThresholdBeyondTheMaximum) {
  SampleSensor sensor = Percent();
  sensor.thresholds[4] = 120;
  EXPECT_EQ(AxisOf(Decoded(sensor))->high, 120);
}

TEST(AxisTest, HasTheLowerEndOnTheLeftAlsoWithAFactorBelowZero) {
  SampleSensor sensor = Percent();
  sensor.m = -1;
  const auto axis = AxisOf(Decoded(sensor));
  EXPECT_EQ(axis->low, -100);
  EXPECT_EQ(axis->high, 0);
}

TEST(AxisTest, IsAbsentWhereAllReadingsAreTheSame) {
  SampleSensor sensor = Percent();
  sensor.m = 0;
  EXPECT_FALSE(AxisOf(Decoded(sensor)));
}

TEST(AxisTest, IsAbsentWithoutRealReadings) {
  Bytes bytes = FullSensor(Percent());
  bytes[20] = 0xC0;  // no analog format
  EXPECT_FALSE(AxisOf(Decode(bytes)));
  EXPECT_FALSE(AxisOf(Decode(tarvek_test::DiscreteSensor("D", 1, 7, 0x6F, 1, 3, 1))));
  EXPECT_FALSE(AxisOf(Decode({})));
}

TEST(BarTest, DrawsZonesTheWorseOverTheBetter) {
  SampleSensor sensor = Percent();
  sensor.thresholds = {20, 10, 5, 80, 90, 95};
  EXPECT_THAT(BarOf(sensor),
              HasSubstr("<g><rect class=tr x=0% width=100% />"
                        "<rect class=nc x=0% width=20% /><rect class=nc x=80% width=20% />"
                        "<rect class=cr x=0% width=10% /><rect class=cr x=90% width=10% />"
                        "<rect class=nr x=0% width=5% /><rect class=nr x=95% width=5% /></g>"));
}

TEST(BarTest, DrawsNormalRangeAndNominalReading) {
  SampleSensor sensor = Percent();
  sensor.nominal = 40;
  sensor.normal_low = 30;
  sensor.normal_high = 65;
  const std::string bar = BarOf(sensor);
  EXPECT_THAT(bar, HasSubstr("<rect class=no x=30% width=35% />"));
  EXPECT_THAT(bar, HasSubstr("<circle cx=40% cy=7 r=4 />"));
  EXPECT_THAT(BarOf(Percent()), Not(HasSubstr("circle")));
  EXPECT_THAT(BarOf(Percent()), Not(HasSubstr("class=no")));
}

TEST(BarTest, TheTrackEndsWhereTheSensorDoes) {
  SampleSensor sensor = Percent();
  sensor.thresholds[3] = 125;
  const std::string bar = BarOf(sensor);
  EXPECT_THAT(bar, HasSubstr("<rect class=tr x=0% width=80% />"));
  EXPECT_THAT(bar, Not(HasSubstr("class=nc")));
}

TEST(BarTest, ThresholdsThatAreNeitherReadableNorSettableAreNone) {
  EXPECT_THAT(BarOf(Percent()), Not(HasSubstr("class=nr")));
}

TEST(BarTest, SaysTheSameInWords) {
  SampleSensor sensor = Percent();
  sensor.nominal = 40;
  sensor.normal_low = 30;
  sensor.normal_high = 65;
  sensor.thresholds = {kNone, 10, kNone, kNone, 90, kNone};
  EXPECT_THAT(BarOf(sensor),
              HasSubstr("<title>from 0 to 100 degrees C; normal from 30 to 65; nominal 40; "
                        "Lower Critical 10; Upper Critical 90</title>"));
}

TEST(AxisLabelsTest, AreRoundNumbersBetweenTheEnds) {
  const std::string labels = AxisLabels({-128, 127});
  EXPECT_THAT(labels, HasSubstr("<text x=0% y=11>-128</text>"));
  EXPECT_THAT(labels, HasSubstr("<text class=m x=50.2% y=11>0</text>"));
  EXPECT_THAT(labels, HasSubstr("<text class=m x=69.8% y=11>50</text>"));
  EXPECT_THAT(labels, HasSubstr("<text class=e x=100% y=11>127</text>"));
}

TEST(AxisLabelsTest, AreFewOnAnyScale) {
  for (const Axis& axis : {Axis{0, 1e-300}, Axis{1e300, 1.7e308}, Axis{1, 1.0000000000000002},
                           Axis{-1e-9, 1e9}, Axis{0.1, 0.3}}) {
    const std::string labels = AxisLabels(axis);
    EXPECT_LT(labels.size(), 1000U);
    EXPECT_THAT(labels, Not(HasSubstr("nan")));
    EXPECT_THAT(labels, Not(HasSubstr("inf")));
  }
}

TEST(HullTest, CoversBoth) {
  const Axis hull = Hull({0, 10}, {-5, 7});
  EXPECT_EQ(hull.low, -5);
  EXPECT_EQ(hull.high, 10);
}

}  // namespace
}  // namespace tarvek::inspect
