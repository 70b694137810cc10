#include "import/run_pace.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

using std::chrono::milliseconds;

class RunPaceTest : public ::testing::Test {
 protected:
  std::string At(int milliseconds_in, std::int32_t record, double percent) {
    return pace.At(begin + milliseconds(milliseconds_in), record, percent);
  }
  RunPace pace;
  const RunPace::Clock::time_point begin = RunPace::Clock::now();
};

TEST_F(RunPaceTest, SaysRateAndTimeLeftInGermanFromTheSecondSecondOn) {
  EXPECT_EQ(At(0, 1, 0.0005), "");
  EXPECT_EQ(At(1000, 1201, 0.6), "");
  EXPECT_EQ(At(2000, 2401, 1.2), "1.200 Datensätze/s, noch etwa 3 Minuten");
}

TEST_F(RunPaceTest, TheWordsStandStillForASecondAndRoundToTwoDigits) {
  At(0, 1, 0.01);
  const std::string words = At(2000, 2470, 10.01);
  EXPECT_EQ(words, "1.200 Datensätze/s, noch etwa 20 Sekunden");
  EXPECT_EQ(At(2900, 9999, 50), words);
  EXPECT_NE(At(3000, 9999, 50), words);
}

TEST_F(RunPaceTest, WhatLiesMoreThanTenSecondsBackCountsNoMore) {
  At(0, 1, 0.001);
  for (int second = 1; second <= 20; ++second) At(second * 1000, 10, 0.001);
  std::string words;
  for (int second = 21; second <= 31; ++second) {
    words = At(second * 1000, 10 + 100 * (second - 20), 0.001 + (second - 20));
  }
  EXPECT_EQ(words, "100 Datensätze/s, noch etwa 1 Minute") << "as fast as in the last ten seconds";
}

TEST_F(RunPaceTest, WhereNobodyKnowsHowManyThereAreItSaysTheRateOnly) {
  At(0, 1, 0);
  EXPECT_EQ(At(2000, 101, 0), "50 Datensätze/s");
}

TEST_F(RunPaceTest, SlowRunsAreToldToo) {
  At(0, 1, 0);
  EXPECT_EQ(At(4000, 5, 0), "1 Datensatz/s");
  EXPECT_EQ(At(8000, 6, 0), "weniger als 1 Datensatz/s");
}

TEST_F(RunPaceTest, AtTheEndNothingIsSaidAnyMore) {
  At(0, 1, 1);
  EXPECT_NE(At(2000, 50, 50), "");
  EXPECT_EQ(At(2050, 100, 100), "");
}

TEST(TimeLeft, IsToldInTheUnitThatAPersonReckonsIn) {
  const auto text = [](double seconds) { return TimeLeftText(seconds); };
  EXPECT_EQ(text(3), "noch wenige Sekunden");
  EXPECT_EQ(text(7), "noch etwa 10 Sekunden");
  EXPECT_EQ(text(31), "noch etwa 40 Sekunden");
  EXPECT_EQ(text(56), "noch etwa 1 Minute");
  EXPECT_EQ(text(125), "noch etwa 2 Minuten");
  EXPECT_EQ(text(3599), "noch etwa 1 Stunde");
  EXPECT_EQ(text(3 * 3600), "noch etwa 3 Stunden");
  EXPECT_EQ(text(86000), "noch etwa 1 Tag");
}

}  // namespace
}  // namespace kestrel
