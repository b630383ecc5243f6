#include "session/saved_recordings.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

#include "base/clock.h"
#include "base/json.h"
#include "session/recovery.h"
#include "session/run_journal.h"

namespace tvn {
namespace {

constexpr std::size_t k_fewest_samples = 130;  // one second
constexpr std::chrono::milliseconds k_wait_round{5};

// `whole` when the markers were saved, too: only then may the journal forget them.
void note_save(Engine& engine, const RecordingToSave& recording, bool whole) {
  std::shared_ptr<RunJournal> journal;
  {
    const SessionLock hold(engine.lock);
    if (engine.run_number != recording.run_number) return;
    engine.saved_as = recording.file_name;
    if (!whole) return;
    engine.saved_samples = std::max(engine.saved_samples, recording.ecg.size());
    journal = engine.journal;
  }
  if (journal) journal->note_saved(recording.ecg.size(), recording.markers.size());
}

}  // namespace

RecordingToSave take_recording(const Engine& engine) {
  return {recorded_ecg(engine), engine.markers,
          recording_file_name(recording_settings(engine), std::time(nullptr)), engine.run_number};
}

std::string save_recording(Engine& engine) {
  const auto recording = [&] {
    const SessionLock hold(engine.lock);
    return take_recording(engine);
  }();
  return save_recording(engine, recording).reply;
}

SaveResult save_recording(Engine& engine, const RecordingToSave& recording) {
  if (recording.ecg.size() < k_fewest_samples) {
    return {R"({"ok":false,"error":"Nothing recorded to save yet."})", {}};
  }
  const WritingFiles writing(engine);
  const std::string path = recordings_dir(engine) + "/" + recording.file_name;
  std::vector<std::string> failed =
      write_recording(path, recording.ecg.samples(), recording.markers);
  const bool saved = failed.empty() || failed.front() != recording.file_name;
  if (!saved) return {R"({"ok":false,"error":"write failed"})", std::move(failed)};
  note_save(engine, recording, failed.empty());
  write_left_runs(engine);  // the disk has room again
  return {R"({"ok":true,"file":)" + json_quote(recording.file_name) + R"(,"count":)" +
              std::to_string(recording.ecg.size()) + "}",
          std::move(failed)};
}

void wait_for_files(const Engine& engine, double longest) {
  const double deadline = monotonic_seconds() + longest;
  while (engine.writing_files > 0 && monotonic_seconds() < deadline) {
    std::this_thread::sleep_for(k_wait_round);
  }
}

}  // namespace tvn
