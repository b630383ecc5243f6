#include "batch/command/progress.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace tvn {
namespace {

TEST(Progress, TellsTheRateAndTheTimeLeft) {
  EXPECT_EQ(progress_text(0, 200, 5), "0 of 200 recordings");
  EXPECT_EQ(progress_text(50, 200, 5), "50 of 200 recordings, 10.0 a second, 15 s left");
  EXPECT_EQ(progress_text(1, 100, 1), "1 of 100 recordings, 1.0 a second, 99 s left");
  EXPECT_EQ(progress_text(1, 101, 1), "1 of 101 recordings, 1.0 a second, 2 min left");
  EXPECT_EQ(progress_text(1, 150, 1), "1 of 150 recordings, 1.0 a second, 2 min left");
  EXPECT_EQ(progress_text(1, 151, 1), "1 of 151 recordings, 1.0 a second, 3 min left");
  EXPECT_EQ(progress_text(1, 6000, 1), "1 of 6000 recordings, 1.0 a second, 100 min left");
  EXPECT_EQ(progress_text(1, 6001, 1), "1 of 6001 recordings, 1.0 a second, 1.7 h left");
  EXPECT_EQ(progress_text(1, 1000, 1), "1 of 1000 recordings, 1.0 a second, 17 min left");
  EXPECT_EQ(progress_text(1, 10801, 1), "1 of 10801 recordings, 1.0 a second, 3.0 h left");
  EXPECT_EQ(progress_text(1, 3'600'001, 1), "1 of 3600001 recordings, 1.0 a second, 1000.0 h left");
  EXPECT_EQ(progress_text(200, 200, 4), "200 of 200 recordings, 50.0 a second");
}

// What is shown on standard error when recordings are done at these times, after 100 s.
std::string shown(Progress::Style style, std::initializer_list<double> times) {
  testing::internal::CaptureStderr();
  Progress progress(4, style, 100);
  for (const double time : times) progress.step(time);
  return testing::internal::GetCapturedStderr();
}

TEST(Progress, WithoutATerminalThereIsALineEveryTenSecondsOrNone) {
  EXPECT_EQ(Progress::style_for(true), Progress::Style::quiet);
  EXPECT_EQ(shown(Progress::Style::quiet, {200}), "");
  EXPECT_EQ(shown(Progress::Style::lines, {109.9, 110, 119.9, 120}),
            "talvern-batch: 2 of 4 recordings, 0.2 a second, 10 s left\n"
            "talvern-batch: 4 of 4 recordings, 0.2 a second\n");
}

TEST(Progress, ABarGrowsTenTimesASecond) {
  EXPECT_EQ(shown(Progress::Style::bar, {100.0625, 100.125, 100.1875, 100.25}),
            "\r[############............] 2 of 4 recordings, 16.0 a second, 0 s left\033[K"
            "\r[########################] 4 of 4 recordings, 16.0 a second\033[K");
}

TEST(Progress, ABarGivesWayToALine) {
  testing::internal::CaptureStderr();
  Progress progress(10, Progress::Style::bar, 100);
  progress.tell("x");
  progress.end();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "\r\033[Ktalvern-batch: x\n\r\033[K");
}

TEST(Progress, ALineStaysAtTheEndAndWhenQuiet) {
  for (const auto style : {Progress::Style::lines, Progress::Style::quiet}) {
    testing::internal::CaptureStderr();
    Progress progress(10, style, 100);
    progress.tell("x");
    progress.end();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "talvern-batch: x\n");
  }
}

}  // namespace
}  // namespace tvn
