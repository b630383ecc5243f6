#include "session/run_journal.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <utility>

#include "base/clock.h"
#include "base/failure_text.h"
#include "base/files.h"
#include "sensor/sensor_log.h"

namespace tvn {
namespace {

constexpr std::chrono::milliseconds k_between_appends{500};
// A power cut costs ten seconds at most, with what a round of appending and a sync take.
constexpr double k_seconds_between_syncs = 8.5;
constexpr unsigned k_user_alone = 0600;

NewFile create_journal(const Engine& engine) {
  const std::string time = local_time_text(std::time(nullptr), "%Y%m%d-%H%M%S");
  return create_locked_file(engine.data_dir + "/" + k_journal_prefix + time + "-", k_journal_suffix,
                            k_user_alone);
}

void tell(const std::string& path, const std::string& reason) {
  const std::string line = "The journal of this run ends: " + path + ": " + reason;
  sensor_log(line);
  std::fprintf(stderr, "%s\n", line.c_str());
}

// What the session has that a journal does not hold yet.
struct News {
  bool run_goes_on = false;
  RecordingSettings settings;
  EcgView ecg;  // from the run's begin
  std::vector<Marker> markers;
};

News take_news(Engine& engine, std::uint64_t run_number, std::size_t markers_known) {
  const SessionLock hold(engine.lock);
  if (engine.run_number != run_number) return {};
  const auto first = engine.markers.begin() +
                     static_cast<std::ptrdiff_t>(std::min(markers_known, engine.markers.size()));
  return {true, recording_settings(engine), recorded_ecg(engine), {first, engine.markers.end()}};
}

}  // namespace

RunJournal::RunJournal(Engine& engine, std::uint64_t run_number)
    : engine_(engine), run_number_(run_number), file_(create_journal(engine)) {
  {
    const MutexLock<Mutex> hold(mutex_);
    if (file_.error) {
      give_up(file_.error);
      return;
    }
    append(journal_head());
  }
  append_news();
  thread_ = std::thread([this] { run(); });
}

RunJournal::~RunJournal() {
  finish();
}

void RunJournal::run() noexcept {
  const std::future<void> ending = ending_.get_future();
  double last_sync = monotonic_seconds();
  while (ending.wait_for(k_between_appends) == std::future_status::timeout) {
    append_news();
    if (monotonic_seconds() - last_sync < k_seconds_between_syncs) continue;
    last_sync = monotonic_seconds();
    bring_to_disk();
  }
}

void RunJournal::append_news() {
  const MutexLock<Mutex> hold(mutex_);
  if (gave_up_) return;
  try {
    News news = take_news(engine_, run_number_, markers_);
    if (!news.run_goes_on) return;
    std::string bytes;
    if (news.settings != settings_) append_settings_record(bytes, news.settings);
    append_samples_records(bytes, samples_, news.ecg.samples().subspan(samples_));
    for (const Marker& marker : news.markers) append_marker_record(bytes, marker);
    append(bytes);
    if (gave_up_) return;
    settings_ = std::move(news.settings);
    samples_ = news.ecg.size();
    markers_ += news.markers.size();
  } catch (const std::bad_alloc&) {  // the next round tries again
  }
}

// One write for all, and nothing after one that failed: a torn record may only be the last.
void RunJournal::append(const std::string& bytes) {
  if (gave_up_) return;
  if (const std::error_code error = write_all(file_.handle.get(), bytes)) give_up(error);
}

// Without the mutex: a slow disk must not hold up a save. The descriptor is closed by the
// destructor only, after this thread.
void RunJournal::bring_to_disk() {
  int fd = -1;
  std::string folder;
  {
    const MutexLock<Mutex> hold(mutex_);
    if (gave_up_) return;
    fd = file_.handle.get();
  }
  const std::error_code error = sync_to_disk(fd);
  sync_folder(engine_.data_dir);
  const MutexLock<Mutex> hold(mutex_);
  if (error && !gave_up_) give_up(error);
}

void RunJournal::give_up(const std::error_code& error) {
  gave_up_ = true;
  tell(file_.path.empty() ? engine_.data_dir : file_.path, error.message());
}

void RunJournal::finish() {
  if (thread_.joinable()) {
    ending_.set_value();
    thread_.join();
    append_news();
    bring_to_disk();
  }
  const MutexLock<Mutex> hold(mutex_);
  finished_ = true;
  if (saved_ > 0 && saved_ >= samples_) remove_file();
}

void RunJournal::note_saved(std::size_t samples) {
  const MutexLock<Mutex> hold(mutex_);
  saved_ = std::max(saved_, samples);
  if (finished_ && saved_ >= samples_) return remove_file();
  std::string bytes;
  append_saved_record(bytes, saved_);
  append(bytes);
}

void RunJournal::discard() {
  finish();
  const MutexLock<Mutex> hold(mutex_);
  remove_file();
}

void RunJournal::remove_file() {
  gave_up_ = true;
  if (!file_.path.empty()) ::unlink(file_.path.c_str());
  file_.path.clear();
}

void begin_journal(Engine& engine, std::uint64_t run_number) {
  std::shared_ptr<RunJournal> journal;
  try {
    journal = std::make_shared<RunJournal>(engine, run_number);
  } catch (const std::exception& failure) {  // no memory, no thread
    tell(engine.data_dir, failure_text("", failure));
  }
  const SessionLock hold(engine.lock);
  engine.journal.swap(journal);
}

void finish_journal(Engine& engine) {
  std::shared_ptr<RunJournal> journal;
  {
    const SessionLock hold(engine.lock);
    journal = engine.journal;
  }
  if (journal) journal->finish();
}

}  // namespace tvn
