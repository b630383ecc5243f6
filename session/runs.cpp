#include "session/runs.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "base/clock.h"
#include "base/files.h"
#include "base/names.h"
#include "base/rounding.h"
#include "recording/raw_ecg.h"
#include "session/analysis_pass.h"
#include "session/markers.h"
#include "session/recovery.h"
#include "session/run_journal.h"
#include "session/run_params.h"

namespace tvn {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds k_worker_round{20};
constexpr double k_seconds_between_passes = 1.0;
constexpr milliseconds k_pass_wait_round{10};
constexpr int k_pass_wait_rounds = 200;

void advance_replay(Engine& engine) TVN_REQUIRES(engine.lock) {
  if (engine.mode != "replay") return;
  const double since_start = monotonic_seconds() - engine.replay_clock_start;
  const double seconds = since_start * engine.replay_speed + engine.replay_offset;
  engine.replay_pos = std::clamp<std::int64_t>(truncate_to<std::int64_t>(seconds * k_ecg_rate), 0,
                                               engine.replay_len);
}

bool replay_has_ended(Engine& engine) {
  const SessionLock hold(engine.lock);
  return engine.mode == "replay" && engine.replay_pos >= engine.replay_len;
}

// Begins a pass on a thread of its own unless one is under way; false when it could not begin.
bool launch_pass(Engine& engine) {
  if (engine.analysis_busy.exchange(true)) return false;
  try {
    std::thread([&engine] {
      analyse_once(engine);
      engine.analysis_busy = false;
    }).detach();
    return true;
  } catch (const std::exception&) {  // no thread to be had: the next round tries again
    engine.analysis_busy = false;
    return false;
  }
}

void start_clock(Engine& engine) {
  const SessionLock hold(engine.lock);
  engine.replay_clock_start = monotonic_seconds();
  if (engine.mode != "replay") engine.replay_offset = 0.0;
}

// Moves the replay on; false when the run is to stop.
bool advance_run(Engine& engine) {
  const SessionLock hold(engine.lock);
  if (engine.stop_requested) return false;
  advance_replay(engine);
  return true;
}

// The last pass sees the whole recording before the page is told that the run has ended.
void finish_replay(Engine& engine) {
  analyse_once(engine);
  const SessionLock hold(engine.lock);
  engine.running = false;
}

void run_worker(Engine& engine) {
  start_clock(engine);
  double last_launch = 0.0;
  while (advance_run(engine)) {
    const double now = monotonic_seconds();
    if (now - last_launch >= k_seconds_between_passes && launch_pass(engine)) last_launch = now;
    if (replay_has_ended(engine)) {
      finish_replay(engine);
      return;
    }
    std::this_thread::sleep_for(k_worker_round);
  }
}

void start_worker(Engine& engine) TVN_REQUIRES(engine.run_control) {
  try {
    engine.worker = std::thread([&engine] { run_worker(engine); });
  } catch (...) {
    engine.running = false;
    throw;
  }
}

void end_run(Engine& engine) TVN_REQUIRES(engine.run_control) {
  bool live = false;
  {
    const SessionLock hold(engine.lock);
    live = engine.mode == "live";
    engine.stop_requested = true;
  }
  if (live && engine.sensor != nullptr) engine.sensor->stop();
  if (engine.worker.joinable()) engine.worker.join();
  finish_journal(engine);
  for (int i = 0; i < k_pass_wait_rounds && engine.analysis_busy; ++i) {
    std::this_thread::sleep_for(k_pass_wait_round);
  }
  const SessionLock hold(engine.lock);
  engine.running = false;
}

std::string label_or(const QueryParams& query, const std::string& key,
                     const std::string& fallback) {
  const std::string label = text_param(query, key);
  return label.empty() ? fallback : label;
}

// The part of a live start that happens under the lock; returns the number of the new run.
std::uint64_t begin_live(Engine& engine, const std::string& address, const QueryParams& query) {
  const SessionLock hold(engine.lock);
  apply_params(engine, query);
  engine.mode = "live";
  engine.live_ecg.clear();
  engine.live_clock_start = 0.0;
  engine.bt_status = "Starting…";
  engine.device_address = text_param(query, "device", address);
  engine.source_label = "Live — " + label_or(query, "device", address);
  reset_for_run(engine);
  engine.running = true;
  engine.stop_requested = false;
  return engine.run_number;
}

// Called on the sensor link's thread. A batch that comes late belongs to a run that is over.
void receive_samples(Engine& engine, std::uint64_t run_number, const std::vector<double>& batch) {
  const SessionLock hold(engine.lock);
  if (engine.run_number != run_number || batch.empty()) return;
  const bool first = engine.live_ecg.empty();
  try {
    engine.live_ecg.append(batch);
  } catch (const std::bad_alloc&) {  // not to leave through the sensor link's thread
    engine.bt_status = "Out of memory: samples are being lost. Stop and save.";
    return;
  }
  if (first) engine.live_clock_start = monotonic_seconds();
}

void receive_status(Engine& engine, std::uint64_t run_number, const std::string& text) {
  const SessionLock hold(engine.lock);
  if (engine.run_number == run_number) engine.bt_status = text;
}

void start_sensor(Engine& engine, const std::string& address, std::uint64_t run_number) {
  if (engine.sensor == nullptr) return;
  engine.sensor->start(
      address,
      [&engine, run_number](const std::vector<double>& batch) {
        receive_samples(engine, run_number, batch);
      },
      [&engine, run_number](const std::string& text) { receive_status(engine, run_number, text); });
}

}  // namespace

