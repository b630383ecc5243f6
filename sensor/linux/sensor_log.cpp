#include "sensor/sensor_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>

#include "base/clock.h"

namespace tvn {
namespace {

std::string log_folder() {
  const char* home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe): nobody sets variables
  return home == nullptr || *home == '\0' ? "" : std::string(home) + "/Documents/TVN-Live";
}

std::string time_stamp() {
  const auto now = std::chrono::system_clock::now();
  const auto since_epoch =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
  const auto seconds = static_cast<std::time_t>(since_epoch / 1000);
  char milliseconds[8];
  std::snprintf(milliseconds, sizeof milliseconds, ".%03d", static_cast<int>(since_epoch % 1000));
  return local_time_text(seconds, "%H:%M:%S") + milliseconds;
}

// One write to a file opened for appending is whole, whoever else writes.
void append_line(const std::string& path, const std::string& line) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (fd < 0) return;
  [[maybe_unused]] const ssize_t written = ::write(fd, line.data(), line.size());
  ::close(fd);
}

}  // namespace

void sensor_log(const std::string& message) {
  try {
    ::syslog(LOG_USER | LOG_INFO, "[TVN-BLE] %s", message.c_str());
    const std::string folder = log_folder();
    if (folder.empty()) return;
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    append_line(folder + "/tvn_log.txt", time_stamp() + "  " + message + "\n");
  } catch (const std::exception&) {
  }
}

}  // namespace tvn
