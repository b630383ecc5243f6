#include "host/end_signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <future>
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

// Runs the task; gives up waiting for it after `longest` seconds.
void run_for(std::function<void()> task, double longest) {
  std::promise<void> done;
  const std::future<void> ended = done.get_future();
  try {
    std::thread([task = std::move(task), done = std::move(done)]() mutable {
      task();
      done.set_value();
    }).detach();
  } catch (const std::system_error&) {
    return;  // no thread to be had: what would hang must not be tried
  }
  ended.wait_for(std::chrono::duration<double>(longest));
}

void wait_for_signal(int read_end, std::function<void()> task, double longest) {
  unsigned char number = 0;
  while (::read(read_end, &number, 1) != 1) {
  }
  handle_all(SIG_DFL);  // a second Ctrl-C ends the program at once
  run_for(std::move(task), longest);
  std::raise(number);
}

}  // namespace

void before_end_by_signal(std::function<void()> task, double longest) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) return;
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  g_write_end = ends[1];
  try {
    std::thread([read_end = ends[0], task = std::move(task), longest]() mutable {
      wait_for_signal(read_end, std::move(task), longest);
    }).detach();
  } catch (const std::system_error&) {
    return;
  }
  handle_all(note_signal);
}

}  // namespace tvn
