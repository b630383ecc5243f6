#include "host/end_signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

namespace tvn {
namespace {

constexpr std::array k_end_signals = {SIGHUP, SIGINT, SIGTERM};

// A handler may do next to nothing: it writes the signal's number for a thread to read.
int g_write_end = -1;

void note_signal(int signal) {
  const auto number = static_cast<unsigned char>(signal);
  [[maybe_unused]] const ssize_t written = ::write(g_write_end, &number, 1);
}

// Signals that were being ignored, as under nohup, stay so.
void handle_all(void (*handler)(int)) {
  for (const int signal : k_end_signals) {
    if (std::signal(signal, handler) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
}

void wait_for_signal(int read_end, const std::function<void()>& task) {
  unsigned char number = 0;
  while (::read(read_end, &number, 1) != 1) {
  }
  handle_all(SIG_DFL);  // a second Ctrl-C ends the program at once
  task();
  std::raise(number);
}

}  // namespace

void before_end_by_signal(std::function<void()> task) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) return;
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  g_write_end = ends[1];
  try {
    std::thread([read_end = ends[0], task = std::move(task)] {
      wait_for_signal(read_end, task);
    }).detach();
  } catch (const std::system_error&) {
    return;
  }
  handle_all(note_signal);
}

}  // namespace tvn
