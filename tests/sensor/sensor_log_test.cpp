#include "sensor/sensor_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "tests/sensor/log_folder.h"

namespace tvn {
namespace {

TEST(SensorLog, AppendsStampedLinesBelowHome) {
  const LogFolder log;
  sensor_log("didConnectPeripheral");
  sensor_log("a message with 100 % and “quotes”");
  const std::string stamp = "[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\\.[0-9][0-9][0-9]  ";
  EXPECT_THAT(log.text(), testing::MatchesRegex(stamp + "didConnectPeripheral\n" + stamp +
                                                "a message with 100 % and “quotes”\n"));
}

TEST(SensorLog, IsQuietWhereItCannotWrite) {
  const LogFolder log;
  ASSERT_TRUE(write_file(log.path() + "/Documents", "in the way"));
  sensor_log("lost");
  EXPECT_EQ(log.text(), "");
}

TEST(SensorLog, LinesOfManyThreadsDoNotMix) {
  const LogFolder log;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 50; ++i) sensor_log("a line that is the same every time");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(log.lines(), std::vector<std::string>(200, "a line that is the same every time"));
}

}  // namespace
}  // namespace tvn
