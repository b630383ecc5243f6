#include "sensor/sensor_log.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <string>
#include <utility>

#include "tests/sensor/log_folder.h"

// Stands in for the C library's: what is told to the system log in this program, and how. Threads
// of other tests tell things, too.
static std::mutex g_system_log_in_use;
static std::string g_system_log;
extern "C" void syslog(int priority, const char* format, ...) {
  va_list values;
  va_start(values, format);
  char text[200];
  std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  const std::lock_guard hold(g_system_log_in_use);
  g_system_log += std::to_string(priority) + " " + text + "\n";
}

namespace tvn {
namespace {

// With the priority of a user's program (1, RFC 5424) that informs (6).
TEST(SensorLogOnLinux, EachLineGoesToTheSystemLogAsWell) {
  const LogFolder log;
  const auto take = [] {
    const std::lock_guard hold(g_system_log_in_use);
    return std::exchange(g_system_log, {});
  };
  take();
  sensor_log("didConnectPeripheral");
  sensor_log("100 %s");
  EXPECT_EQ(take(), "14 [TVN-BLE] didConnectPeripheral\n14 [TVN-BLE] 100 %s\n");
}

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
