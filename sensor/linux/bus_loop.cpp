#include "sensor/linux/bus_loop.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

namespace tvn {
namespace {

// Timers may come this late, so that the system can wake for several things at once.
constexpr std::uint64_t k_timer_slack_usec = 1000;

void require(int result, const char* what) {
  if (result < 0) throw std::system_error(-result, std::generic_category(), what);
}

// A task that throws (there is no memory, say) must not unwind through the event library.
void run_guarded(const std::function<void()>& task) {
  try {
    task();
  } catch (...) {
  }
}

}  // namespace

BusLoop::BusLoop(const char* thread_name) {
  sd_event* event = nullptr;
  require(sd_event_new(&event), "event loop");
  event_.reset(event);
  wake_fd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  require(wake_fd_ < 0 ? -errno : 0, "eventfd");
  require(sd_event_add_io(event, nullptr, wake_fd_, EPOLLIN, on_posted, this), "event source");
  thread_ = std::thread([event, thread_name] {
    ::pthread_setname_np(::pthread_self(), thread_name);
    sd_event_loop(event);
  });
}

BusLoop::~BusLoop() {
  post([this] { quit(); });
  join();
  event_.reset();
  ::close(wake_fd_);
}

void BusLoop::post(std::function<void()> task) {
  {
    const MutexLock<Mutex> hold(mutex_);
    posted_.push_back(std::move(task));
  }
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = ::write(wake_fd_, &one, sizeof one);
}

void BusLoop::quit() {
  sd_event_exit(event_.get(), 0);
}

void BusLoop::join() {
  if (thread_.joinable()) thread_.join();
}

Timer BusLoop::after(double seconds, std::function<void()> task) {
  Timer timer;
  timer.task_ = std::make_unique<std::function<void()>>(std::move(task));
  sd_event_source* source = nullptr;
  require(sd_event_add_time_relative(event_.get(), &source, CLOCK_MONOTONIC,
                                     static_cast<std::uint64_t>(seconds * 1e6), k_timer_slack_usec,
                                     on_timer, timer.task_.get()),
          "timer");
  timer.source_.reset(source);
  return timer;
}

int BusLoop::on_timer(sd_event_source*, std::uint64_t, void* task) {
  // A copy: the task may destroy its timer.
  const std::function<void()> copy = *static_cast<std::function<void()>*>(task);
  run_guarded(copy);
  return 0;
}

int BusLoop::on_posted(sd_event_source*, int fd, unsigned, void* loop) {
  std::uint64_t count = 0;
  [[maybe_unused]] const ssize_t got = ::read(fd, &count, sizeof count);
  static_cast<BusLoop*>(loop)->run_posted();
  return 0;
}

void BusLoop::run_posted() {
  std::vector<std::function<void()>> tasks;
  {
    const MutexLock<Mutex> hold(mutex_);
    tasks.swap(posted_);
  }
  for (const auto& task : tasks) run_guarded(task);
}

}  // namespace tvn
