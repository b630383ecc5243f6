// Live runs that nobody saved become recordings all the same: those of a program that was killed or
// ended, from their journals, and one that a new start replaces.
#pragma once

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "session/engine.h"
#include "session/recording_files.h"

namespace tvn {

// What is left of a live run that has ended.
struct LeftRun {
  std::shared_ptr<RunJournal> journal;  // null without one
  RecordingSettings settings;
  EcgView ecg;
  std::vector<Marker> markers;
  std::size_t unsaved = 0;  // samples that no saved recording holds
  std::time_t ended = std::time(nullptr);
};

// For the start of the program. Turns each journal in `data_dir` that no running program writes
// into a recording, with its markers beside it, called as a save at its last moment would have
// called it with "recovered_" before; returns their names in the order of the journals'. Needs 3 s
// of ECG beyond what was saved during the run; a journal with less goes without one. A journal goes
// when its recording is on the disk, a damaged one is kept under its name and ".damaged" instead,
// and one that cannot be read or whose recording cannot be written stays for the next start.
std::vector<std::string> recover_journals(const std::string& data_dir);

// For the moment before a new run, after the last has ended: a live run with 30 s of ECG and more
// that no saved recording holds becomes a recovered recording, and the journal goes; when that
// cannot be written the journal stays, and the run in memory. Takes as long as a save.
void leave_run(Engine& engine) TVN_REQUIRES(engine.run_control);

// Tries again to write the runs that leave_run could not, as it does itself: after a save that went
// well, and at the end of the program. Says on standard error when some are still left.
void write_left_runs(Engine& engine) noexcept TVN_EXCLUDES(engine.lock);

}  // namespace tvn
