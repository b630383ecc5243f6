#include "sensor/sensor_log.h"

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>

#include "tests/sensor/log_folder.h"

namespace tvn {
namespace {

TEST(SensorLogOnLinux, IsQuietWithoutAHome) {
  const LogFolder log;
  setenv("HOME", "", 1);
  sensor_log("lost");
  EXPECT_FALSE(std::filesystem::exists("Documents"));
}

TEST(SensorLogOnLinux, TheStampIsLocalTime) {
  const LogFolder log;
  setenv("TZ", "XXX-05:30", 1);
  tzset();
  sensor_log("x");
  const std::time_t now = std::time(nullptr) + 5 * 3600 + 1800;
  unsetenv("TZ");
  tzset();
  const int minutes = static_cast<int>(now / 60 % 1440);
  const int logged = std::stoi(log.text().substr(0, 2)) * 60 + std::stoi(log.text().substr(3, 2));
  EXPECT_LE((minutes - logged + 1440) % 1440, 1);
}

}  // namespace
}  // namespace tvn
