// Work in parallel, results in order: numbered pieces are made by several threads and taken, one
// after the other as if one thread had made them, by the caller's.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace tvn {

// Results that are ready while an earlier one is still being made, per thread: enough that a long
// recording does not make the others wait, and some 10 MB at most.
inline constexpr std::size_t k_results_ahead = 32;

template <typename Result>
struct Work {
  std::size_t count;                              // of the pieces
  std::function<bool()> go_on;                    // any thread
  std::function<Result(std::size_t)> make;        // any thread; must not throw
  std::function<bool(std::size_t, Result)> take;  // the caller's thread
};

// See work_in_order.
template <typename Result>
class OrderedWork {
 public:
  OrderedWork(const Work<Result>& work, unsigned threads)
      : work_(work), count_(work.count), ahead_(k_results_ahead * threads) {}

  // On every worker's thread.
  void make_pieces() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock,
                    [this] { return refused_ || begun_ >= count_ || begun_ < taken_ + ahead_; });
      if (refused_ || begun_ >= count_ || !work_.go_on()) break;
      const std::size_t i = begun_++;
      lock.unlock();
      Result result = work_.make(i);
      lock.lock();
      ready_.emplace(i, std::move(result));
      changed_.notify_all();
    }
    count_ = std::min(count_, begun_);  // nobody begins another one: these are waited for
    changed_.notify_all();
  }

  // On the caller's; returns how many pieces were taken.
  std::size_t take_pieces() {
    std::unique_lock lock(mutex_);
    while (!refused_) {
      changed_.wait(lock, [this] { return ready_.contains(taken_) || taken_ >= count_; });
      if (!ready_.contains(taken_)) break;
      auto next = ready_.extract(taken_);
      lock.unlock();
      const bool goes_on = work_.take(next.key(), std::move(next.mapped()));
      lock.lock();
      ++taken_;
      refused_ = !goes_on;
      changed_.notify_all();
    }
    return taken_;
  }

 private:
  const Work<Result>& work_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::size_t, Result> ready_;
  std::size_t count_, ahead_;
  std::size_t begun_ = 0, taken_ = 0;
  bool refused_ = false;
};

// Calls make(i) for i = 0 .. count - 1 on `threads` threads (1 or more), and take(i, result) for
// each in this order on the caller's thread. Once go_on() is false or take() has returned false,
// nothing more is begun; what was begun is still made and, unless take() refused, taken. Returns
// how many were taken. Throws std::system_error when not even one thread can be had.
template <typename Result>
std::size_t work_in_order(const Work<Result>& work, unsigned threads) {
  OrderedWork<Result> pieces(work, std::max(threads, 1U));
  std::vector<std::jthread> workers;
  for (unsigned i = 0; i < std::max(threads, 1U); ++i) {
    try {
      workers.emplace_back([&pieces] { pieces.make_pieces(); });
    } catch (const std::system_error&) {
      if (workers.empty()) throw;
      break;  // those that are there do all of it
    }
  }
  return pieces.take_pieces();
}

}  // namespace tvn
