// The one session of the process: what is running, the ECG of that run, its analysis results, the
// markers, and the state words of the background jobs.
//
// Threads: request threads, the run worker, analysis passes, the sensor link's thread and job
// threads all use this record. `lock` guards every member below it except the atomic flags and
// the two that start-up sets. `run_control` makes each start and each stop one whole; it is taken
// before `lock`, never while holding it, and never by a callback of the sensor link.
// Lock order: run_control, then the sensor's callback slot or the journal's mutex, then lock.
// A pass holds its PassMemory and no other lock meanwhile.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "analysis/beats/running_beats.h"
#include "analysis/rhythm/hr_series.h"
#include "analysis/rhythm/tvn_series.h"
#include "base/mutex.h"
#include "sensor/sensor_driver.h"
#include "session/ecg_buffer.h"
#include "session/shared_text.h"

namespace tvn {

// The ECG rate of the whole program, samples per second.
inline constexpr double k_ecg_rate = 130.0;
// Less than 3 s of ECG is neither imported nor analysed.
inline constexpr std::size_t k_fewest_analysed_samples = 390;
// Beats per minute above which two peaks cannot both be beats.
inline constexpr int k_max_heart_rate = 300;
// A run is planned as this many breathing cycles.
inline constexpr int k_cycles_target = 16;

// A moment that the user marked during a run.
struct Marker {
  std::int64_t sample_index;  // samples of the run when the key was pressed
  std::int32_t key;           // 1 to 9
};

// Seconds from the run's begin.
inline double marker_seconds(const Marker& marker) {
  return static_cast<double>(marker.sample_index) / k_ecg_rate;
}

// One point of a chart.
struct SeriesPoint {
  double x;      // seconds from the start of the analysed ECG
  double y;      // the value
  bool is_null;  // y has no value
};

// The analysis of a recording that grows.
struct RunningAnalysis {
  RunningBeats beats{k_max_heart_rate, k_ecg_rate};
  RunningHr hr{k_ecg_rate};
  RunningTvn tvn{k_ecg_rate};
};

// What an analysis pass leaves to the next one of its run.
struct PassMemory {
  Mutex in_use;
  RunningAnalysis analysis TVN_GUARDED_BY(in_use);
};

class RunJournal;
struct LeftRun;

struct Engine {
  Mutex run_control;
  std::thread worker TVN_GUARDED_BY(run_control);

  // Set once at start-up, before other threads exist, and only read afterwards.
  std::string data_dir;
  SensorDriver* sensor = nullptr;  // not owned; null without Bluetooth support

  RecursiveMutex lock;
  std::atomic<bool> running{false};
  std::atomic<bool> stop_requested{false};
  std::atomic<bool> analysis_busy{false};

  // What runs, and with which settings.
  std::string mode TVN_GUARDED_BY(lock) = "idle";  // "idle", "live" or "replay"
  std::string name_id TVN_GUARDED_BY(lock);
  std::string source_label TVN_GUARDED_BY(lock);
  std::string bt_status TVN_GUARDED_BY(lock);
  std::string device_address TVN_GUARDED_BY(lock);
  double indur TVN_GUARDED_BY(lock) = 5.0;           // seconds
  double outdur TVN_GUARDED_BY(lock) = 11.0;         // seconds
  double cycle_seconds TVN_GUARDED_BY(lock) = 16.0;  // indur + outdur
  std::string sex TVN_GUARDED_BY(lock) = "M";        // "M" or "F"
  std::int32_t age TVN_GUARDED_BY(lock) = 40;        // years
  double sample_rate TVN_GUARDED_BY(lock) = k_ecg_rate;

  // The ECG and how much of it has been played.
  EcgBuffer replay_ecg TVN_GUARDED_BY(lock);
  EcgBuffer live_ecg TVN_GUARDED_BY(lock);
  std::int64_t replay_pos TVN_GUARDED_BY(lock) = 0;      // samples
  std::int64_t replay_len TVN_GUARDED_BY(lock) = 0;      // samples
  double replay_speed TVN_GUARDED_BY(lock) = 2.0;        // relative to real time
  double replay_clock_start TVN_GUARDED_BY(lock) = 0.0;  // monotonic seconds
  double replay_offset TVN_GUARDED_BY(lock) = 0.0;       // recording seconds at replay_clock_start
  double live_clock_start TVN_GUARDED_BY(lock) = 0.0;    // monotonic seconds of the first frame

