#include "session/runs.h"

#include <cmath>
#include <mutex>
#include <stdexcept>

#include "base/clock.h"
#include "session/markers.h"
#include "session/status.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/session/scarce_memory.h"
#include "tests/session/session_fixture.h"

namespace tvn {
namespace {

using synthetic::make_ecg;

using RunsTest = SessionTest;

// A strap that a test holds in its hands.
class FakeSensor : public SensorDriver {
 public:
  bool available() override { return true; }
  ScanResult scan() override { return {}; }
  void start(const std::string& identifier, SamplesCallback samples,
             StatusCallback status) override {
    const std::lock_guard hold(slot_);
    calls.push_back("start " + identifier);
    samples_ = std::move(samples);
    status_ = std::move(status);
  }
  void stop() override {
    const std::lock_guard hold(slot_);
    calls.push_back("stop");
    if (!keeps_callbacks) samples_ = nullptr, status_ = nullptr;
  }
  void send(const std::vector<double>& batch) {
    const std::lock_guard hold(slot_);
    if (samples_) samples_(batch);
  }
  void tell(const std::string& text) {
    const std::lock_guard hold(slot_);
    if (status_) status_(text);
  }
  std::vector<std::string> calls;
  bool keeps_callbacks = false;

 private:
  std::mutex slot_;
  SamplesCallback samples_;
  StatusCallback status_;
};

// A driver that cannot be started.
class BrokenSensor : public FakeSensor {
 public:
  void start(const std::string&, SamplesCallback, StatusCallback) override {
    throw std::runtime_error("no radio");
  }
};

TEST_F(RunsTest, NothingRunsWhenTheSensorCannotBeStarted) {
  BrokenSensor sensor;
  engine_.sensor = &sensor;
  EXPECT_THROW(start_live(engine_, "AA:BB", {}), std::runtime_error);
  EXPECT_FALSE(engine_.running);
  EXPECT_EQ(sensor.calls, std::vector<std::string>{"stop"});
  stop(engine_);
  engine_.sensor = nullptr;
}

class LiveRunsTest : public SessionTest {
 protected:
  LiveRunsTest() { engine_.sensor = &sensor_; }
  ~LiveRunsTest() override {
    stop(engine_);
    engine_.sensor = nullptr;
  }
  FakeSensor sensor_;
};

TEST_F(RunsTest, AReplayPlaysToItsEndAndIsThenAnalysedWhole) {
  const std::vector<double> ecg = make_ecg(40.0);
  const std::string path = write_recording("a.csv", ecg);
  start_replay(engine_, path, {{"speed", "100"}, {"indur", "2"}, {"outdur", "8"}});
  EXPECT_TRUE(engine_.running);
  EXPECT_EQ(get(&Engine::mode), "replay");
  EXPECT_EQ(get(&Engine::source_label), "a.csv");
  EXPECT_EQ(get(&Engine::cycle_seconds), 10);
  ASSERT_TRUE(wait_until([this] { return !engine_.running; }));
  EXPECT_FALSE(engine_.stop_requested);
  EXPECT_EQ(get(&Engine::replay_pos), static_cast<std::int64_t>(ecg.size()));
  EXPECT_EQ(get(&Engine::hr_series).size(), 400u);
  EXPECT_FALSE(std::isnan(get(&Engine::tvn)));
}

TEST_F(RunsTest, AReplayKeepsPaceWithTheClock) {
  const std::string path = write_recording("a.csv", std::vector<double>(130 * 60, 1.0));
  const double start = monotonic_seconds();
  start_replay(engine_, path, {});
  ASSERT_TRUE(wait_until([this] { return get(&Engine::replay_pos) >= 130; }));
  const double seconds = monotonic_seconds() - start;
  EXPECT_GE(seconds, 0.5);  // one recorded second at the usual double speed
  EXPECT_LT(seconds, 3.0);
}

// Not before the whole recording is analysed: the page asks for no more once a run has ended.
TEST_F(RunsTest, ARunEndsAfterItsLastPass) {
  const std::string path = write_recording("a.csv", make_ecg(300.0));
  start_replay(engine_, path, {{"speed", "1e6"}});
  while (engine_.running) std::this_thread::yield();
  const SessionLock hold(engine_.lock);
  ASSERT_FALSE(engine_.hr_series.empty());
  EXPECT_GE(engine_.hr_series.back().x, 299.0);
}

TEST_F(RunsTest, PassesBeginASecondApartAndOneAtATime) {
  const auto passes_begun = [this](std::uint64_t count) {
    return wait_until([&] { return get(&Engine::passes_begun) >= count; });
  };
  start_replay(engine_, write_recording("a.csv", std::vector<double>(7800, 1.0)), {});
  ASSERT_TRUE(passes_begun(1));
  const double first = monotonic_seconds();
  ASSERT_TRUE(passes_begun(2));
  EXPECT_GE(monotonic_seconds() - first, 0.7);
  EXPECT_LT(monotonic_seconds() - first, 1.9);
  ASSERT_TRUE(wait_until([this] { return !engine_.analysis_busy; }));
  engine_.analysis_busy = true;  // as if a pass took long
  const double second = monotonic_seconds();
  ASSERT_TRUE(wait_until([&] { return monotonic_seconds() - second > 1.2; }));
  EXPECT_EQ(get(&Engine::passes_begun), 2u);
  engine_.analysis_busy = false;  // the next one was due long ago
  const double free_again = monotonic_seconds();
  ASSERT_TRUE(passes_begun(3));
  EXPECT_LT(monotonic_seconds() - free_again, 0.7);
}

TEST_F(RunsTest, AStartBeginsAtTheBeginningWhereverTheLastReplayStood) {
  const std::string path = write_recording("a.csv", std::vector<double>(1000, 1.0));
  start_replay(engine_, path, {{"speed", "0"}});
  seek(engine_, 0.5);
  const std::uint64_t passes = get(&Engine::passes_begun);
  start_replay(engine_, path, {{"speed", "0"}});
  ASSERT_TRUE(wait_until([&] { return get(&Engine::passes_begun) > passes; }));
  EXPECT_EQ(get(&Engine::replay_pos), 0);  // after a round of the worker
}

TEST_F(RunsTest, ASeekSetsTheClockAnewAtEverySpeed) {
  const std::string path = write_recording("a.csv", std::vector<double>(600'000, 1.0));
  start_replay(engine_, path, {{"speed", "100"}});
  ASSERT_TRUE(wait_until([this] { return get(&Engine::replay_pos) >= 3000; }));
  const double begun = monotonic_seconds();
  seek(engine_, 0.5);
  ASSERT_TRUE(wait_until([this] { return get(&Engine::replay_pos) > 300'000; }));
  const auto since = static_cast<double>(get(&Engine::replay_pos) - 300'000);
  EXPECT_LE(since, (monotonic_seconds() - begun) * 100.0 * 130.0);
}

// Markers lie beside their recording, in whatever folder it is.
TEST_F(RunsTest, AReplayBringsTheMarkersBesideItsFile) {
  std::filesystem::create_directories(folder_ / "elsewhere");
  ASSERT_TRUE(write_file(folder_ / "elsewhere/a.csv", "1\n2\n3\n"));
  ASSERT_TRUE(write_file(folder_ / "elsewhere/a_markers.csv", "marker,sample_index\n4,1\n"));
  write_recording("a.csv", {1, 2, 3});
  ASSERT_TRUE(write_file(recordings_dir(engine_) + "/a_markers.csv", "7,2\n"));
  start_replay(engine_, folder_ / "elsewhere/a.csv", {{"speed", "0"}});
  const std::vector<Marker> markers = get(&Engine::markers);
  ASSERT_EQ(markers.size(), 1u);
  EXPECT_EQ(markers[0].key, 4);
}

TEST_F(RunsTest, AnEmptyFileEndsAtOnce) {
  EXPECT_TRUE(start_replay(engine_, write_recording("empty.csv", {}), {}));
  ASSERT_TRUE(wait_until([this] { return !engine_.running; }));
  EXPECT_EQ(get(&Engine::replay_len), 0);
  EXPECT_TRUE(std::isnan(get(&Engine::hr)));
}

TEST_F(RunsTest, AFileThatCannotBeReadLeavesTheCurrentRunAlone) {
  const std::string path = write_recording("a.csv", std::vector<double>(1000, 1.0));
  EXPECT_TRUE(start_replay(engine_, path, {{"speed", "0"}}));
  EXPECT_FALSE(start_replay(engine_, folder_ / "missing.csv", {}));
#ifdef __linux__
  EXPECT_FALSE(start_replay(engine_, "/proc/self/mem", {}));  // its first read fails
#endif
  EXPECT_TRUE(engine_.running);
  EXPECT_EQ(get(&Engine::source_label), "a.csv");
}

TEST_F(RunsTest, AReplayUnderThreeSecondsIsPlayedButNotAnalysed) {
  std::vector<double> ecg = make_ecg(10.0);
  ecg.resize(389);
  start_replay(engine_, write_recording("short.csv", ecg), {{"speed", "1000"}});
  ASSERT_TRUE(wait_until([this] { return !engine_.running; }));
  EXPECT_EQ(get(&Engine::replay_pos), 389);
  EXPECT_TRUE(get(&Engine::hr_series).empty());
}

TEST_F(RunsTest, SpeedZeroStaysWhereTheLastSeekPutIt) {
  const std::string path = write_recording("a.csv", std::vector<double>(1000, 1.0));
  start_replay(engine_, path, {{"speed", "0"}});
  seek(engine_, 0.25);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(get(&Engine::replay_pos), 250);
  EXPECT_TRUE(engine_.running);
}

TEST_F(RunsTest, PositionsStayWithinTheRecording) {
  const std::string path = write_recording("a.csv", std::vector<double>(1000, 1.0));
  start_replay(engine_, path, {{"speed", "-1e300"}});
  seek(engine_, 0.5);
  ASSERT_TRUE(wait_until([this] { return get(&Engine::replay_pos) == 0; }));
  seek(engine_, -3.0);
  EXPECT_EQ(get(&Engine::replay_pos), 0);
  seek(engine_, std::nan(""));
  EXPECT_EQ(get(&Engine::replay_pos), 0);
  start_replay(engine_, path, {{"speed", "0"}});
  seek(engine_, 1e300);
  EXPECT_EQ(get(&Engine::replay_pos), 1000);
  start_replay(engine_, write_recording("one.csv", {1.0}), {{"speed", "0"}});
  seek(engine_, 1.0);
  EXPECT_EQ(get(&Engine::replay_pos), 1);
  start_replay(engine_, path, {{"speed", "1e308"}});
  ASSERT_TRUE(wait_until([this] { return !engine_.running; }));
  EXPECT_EQ(get(&Engine::replay_pos), 1000);
}

TEST_F(RunsTest, ASeekAfterTheEndDoesNotRestart) {
  const std::string path = write_recording("a.csv", std::vector<double>(200, 1.0));
  start_replay(engine_, path, {{"speed", "1000"}});
  ASSERT_TRUE(wait_until([this] { return !engine_.running; }));
  seek(engine_, 0.5);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(get(&Engine::replay_pos), 100);
  EXPECT_FALSE(engine_.running);
}

TEST_F(RunsTest, StoppingIsHarmlessAtAnyTime) {
  stop(engine_);
  stop(engine_);
  EXPECT_EQ(get(&Engine::mode), "idle");
  start_replay(engine_, write_recording("a.csv", make_ecg(30.0)), {{"speed", "20"}});
  ASSERT_TRUE(wait_until([this] { return get(&Engine::rr_count) > 0; }));
  stop(engine_);
  EXPECT_FALSE(engine_.running);
  EXPECT_EQ(get(&Engine::mode), "replay");
  EXPECT_GT(get(&Engine::rr_count), 0);
  seek(engine_, 0.0);
  stop(engine_);
}

// The pass under way may still need the results' place; one that never ends is not waited for.
TEST_F(RunsTest, StoppingWaitsForAPassUnderWayButNotForever) {
  engine_.analysis_busy = true;
  double start = monotonic_seconds();
  std::thread pass([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    engine_.analysis_busy = false;
  });
  stop(engine_);
  EXPECT_FALSE(engine_.analysis_busy);
  EXPECT_GE(monotonic_seconds() - start, 0.3);
  pass.join();
  engine_.analysis_busy = true;
  start = monotonic_seconds();
  stop(engine_);
  EXPECT_GE(monotonic_seconds() - start, 2.0);
  EXPECT_LT(monotonic_seconds() - start, 5.5);
  engine_.analysis_busy = false;
}

TEST_F(RunsTest, AStartResetsTheResultsOfTheLastRun) {
  const std::string path = write_recording("a.csv", make_ecg(30.0));
  start_replay(engine_, path, {{"speed", "1000"}, {"name", "ann"}});
  ASSERT_TRUE(wait_until([this] { return !engine_.running; }));
  {
    const SessionLock hold(engine_.lock);
    engine_.markers = {{1, 1}};
    engine_.saved_as = "x";
    engine_.tfr_status = engine_.export_status = "error";
    engine_.tfr_error = engine_.export_error = "x";
  }
  start_replay(engine_, path, {{"speed", "0"}});
  EXPECT_TRUE(std::isnan(get(&Engine::hr)));
  EXPECT_EQ(get(&Engine::rr_count), 0);
  EXPECT_TRUE(get(&Engine::markers).empty());
  EXPECT_EQ(get(&Engine::name_id), "");
  const std::string status = status_json(engine_);
  EXPECT_NE(status.find(R"("hr_series":[],"tvn_series":[],)"), std::string::npos);
  EXPECT_NE(status.find(R"("tfr_status":"idle","saved_as":null,"export_status":"idle")"),
            std::string::npos);
}

TEST_F(RunsTest, ALiveRunWithoutASensorWaitsForever) {
  start_live(engine_, "AA:BB", {});
  EXPECT_TRUE(engine_.running);
  EXPECT_EQ(get(&Engine::bt_status), "Starting…");
  EXPECT_EQ(get(&Engine::source_label), "Live — AA:BB");
  EXPECT_EQ(get(&Engine::device_address), "AA:BB");
  stop(engine_);
  EXPECT_EQ(get(&Engine::mode), "live");
}

TEST_F(LiveRunsTest, SamplesThatMemoryIsShortForAreToldOf) {
  start_live(engine_, "AA:BB", {});
  {
    const ScarceMemory scarce(1'000);
    sensor_.send(std::vector<double>(73, 5.0));
    EXPECT_EQ(get(&Engine::bt_status), "Starting…");
    sensor_.send(std::vector<double>(73, 6.0));
  }
  EXPECT_EQ(get(&Engine::bt_status), "Out of memory: samples are being lost. Stop and save.");
  sensor_.send({7.0});
  const SessionLock hold(engine_.lock);
  ASSERT_EQ(engine_.live_ecg.size(), 74u);
  EXPECT_EQ(engine_.live_ecg.view(74).samples()[73], 7.0);
}

TEST_F(LiveRunsTest, ALiveRunReceivesFromTheSensorUntilItStops) {
  start_live(engine_, "AA:BB", {{"device", "Polar H10"}});
  EXPECT_EQ(get(&Engine::source_label), "Live — Polar H10");
  EXPECT_EQ(get(&Engine::device_address), "Polar H10");
  sensor_.tell("Streaming ECG…");
  EXPECT_EQ(get(&Engine::bt_status), "Streaming ECG…");
  sensor_.send({});
  EXPECT_EQ(get(&Engine::live_clock_start), 0.0);
  const std::vector<double> ecg = make_ecg(10.0);
  sensor_.send(ecg);
  const double first_frame = get(&Engine::live_clock_start);
  EXPECT_GT(first_frame, 0.0);
  sensor_.send({1.0});
  EXPECT_EQ(get(&Engine::live_clock_start), first_frame);
  ASSERT_TRUE(wait_until([this] { return get(&Engine::rr_count) > 0; }));
  stop(engine_);
  sensor_.send(ecg);
  EXPECT_EQ(sensor_.calls, (std::vector<std::string>{"start AA:BB", "stop"}));
  const SessionLock hold(engine_.lock);
  EXPECT_EQ(elapsed_samples(engine_), static_cast<std::int64_t>(ecg.size() + 1));
}

// The sixteen cycles are a target that the page shows, and no end.
TEST_F(LiveRunsTest, ALiveRunGoesOnAfterItsSixteenCycles) {
  start_live(engine_, "AA:BB", {{"indur", "0.05"}, {"outdur", "0.05"}});
  sensor_.send(std::vector<double>(260, 1.0));  // 2 s: 20 cycles of 0.1 s
  const std::uint64_t passes = get(&Engine::passes_begun);
  ASSERT_TRUE(wait_until([&] { return get(&Engine::passes_begun) > passes; }));
  EXPECT_TRUE(engine_.running);
  sensor_.send({1.0});
  const SessionLock hold(engine_.lock);
  EXPECT_EQ(elapsed_samples(engine_), 261);
}

TEST_F(LiveRunsTest, ASeekDoesNothingInALiveRun) {
  start_replay(engine_, write_recording("a.csv", std::vector<double>(1000, 1.0)), {{"speed", "0"}});
  start_live(engine_, "AA:BB", {});
  seek(engine_, 0.5);
  EXPECT_EQ(get(&Engine::replay_pos), 0);
  EXPECT_EQ(get(&Engine::replay_offset), 0.0);
}

TEST_F(LiveRunsTest, ALiveRunBeginsWithoutWhatTheLastOneLeft) {
  start_live(engine_, "AA:BB", {});
  sensor_.send(std::vector<double>(500, 1.0));
  EXPECT_TRUE(add_marker(engine_, 3));
  start_live(engine_, "AA:BB", {});
  EXPECT_TRUE(get(&Engine::markers).empty());
  EXPECT_EQ(get(&Engine::live_clock_start), 0.0);
  const SessionLock hold(engine_.lock);
  EXPECT_EQ(elapsed_samples(engine_), 0);
}

TEST_F(LiveRunsTest, WhatALateSensorSendsStaysOutOfTheNextRun) {
  sensor_.keeps_callbacks = true;
  start_live(engine_, "AA:BB", {{"device", ""}});
  EXPECT_EQ(get(&Engine::source_label), "Live — AA:BB");
  EXPECT_EQ(get(&Engine::device_address), "");
  start_replay(engine_, write_recording("a.csv", {1, 2, 3}), {{"speed", "0"}});
  sensor_.send({4, 5});
  sensor_.tell("late");
  const SessionLock hold(engine_.lock);
  EXPECT_TRUE(engine_.live_ecg.empty());
  EXPECT_EQ(engine_.bt_status, "Starting…");
}

TEST_F(RunsTest, StartsAndStopsFromManyThreadsAreSerialised) {
  const std::string path = write_recording("a.csv", make_ecg(20.0));
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([this, t, &path] {
      for (int i = 0; i < 15; ++i) {
        if ((t + i) % 3 == 0) stop(engine_);
        if ((t + i) % 3 == 1) start_replay(engine_, path, {{"speed", "500"}});
        if ((t + i) % 3 == 2) start_live(engine_, "x", {});
        seek(engine_, 0.3);
        EXPECT_TRUE(status_json(engine_).ends_with("}"));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  stop(engine_);
  EXPECT_FALSE(engine_.running);
}

}  // namespace
}  // namespace tvn
