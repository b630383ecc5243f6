// The journal of the live run that goes on: what has arrived is appended to a hidden file of its
// own in the data folder, so that a crash, a closed terminal or an empty battery cost a second of a
// session that nobody can repeat. A thread of its own does it: the strap's thread must not wait for
// a disk, and nobody must while holding the session lock; another brings the file to the disk, so
// that one that stalls for seconds does not hold up the appends.
#pragma once

#include <future>
#include <memory>
#include <string>
#include <thread>

#include "base/locked_file.h"
#include "base/mutex.h"
#include "session/engine.h"
#include "session/journal_format.h"

namespace tvn {

// How the names of journals begin and end; between them stand the time and the process.
inline constexpr const char* k_journal_prefix = ".run-";
inline constexpr const char* k_journal_suffix = ".journal";

// Lock order: a journal's own mutex, then the session's.
class RunJournal {
 public:
  // Makes the file, locked and readable by the user alone, and begins to append what the session's
  // live run with this number receives: twice a second, brought to the disk every eight and a half.
  // When anything of that fails, now or later, the journal ends with one line in the sensor log and
  // on standard error, and the run goes on.
  RunJournal(Engine& engine, std::uint64_t run_number);
  // Finishes; the file stays for the next start of the program.
  ~RunJournal();
  RunJournal(const RunJournal&) = delete;
  RunJournal& operator=(const RunJournal&) = delete;

  // The run has ended: appends what is missing and ends the thread. The file stays, unless a saved
  // recording holds all of it. Harmless when repeated. Not with the session lock held.
  void finish() TVN_EXCLUDES(mutex_);
  // A recording on the disk holds the first `samples` samples and the first `markers` markers; a
  // finished journal that holds no more goes.
  void note_saved(std::size_t samples, std::size_t markers) TVN_EXCLUDES(mutex_);
  // Finishes and removes the file.
  void discard() TVN_EXCLUDES(mutex_);

 private:
  void run() noexcept;
  void append_news() TVN_EXCLUDES(mutex_);
  void append(const std::string& bytes) TVN_REQUIRES(mutex_);
  int descriptor() TVN_EXCLUDES(mutex_);
  void note_sync(const std::error_code& error) TVN_EXCLUDES(mutex_);
  bool is_saved() const TVN_REQUIRES(mutex_);
  void give_up(const std::error_code& error) TVN_REQUIRES(mutex_);
  void remove_file() TVN_REQUIRES(mutex_);

  Engine& engine_;
  const std::uint64_t run_number_;
  Mutex mutex_;
  NewFile file_ TVN_GUARDED_BY(mutex_);
  bool finished_ TVN_GUARDED_BY(mutex_) = false;
  bool gave_up_ TVN_GUARDED_BY(mutex_) = false;
  // What the file holds.
  RecordingSettings settings_ TVN_GUARDED_BY(mutex_);
  std::size_t samples_ TVN_GUARDED_BY(mutex_) = 0;
  std::size_t markers_ TVN_GUARDED_BY(mutex_) = 0;
  // What of the run a saved recording holds.
  std::size_t saved_ TVN_GUARDED_BY(mutex_) = 0;
  std::size_t saved_markers_ TVN_GUARDED_BY(mutex_) = 0;
  std::promise<void> ending_;
  std::thread thread_;
};

// Gives the session's present live run, which has this number, a journal.
void begin_journal(Engine& engine, std::uint64_t run_number);

// Finishes the journal of the run that has ended, if it has one.
void finish_journal(Engine& engine);

}  // namespace tvn
