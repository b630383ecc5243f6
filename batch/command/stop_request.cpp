#include "batch/command/stop_request.h"

#include <errno.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <string_view>

namespace tvn {
namespace {

std::atomic<int> g_signal = 0;
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may use nothing else");

constexpr std::string_view k_told =
    "\ntalvern-batch: ending after the recordings under way; once more ends at once\n";

void note(int signal) {
  const int before = errno;
  g_signal = signal;
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, k_told.data(), k_told.size());
  errno = before;
}

}  // namespace

void note_stop_requests() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = note;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    ::sigaction(signal, &action, nullptr);
  }
}

int stop_signal() {
  return g_signal;
}

}  // namespace tvn
