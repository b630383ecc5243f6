// Faults of the machine that a test switches on and off in the real executable while it runs: a
// disk that is full, slow or read-only, threads that are refused, a clock that jumps, a kill in the
// middle of a write. A library of the tests' own, loaded into the program, stands in for the
// system's functions (machine_faults.cpp); it and the test share a page of memory, a file that an
// environment variable names.
#pragma once

#include <atomic>
#include <cstdint>

#include "tests/api/program.h"

namespace tvn {

struct FaultState {
  // Bytes that may still be written to regular files (standard output and error and the sensor log
  // excepted); what goes beyond fails as on a full disk, after as much as fits.
  std::atomic<std::int64_t> room{INT64_MAX};
  // The write that goes beyond ends the program by SIGKILL instead, after as much as fits.
  std::atomic<bool> kills_when_full{false};
  // Nothing can be written, opened for writing, made, renamed or removed.
  std::atomic<bool> is_read_only{false};
  // No file can be opened, for want of descriptors; connections can.
  std::atomic<bool> opens_no_files{false};
  // The system's number of the reason why no connection can be had; 0: they can.
  std::atomic<int> accept_error{0};
  // Threads that can still be had.
  std::atomic<std::int64_t> threads{INT64_MAX};
  // Of the threads begun from now on, the one of this number (1: the next) is refused; 0: none.
  std::atomic<std::int64_t> thread_to_refuse{0};
  // Seconds that the wall clock is ahead.
  std::atomic<std::int64_t> clock_ahead{0};
  // How long each read of a regular file takes, and how many have begun.
  std::atomic<int> read_milliseconds{0};
  std::atomic<int> reads{0};
};

// The state of one program's machine; everything works at first.
class MachineFaults {
 public:
  MachineFaults();
  MachineFaults(const MachineFaults&) = delete;
  MachineFaults& operator=(const MachineFaults&) = delete;
  ~MachineFaults();
  FaultState* operator->() const { return state_; }
  // `options` for a program on this machine.
  ProgramOptions on(ProgramOptions options) const;

 private:
  TemporaryFolder folder_;
  FaultState* state_;
};

}  // namespace tvn
