#include "batch/command/progress.h"

#include <gtest/gtest.h>

namespace tvn {
namespace {

TEST(Progress, TellsTheRateAndTheTimeLeft) {
  EXPECT_EQ(progress_text(0, 200, 5), "0 of 200 recordings");
  EXPECT_EQ(progress_text(50, 200, 5), "50 of 200 recordings, 10.0 a second, 15 s left");
  EXPECT_EQ(progress_text(1, 100, 1), "1 of 100 recordings, 1.0 a second, 99 s left");
  EXPECT_EQ(progress_text(1, 101, 1), "1 of 101 recordings, 1.0 a second, 2 min left");
  EXPECT_EQ(progress_text(1, 6000, 1), "1 of 6000 recordings, 1.0 a second, 100 min left");
  EXPECT_EQ(progress_text(1, 6001, 1), "1 of 6001 recordings, 1.0 a second, 1.7 h left");
  EXPECT_EQ(progress_text(1, 1000, 1), "1 of 1000 recordings, 1.0 a second, 17 min left");
  EXPECT_EQ(progress_text(1, 10801, 1), "1 of 10801 recordings, 1.0 a second, 3.0 h left");
  EXPECT_EQ(progress_text(200, 200, 4), "200 of 200 recordings, 50.0 a second");
}

TEST(Progress, WithoutATerminalThereAreLinesOrNone) {
  EXPECT_EQ(Progress::style_for(true), Progress::Style::quiet);
  testing::internal::CaptureStderr();
  Progress progress(10, Progress::Style::lines);
  progress.step();
  progress.tell("x");
  progress.end();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "talvern-batch: x\n");
}

TEST(Progress, ABarGivesWayToALine) {
  testing::internal::CaptureStderr();
  Progress progress(10, Progress::Style::bar);
  progress.tell("x");
  progress.end();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "\r\033[Ktalvern-batch: x\n\r\033[K");
}

}  // namespace
}  // namespace tvn
