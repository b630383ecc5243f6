#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "benchmarks/soak/fast_clock.h"
#include "benchmarks/soak/process_facts.h"
#include "benchmarks/soak/soak.h"
#include "session/analysis_pass.h"
#include "session/runs.h"
#include "session/status.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/temporary_folder.h"

// Each pass goes through here, as the clock does: see fast_clock.cpp.
void timed_pass(tvn::Engine& engine) noexcept asm("__wrap__ZN3tvn12analyse_onceERNS_6EngineE");
void real_pass(tvn::Engine& engine) noexcept asm("__real__ZN3tvn12analyse_onceERNS_6EngineE");

namespace tvn::soak {
namespace {

constexpr std::size_t k_hours = 12;
constexpr std::size_t k_readers = 8;
constexpr std::size_t k_frame_samples = 73;
// What a run keeps beside its samples, as the headers say: ten points a second of both curves (16
// bytes), RunningHr (24 without bumps) and RunningTvn (48), and RunningBeats (200 bytes a second).
constexpr double k_kept_bytes_a_second = 10 * (16 + 24 + 48) + 200;

struct PassTimes {
  int count = 0;
  double sum = 0, longest = 0, longest_wall = 0;  // seconds; of the processor but for the last
};

struct Passes {
  Mutex mutex;
  std::array<PassTimes, k_hours> of_hour TVN_GUARDED_BY(mutex);
} passes;

double thread_seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::size_t samples_of(Engine& engine) {
  const SessionLock hold(engine.lock);
  return engine.live_ecg.size();
}

double hours_of(std::size_t samples) {
  return static_cast<double>(samples) / 130 / 3600;
}

// Sends frames as a strap does, at the pace of the clock, until it is stopped.
class SoakStrap : public SensorDriver {
 public:
  SoakStrap() : ecg_(synthetic::make_ecg(1800)) {
    for (double& sample : ecg_) sample = std::round(sample);
  }
  bool available() override { return true; }
  ScanResult scan() override { return {}; }
  void start(const std::string&, SamplesCallback samples, StatusCallback) override {
    over_ = false;
    sender_ = std::thread([this, samples] { send(samples); });
  }
  void stop() override {
    over_ = true;
    if (sender_.joinable()) sender_.join();
  }

 private:
  void send(const SamplesCallback& samples) {
    const double begun = monotonic_seconds();
    std::vector<double> frame(k_frame_samples);
    for (std::size_t sent = 0; !over_;) {
      const double due = (monotonic_seconds() - begun) * 130;
      for (; static_cast<double>(sent + k_frame_samples) <= due; sent += k_frame_samples) {
        for (std::size_t i = 0; i < frame.size(); ++i) frame[i] = ecg_[(sent + i) % ecg_.size()];
        samples(frame);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }

  std::vector<double> ecg_;
  std::atomic<bool> over_{true};
  std::thread sender_;
};

// Threads that take a snapshot 20 times a second, as the event streams of pages do.
class Readers {
 public:
  explicit Readers(Engine& engine) {
    for (std::thread& reader : readers_) {
      reader = std::thread([this, &engine] {
        while (!over_) {
          bytes_ += status_json(engine).size();
          std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
      });
    }
  }
  Readers(const Readers&) = delete;
  Readers& operator=(const Readers&) = delete;
  ~Readers() {
    over_ = true;
    for (std::thread& reader : readers_) reader.join();
  }

 private:
  std::atomic<bool> over_{false};
  std::atomic<std::size_t> bytes_{0};
  std::array<std::thread, k_readers> readers_;
};

// Memory beside the samples, once a minute of the run and not during a pass.
std::vector<Reading> follow_run(Engine& engine, std::size_t& most_threads) {
  std::vector<Reading> readings;
  for (;;) {
    const std::size_t samples = samples_of(engine);
    const double hours = hours_of(samples);
    const bool due = readings.empty() || hours - readings.back().hours > 1.0 / 60;
    if (due && !engine.analysis_busy) {
      const double recording = static_cast<double>(samples * sizeof(double)) / 1e6;
      readings.push_back({hours, resident_megabytes(getpid()) - recording});
      most_threads = std::max(most_threads, thread_count(getpid()));
    }
    if (hours >= double{k_hours}) return readings;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

// Whether each hour had its passes, none of them too long.
bool print_passes(const std::vector<Reading>& readings) {
  const MutexLock<Mutex> hold(passes.mutex);
  bool quick = true;
  for (std::size_t hour = 0; hour < k_hours; ++hour) {
    const PassTimes& times = passes.of_hour[hour];
    const auto last = std::find_if(readings.rbegin(), readings.rend(), [hour](const Reading& r) {
      return r.hours < static_cast<double>(hour + 1);
    });
    std::printf(
        "hour %2zu  %5d passes  mean %6.2f ms  longest %6.2f ms (%6.2f ms by the clock)  "
        "%7.2f MB beside the samples\n",
        hour + 1, times.count, 1e3 * times.sum / std::max(times.count, 1), 1e3 * times.longest,
        1e3 * times.longest_wall, last == readings.rend() ? 0.0 : last->megabytes);
    quick = quick && times.count > 0 && times.longest < k_longest_pass;
  }
  return quick;
}

}  // namespace

bool soak_live_run(double minutes) {
  const double speed = k_hours * 60 / minutes;
  std::printf("\nA live run of %zu hours, %.0f times as fast, %zu pages\n", k_hours, speed,
              k_readers);
  const TemporaryFolder folder;
  Engine engine;
  SoakStrap strap;
  engine.data_dir = folder.path();
  engine.sensor = &strap;
  std::filesystem::create_directories(recordings_dir(engine));
  const std::size_t threads_before = thread_count(getpid());
  set_clock_speed(speed);
  start_live(engine, "soak", {{"name", "soak"}});
  std::vector<Reading> readings;
  std::size_t most_threads = 0;
  {
    const Readers readers(engine);
    readings = follow_run(engine, most_threads);
  }
  stop(engine);
  set_clock_speed(1);
  while (engine.analysis_busy) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  const bool quick = print_passes(readings);
  const std::size_t threads_after = thread_count(getpid());
  const double kept = k_kept_bytes_a_second * 3600 / 1e6;
  const double slope = slope_after_warm_up(readings) - kept;
  std::printf(
      "memory beside the samples and %.2f MB that a run keeps: %+.2f MB an hour of the run; %zu "
      "threads before, %zu at most, %zu after\n",
      kept, slope, threads_before, most_threads, threads_after);
  engine.sensor = nullptr;
  return quick && slope < k_steepest_slope && threads_after == threads_before;
}

}  // namespace tvn::soak

void timed_pass(tvn::Engine& engine) noexcept {
  using namespace tvn::soak;
  const double begun = real_seconds(), processor_begun = thread_seconds();
  real_pass(engine);
  const double wall = real_seconds() - begun, processor = thread_seconds() - processor_begun;
  const auto hour = static_cast<std::size_t>(hours_of(samples_of(engine)));
  const tvn::MutexLock<tvn::Mutex> hold(passes.mutex);
  PassTimes& times = passes.of_hour[std::min(hour, k_hours - 1)];
  times.count += 1;
  times.sum += processor;
  times.longest = std::max(times.longest, processor);
  times.longest_wall = std::max(times.longest_wall, wall);
}