bool start_replay(Engine& engine, const std::string& path, const QueryParams& query) {
  std::string content;
  if (!read_file(path, content)) return false;
  play(engine, path, parse_raw_ecg(content), query);
  return true;
}

void play(Engine& engine, const std::string& path, std::vector<double> samples,
          const QueryParams& query) {
  // Read before the current run ends: the picture goes on until the new one is ready.
  EcgBuffer recording(std::move(samples));
  std::vector<Marker> markers = read_markers(path);
  const MutexLock<Mutex> control(engine.run_control);
  end_run(engine);
  leave_run(engine);
  const SessionLock hold(engine.lock);
  apply_params(engine, query);
  engine.mode = "replay";
  engine.replay_ecg = std::move(recording);
  engine.replay_pos = 0;
  engine.replay_len = static_cast<std::int64_t>(engine.replay_ecg.size());
  engine.replay_speed = number_param(query, "speed", 2.0);
  engine.replay_offset = 0.0;
  engine.source_label = label_or(query, "label", std::string(file_name_of(path)));
  reset_for_run(engine);
  engine.markers = std::move(markers);
  engine.running = true;
  engine.stop_requested = false;
  start_worker(engine);
}

void start_live(Engine& engine, const std::string& address, const QueryParams& query) {
  const MutexLock<Mutex> control(engine.run_control);
  end_run(engine);
  leave_run(engine);
  const std::uint64_t run_number = begin_live(engine, address, query);
  try {
    begin_journal(engine, run_number);
    start_sensor(engine, address, run_number);
    start_worker(engine);
  } catch (...) {
    if (engine.sensor != nullptr) engine.sensor->stop();
    engine.running = false;
    finish_journal(engine);
    throw;
  }
}

void stop(Engine& engine) {
  const MutexLock<Mutex> control(engine.run_control);
  end_run(engine);
}

void seek(Engine& engine, double frac) {
  const SessionLock hold(engine.lock);
  if (engine.mode != "replay" || engine.replay_len < 1) return;
  const double fraction = frac > 0.0 ? std::min(frac, 1.0) : 0.0;
  engine.replay_offset = fraction * static_cast<double>(engine.replay_len) / k_ecg_rate;
  engine.replay_clock_start = monotonic_seconds();
  engine.replay_pos =
      std::min(engine.replay_len, truncate_to<std::int64_t>(engine.replay_offset * k_ecg_rate));
}

}  // namespace tvn
