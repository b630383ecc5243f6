#include "session/recovery.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <list>
#include <memory>
#include <span>
#include <utility>

#include "base/files.h"
#include "base/locked_file.h"
#include "session/journal_format.h"
#include "session/recording_files.h"
#include "session/run_journal.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;

constexpr const char* k_recovered = "recovered_";
constexpr std::size_t k_fewest_to_recover = 390;  // 3 s
// A run that its person replaces is worth less trouble than one that was torn from them.
constexpr std::size_t k_fewest_to_rescue = 3900;  // 30 s

bool holds(const std::string& path, const std::string& text) {
  std::string there;
  return read_file(path, there) && there == text;
}

// Writes a recording recovered from a run that ended at `when`; its name, empty when it could not
// be written whole. Another recording may have the name, that of another program that recovers at
// this moment, too; the same one has it when an earlier recovery was cut short.
std::string write_recovered(const std::string& recordings, const RecordingSettings& settings,
                            std::time_t when, std::span<const double> ecg,
                            const std::vector<Marker>& markers) {
  const std::string text = ecg_text(ecg);
  for (;; ++when) {
    std::string name = recording_file_name(settings, when, k_recovered);
    const std::string path = std::string(recordings).append("/").append(name);
    const WriteResult result = write_file(path, text, Durability::at_once, Existing::kept);
    const bool is_taken = result.error == std::errc::file_exists;
    if (is_taken && !holds(path, text)) continue;
    const bool whole = (result || is_taken) && write_marker_list(path, markers);
    return whole ? name : "";
  }
}

std::vector<std::string> journals_in(const std::string& data_dir) {
  std::vector<std::string> paths;
  std::error_code error;
  for (fs::directory_iterator entry(data_dir, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name.starts_with(k_journal_prefix) && name.ends_with(k_journal_suffix)) {
      paths.push_back(entry->path().string());
    }
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

// When the journal was last written to: the moment that a save would have been made.
std::time_t last_written(int fd) {
  struct stat status {};
  return ::fstat(fd, &status) == 0 ? status.st_mtime : std::time(nullptr);
}

bool is_worth_recovering(const JournalContent& content) {
  if (content.samples.size() < k_fewest_to_recover) return false;
  return content.samples.size() - content.saved >= k_fewest_to_recover ||
         content.markers.size() > content.saved_markers;
}

// The name of the recording that came of the journal at `path`; empty when none did.
std::string recover(const std::string& path, const std::string& recordings) {
  const FileHandle journal = lock_leftover(path);
  std::string bytes;
  if (!journal.is_open()) return "";
  if (!read_file(path, bytes)) {
    std::fprintf(stderr, "Could not read the journal %s; it waits for another start\n",
                 path.c_str());
    return "";
  }
  const JournalContent content = read_journal(bytes);
  std::string name;
  if (is_worth_recovering(content)) {
    name = write_recovered(recordings, content.settings, last_written(journal.get()),
                           content.samples, content.markers);
    if (name.empty()) return "";
  }
  if (content.damaged) {
    const bool kept = ::rename(path.c_str(), (path + ".damaged").c_str()) == 0;
    std::fprintf(stderr,
                 kept ? "A damaged journal is kept as %s.damaged\n"
                      : "A damaged journal stays, and will be recovered again: %s\n",
                 path.c_str());
  } else if (::unlink(path.c_str()) != 0) {
    std::fprintf(stderr, "A journal stays, and will be recovered again: %s\n", path.c_str());
  }
  return name;
}

// The live run that has ended, with its journal; none when nothing of it is to be kept.
std::shared_ptr<LeftRun> take_left_run(Engine& engine) {
  auto run = std::make_shared<LeftRun>();
  const SessionLock hold(engine.lock);
  if (engine.mode != "live") return nullptr;
  run->settings = recording_settings(engine);
  run->ecg = recorded_ecg(engine);
  run->markers = engine.markers;
  run->journal = std::exchange(engine.journal, nullptr);
  run->unsaved = run->ecg.size() - std::min(engine.saved_samples, run->ecg.size());
  return run;
}

// Whether what of `run` is to be kept is on the disk now.
bool is_written(const Engine& engine, const LeftRun& run) noexcept {
  try {
    const bool written = run.unsaved < k_fewest_to_rescue ||
                         !write_recovered(recordings_dir(engine), run.settings, run.ended,
                                          run.ecg.samples(), run.markers)
                              .empty();
    if (written && run.journal) run.journal->discard();
    return written;
  } catch (const std::exception& failure) {  // no memory
    std::fprintf(stderr, "Could not recover the run that ended: %s\n", failure.what());
    return false;
  }
}

}  // namespace

std::vector<std::string> recover_journals(const std::string& data_dir) {
  std::vector<std::string> names;
  for (const std::string& path : journals_in(data_dir)) {
    try {
      std::string name = recover(path, data_dir + "/recordings");
      if (!name.empty()) names.push_back(std::move(name));
    } catch (const std::exception& failure) {  // no memory: the journal waits for another start
      std::fprintf(stderr, "Could not recover %s: %s\n", path.c_str(), failure.what());
    }
  }
  return names;
}

void leave_run(Engine& engine) {
  try {
    if (std::shared_ptr<LeftRun> run = take_left_run(engine)) {
      const SessionLock hold(engine.lock);
      engine.left_runs.push_back(std::move(run));
    }
  } catch (const std::exception& failure) {  // no memory: the journal stays
    std::fprintf(stderr, "Could not recover the run that ended: %s\n", failure.what());
  }
  write_left_runs(engine);
}

void write_left_runs(Engine& engine) noexcept {
  const WritingFiles writing(engine);
  std::list<std::shared_ptr<LeftRun>> runs;
  {
    const SessionLock hold(engine.lock);
    runs.swap(engine.left_runs);
  }
  std::erase_if(runs, [&engine](const auto& run) { return is_written(engine, *run); });
  if (runs.empty()) return;
  std::fprintf(stderr, "A run that ended is in memory alone; a start or a save tries again\n");
  const SessionLock hold(engine.lock);
  engine.left_runs.splice(engine.left_runs.begin(), runs);
}

}  // namespace tvn