  // Results of the newest analysis pass that was published.
  double hr TVN_GUARDED_BY(lock) = std::numeric_limits<double>::quiet_NaN();   // beats per minute
  double tvn TVN_GUARDED_BY(lock) = std::numeric_limits<double>::quiet_NaN();  // -1 to +1
  int rr_count TVN_GUARDED_BY(lock) = 0;
  std::vector<SeriesPoint> hr_series TVN_GUARDED_BY(lock);
  std::vector<SeriesPoint> tvn_series TVN_GUARDED_BY(lock);
  std::vector<double> ecg_window TVN_GUARDED_BY(lock);
  // The two series as they stand in a snapshot: made once by the pass instead of twenty times a
  // second by the snapshots. Empty before the first pass.
  SharedText hr_series_json TVN_GUARDED_BY(lock);
  SharedText tvn_series_json TVN_GUARDED_BY(lock);
  std::shared_ptr<PassMemory> pass_memory TVN_GUARDED_BY(lock) = std::make_shared<PassMemory>();
  // A pass may outlive its run, or end after a later pass: it publishes only while its run is the
  // current one and no later pass has published.
  std::uint64_t run_number TVN_GUARDED_BY(lock) = 0;
  std::uint64_t passes_begun TVN_GUARDED_BY(lock) = 0;
  std::uint64_t pass_published TVN_GUARDED_BY(lock) = 0;

  std::vector<Marker> markers TVN_GUARDED_BY(lock);
  // How many of the run's first samples lie in a saved recording, with their markers.
  std::size_t saved_samples TVN_GUARDED_BY(lock) = 0;
  std::shared_ptr<RunJournal> journal TVN_GUARDED_BY(lock);  // of a live run; null without one
  // Runs that ended unsaved and could not be written yet (session/recovery).
  std::list<std::shared_ptr<LeftRun>> left_runs TVN_GUARDED_BY(lock);
  std::time_t run_started_at TVN_GUARDED_BY(lock) = 0;

  // State of the jobs that the page polls.
  std::string tfr_status TVN_GUARDED_BY(lock) = "idle";
  std::string tfr_error TVN_GUARDED_BY(lock);
  std::string saved_as TVN_GUARDED_BY(lock);  // file name of the last save; empty means none
  std::string export_status TVN_GUARDED_BY(lock) = "idle";
  std::string export_result TVN_GUARDED_BY(lock);  // a JSON value, or empty
  std::string export_error TVN_GUARDED_BY(lock);
  SharedText tfr_image_high_time TVN_GUARDED_BY(lock);       // PNG data URL
  SharedText tfr_image_high_frequency TVN_GUARDED_BY(lock);  // PNG data URL
  std::vector<double> tfr_cycle_log_power TVN_GUARDED_BY(lock);
  bool tfr_ready TVN_GUARDED_BY(lock) = false;
  std::atomic<bool> batch_running{false};
  std::string batch_status TVN_GUARDED_BY(lock) = "idle";
  std::uint32_t batch_total TVN_GUARDED_BY(lock) = 0;
  std::uint32_t batch_done TVN_GUARDED_BY(lock) = 0;
  std::string batch_msg TVN_GUARDED_BY(lock);
  std::string batch_result TVN_GUARDED_BY(lock);  // a JSON value, or empty

  // Saves and exports under way; the end of the program waits for them.
  std::atomic<int> writing_files{0};
};

// Counts one of Engine::writing_files for as long as it lives.
class WritingFiles {
 public:
  explicit WritingFiles(Engine& engine) : engine_(&engine) { ++engine.writing_files; }
  WritingFiles(WritingFiles&& other) noexcept : engine_(std::exchange(other.engine_, nullptr)) {}
  WritingFiles(const WritingFiles&) = delete;
  WritingFiles& operator=(const WritingFiles&) = delete;
  WritingFiles& operator=(WritingFiles&&) = delete;
  ~WritingFiles() {
    if (engine_ != nullptr) --engine_->writing_files;
  }

 private:
  Engine* engine_;
};

using SessionLock = MutexLock<RecursiveMutex>;

// The folders of saved and of bundled recordings, by plain concatenation to data_dir.
std::string recordings_dir(const Engine& engine);
std::string sample_data_dir(const Engine& engine);

// Samples of the run so far: played (replay), received (live), 0 when idle.
std::int64_t elapsed_samples(const Engine& engine) TVN_REQUIRES(engine.lock);

// The samples that elapsed_samples() counts, to be read without the lock. Copies none.
EcgView recorded_ecg(const Engine& engine) TVN_REQUIRES(engine.lock);

// Clears results, markers and job states for a new run and counts the run. ECG, parameters, name,
// label, sensor status and batch state stay.
void reset_for_run(Engine& engine) TVN_REQUIRES(engine.lock);

}  // namespace tvn
