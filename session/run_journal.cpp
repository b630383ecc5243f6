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

// The disk may take seconds, in which the run must be appended all the same: on a thread of its
// own, or when there is none to be had, by who asks for the result. None when there is no memory.
std::future<std::error_code> begin_sync(int fd, const std::string& folder) {
  try {
    return std::async([fd, folder] {
      const std::error_code error = sync_to_disk(fd);
      sync_folder(folder);
      return error;
    });
  } catch (const std::exception&) {  // the next round tries again
    return {};
  }
}

bool has_ended(const std::future<std::error_code>& sync) {
  return sync.valid() && sync.wait_for(std::chrono::seconds(0)) != std::future_status::timeout;
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
  std::future<std::error_code> sync;  // at most one under way
  double last_sync = monotonic_seconds();
  while (ending.wait_for(k_between_appends) == std::future_status::timeout) {
    append_news();
    if (has_ended(sync)) note_sync(sync.get());
    if (sync.valid() || monotonic_seconds() - last_sync < k_seconds_between_syncs) continue;
    sync = begin_sync(descriptor(), engine_.data_dir);
    if (sync.valid()) last_sync = monotonic_seconds();
  }
  append_news();
  if (sync.valid()) note_sync(sync.get());
  note_sync(sync_to_disk(descriptor()));
  sync_folder(engine_.data_dir);
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

// For a sync without the mutex: a slow disk must not hold up a save. The descriptor is closed by
// the destructor only, after the thread.
int RunJournal::descriptor() {
  const MutexLock<Mutex> hold(mutex_);
  return file_.handle.get();
}

void RunJournal::note_sync(const std::error_code& error) {
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
  }
  const MutexLock<Mutex> hold(mutex_);
  finished_ = true;
  if (is_saved()) remove_file();
}

void RunJournal::note_saved(std::size_t samples, std::size_t markers) {
  const MutexLock<Mutex> hold(mutex_);
  saved_ = std::max(saved_, samples);
  saved_markers_ = std::max(saved_markers_, markers);
  if (finished_ && is_saved()) return remove_file();
  std::string bytes;
  append_saved_record(bytes, saved_, saved_markers_);
  append(bytes);
}

bool RunJournal::is_saved() const {
  return saved_ > 0 && saved_ >= samples_ && saved_markers_ >= markers_;
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
