// The one thread that does all work on the bus. Other threads hand it tasks; what runs on it needs
// no locks among itself.
#pragma once

#include <systemd/sd-event.h>

#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "base/mutex.h"

namespace tvn {

// A task that will run once. Destroying it, on the loop's thread, calls it off.
class Timer {
 public:
  Timer() = default;
  void cancel() { source_.reset(); }

 private:
  friend class BusLoop;
  struct Release {
    void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
  };
  std::unique_ptr<std::function<void()>> task_;
  std::unique_ptr<sd_event_source, Release> source_;
};

class BusLoop {
 public:
  // Starts the thread. Throws std::system_error when the system gives no thread or descriptor.
  explicit BusLoop(const char* thread_name);
  BusLoop(const BusLoop&) = delete;
  BusLoop& operator=(const BusLoop&) = delete;
  // Ends the thread after what was posted, and waits for it.
  ~BusLoop();

  // Runs `task` on the thread, in the order of posting. Any thread; never waits.
  void post(std::function<void()> task) TVN_EXCLUDES(mutex_);
  // Ends the thread after the task that calls it.
  void quit();
  // Waits for the thread to end. Not called by the thread itself.
  void join();

  // Only for the loop's own thread.
  sd_event* event() const { return event_.get(); }
  Timer after(double seconds, std::function<void()> task);

 private:
  struct ReleaseEvent {
    void operator()(sd_event* event) const { sd_event_unref(event); }
  };
  static int on_posted(sd_event_source* source, int fd, unsigned events, void* loop);
  static int on_timer(sd_event_source* source, std::uint64_t due, void* task);
  void run_posted() TVN_EXCLUDES(mutex_);

  std::unique_ptr<sd_event, ReleaseEvent> event_;
  int wake_fd_ = -1;
  Mutex mutex_;
  std::vector<std::function<void()>> posted_ TVN_GUARDED_BY(mutex_);
  std::thread thread_;
};

}  // namespace tvn
