// A session with a data folder of its own, for tests of what works on it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "base/files.h"
#include "session/engine.h"
#include "session/runs.h"
#include "tests/temporary_folder.h"
#include "tests/wait_until.h"

namespace tvn {

class SessionTest : public testing::Test {
 protected:
  SessionTest() {
    engine_.data_dir = folder_.path();
    std::filesystem::create_directories(recordings_dir(engine_));
  }
  ~SessionTest() override {
    stop(engine_);
    wait_until([this] { return !engine_.analysis_busy; });
  }

  std::string write_recording(const std::string& name, const std::vector<double>& samples) {
    std::string text;
    for (const double sample : samples) text += std::to_string(sample) + "\n";
    const std::string path = recordings_dir(engine_) + "/" + name;
    EXPECT_TRUE(write_file(path, text));
    return path;
  }

  // Reads a member under the lock.
  template <typename T>
  T get(T Engine::*member) {
    const SessionLock hold(engine_.lock);
    return engine_.*member;
  }

  TemporaryFolder folder_;
  Engine engine_;
};

}  // namespace tvn
