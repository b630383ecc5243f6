#import <Foundation/Foundation.h>

#include "tests/sensor_macos/fake_queue.h"

#include <chrono>
#include <thread>

tvn_fake_queue::tvn_fake_queue(const char* its_label) : label(its_label) {
  std::thread([this] { work(); }).detach();
}

void tvn_fake_queue::post(std::function<void()> task, double delay) {
  const std::lock_guard hold(mutex_);
  items_.push_back({std::move(task), delay});
  changed_.notify_all();
}

void tvn_fake_queue::run(const std::function<void()>& task) {
  std::mutex mutex;
  std::condition_variable changed;
  bool done = false;
  post([&] {
    task();
    const std::lock_guard hold(mutex);
    done = true;
    changed.notify_all();
  });
  std::unique_lock hold(mutex);
  changed.wait(hold, [&] { return done; });
}

void tvn_fake_queue::work() {
  GSRegisterCurrentThread();
  thread_ = std::this_thread::get_id();
  for (;;) {
    Item item;
    {
      std::unique_lock hold(mutex_);
      changed_.wait(hold, [this] { return !items_.empty(); });
      item = std::move(items_.front());
      items_.pop_front();
    }
    std::this_thread::sleep_for(std::chrono::duration<double>(item.delay));
    @autoreleasepool {
      item.task();
    }
  }
}

dispatch_queue_t dispatch_queue_create(const char* label, int) {
  return new tvn_fake_queue(label);
}
