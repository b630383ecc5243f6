// A serial dispatch queue on a thread of its own, which never ends: like the system's, it outlives
// what uses it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include <dispatch/dispatch.h>

struct tvn_fake_queue {
  explicit tvn_fake_queue(const char* its_label);
  // Runs `task` on the queue's thread after what was posted before, `delay` seconds after that.
  void post(std::function<void()> task, double delay = 0.0);
  // Posts and waits.
  void run(const std::function<void()>& task);
  // Whether the caller runs on the queue's thread.
  bool is_current() const { return std::this_thread::get_id() == thread_; }

  std::string label;

 private:
  void work();
  std::atomic<std::thread::id> thread_;
  struct Item {
    std::function<void()> task;
    double delay;
  };
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Item> items_;
};
