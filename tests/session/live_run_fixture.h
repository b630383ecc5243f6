// A live run with a strap that a test holds in its hands.
#pragma once

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "session/journal_format.h"
#include "tests/session/session_fixture.h"
#include "tests/temporary_folder.h"

namespace tvn {

class HeldStrap : public SensorDriver {
 public:
  bool available() override { return true; }
  ScanResult scan() override { return {}; }
  void start(const std::string&, SamplesCallback samples, StatusCallback) override {
    samples_ = std::move(samples);
  }
  void stop() override { samples_ = nullptr; }
  void send(const std::vector<double>& batch) const { samples_(batch); }

 private:
  SamplesCallback samples_;
};

// Whole microvolts that no neighbour equals.
inline std::vector<double> ramp(std::size_t first, std::size_t count) {
  std::vector<double> samples(count);
  for (std::size_t i = 0; i < count; ++i) samples[i] = static_cast<double>((first + i) % 5000);
  return samples;
}

class LiveRunTest : public SessionTest {
 protected:
  LiveRunTest() { engine_.sensor = &strap_; }
  ~LiveRunTest() override {
    stop(engine_);
    engine_.sensor = nullptr;
  }

  void start() {
    start_live(engine_, "AA", {{"name", "anna"}, {"indur", "4"}, {"outdur", "6"}, {"sex", "F"}});
    sent_ = 0;
  }
  void send(double seconds) {
    const auto count = static_cast<std::size_t>(seconds * 130);
    strap_.send(ramp(sent_, count));
    sent_ += count;
  }
  // Names that begin so, in order.
  std::vector<std::string> journals() { return names_in(folder_.path(), ".run-"); }
  std::vector<std::string> recordings() { return names_in(recordings_dir(engine_), ""); }
  JournalContent journal() {
    std::string bytes;
    if (!journals().empty()) read_file(folder_ / journals()[0], bytes);
    return read_journal(bytes);
  }
  // Reading is not possible while the journal is being written to.
  bool journal_reaches(std::size_t samples) {
    return wait_until([&] { return journal().samples.size() == samples; });
  }

  HeldStrap strap_;
  std::size_t sent_ = 0;
};

}  // namespace tvn
