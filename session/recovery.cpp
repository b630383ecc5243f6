#include "session/recovery.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
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

// Another recording may have the name; the same one has it when an earlier recovery was cut short.
bool is_free_for(const std::string& path, const std::string& text) {
  std::string there;
  return !fs::exists(fs::symlink_status(path)) || (read_file(path, there) && there == text);
}

// Writes a recording recovered from a run that ended at `when`; its name, empty when it could not
// be written whole.
std::string write_recovered(const std::string& recordings, const RecordingSettings& settings,
                            std::time_t when, std::span<const double> ecg,
                            const std::vector<Marker>& markers) {
  std::string name = recording_file_name(settings, when, k_recovered);
  const std::string text = ecg_text(ecg);
  const std::string folder = recordings + "/";
  while (!is_free_for(folder + name, text)) {
    name = recording_file_name(settings, ++when, k_recovered);
  }
  return write_recording(folder + name, ecg, markers).empty() ? name : "";
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
  if (content.samples.size() - content.saved >= k_fewest_to_recover) {
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

// What leave_run needs of a live run.
struct LeftRun {
  std::shared_ptr<RunJournal> journal;
  RecordingSettings settings;
  EcgView ecg;
  std::vector<Marker> markers;
  std::size_t unsaved = 0;  // samples
};

LeftRun take_left_run(Engine& engine) {
  const SessionLock hold(engine.lock);
  if (engine.mode != "live") return {};
  const std::size_t received = engine.live_ecg.size();
  return {std::exchange(engine.journal, nullptr), recording_settings(engine), recorded_ecg(engine),
          engine.markers, received - std::min(engine.saved_samples, received)};
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
  LeftRun run;
  try {
    run = take_left_run(engine);
    const bool kept = run.unsaved < k_fewest_to_rescue ||
                      !write_recovered(recordings_dir(engine), run.settings, std::time(nullptr),
                                       run.ecg.samples(), run.markers)
                           .empty();
    if (kept && run.journal) run.journal->discard();
  } catch (const std::exception& failure) {  // the journal stays
    std::fprintf(stderr, "Could not recover the run that ended: %s\n", failure.what());
  }
}

}  // namespace tvn
