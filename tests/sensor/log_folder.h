// A home folder of a test's own, so that the sensor log of a test is that test's alone.
#pragma once

#include <stdlib.h>

#include <string>
#include <vector>

#include "base/files.h"
#include "tests/temporary_folder.h"

namespace tvn {

class LogFolder {
 public:
  LogFolder() : home_(getenv("HOME") == nullptr ? "" : getenv("HOME")) {
    setenv("HOME", folder_.path().c_str(), 1);
  }
  LogFolder(const LogFolder&) = delete;
  LogFolder& operator=(const LogFolder&) = delete;
  ~LogFolder() { setenv("HOME", home_.c_str(), 1); }

  std::string text() const {
    std::string text;
    read_file(folder_ / "Documents/TVN-Live/tvn_log.txt", text);
    return text;
  }
  const std::string& path() const { return folder_.path(); }

  // The messages, without their time stamps ("HH:mm:ss.SSS  ").
  std::vector<std::string> lines() const {
    constexpr std::size_t k_stamp = 14;
    const std::string all = text();
    std::vector<std::string> result;
    for (std::size_t at = 0, end; (end = all.find('\n', at)) != std::string::npos; at = end + 1) {
      const std::string line = all.substr(at, end - at);
      result.push_back(line.size() < k_stamp ? line : line.substr(k_stamp));
    }
    return result;
  }

 private:
  TemporaryFolder folder_;
  std::string home_;
};

}  // namespace tvn
