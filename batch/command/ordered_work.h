// Work in parallel, results in order: numbered pieces are made by several threads and taken, one
// after the other as if one thread had made them, by the caller's.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace tvn {

// Results that are ready while an earlier one is still being made, per thread: enough that a long
// recording does not make the others wait, and some 10 MB at most.
inline constexpr std::size_t k_results_ahead = 32;

// Calls make(i) for i = 0 .. count - 1 on `threads` threads (1 or more), and take(i, result) for
// each in this order on the caller's thread. Once go_on() (any thread) is false or take() has
// returned false, nothing more is begun; what was begun is still made and, unless take() refused,
// taken. Returns how many were taken. make must not throw. Throws std::system_error when not even
// one thread can be had.
template <typename Result>
std::size_t work_in_order(std::size_t count, unsigned threads, const std::function<bool()>& go_on,
                          const std::function<Result(std::size_t)>& make,
                          const std::function<bool(std::size_t, Result)>& take) {
  std::mutex mutex;
  std::condition_variable changed;
  std::map<std::size_t, Result> ready;
  std::size_t begun = 0, taken = 0;
  bool refused = false;
  const std::size_t ahead = k_results_ahead * threads;

  const auto may_begin = [&] { return refused || begun >= count || begun < taken + ahead; };
  const auto work = [&] {
    std::unique_lock lock(mutex);
    for (;;) {
      changed.wait(lock, may_begin);
      if (refused || begun >= count || !go_on()) break;
      const std::size_t i = begun++;
      lock.unlock();
      Result result = make(i);
      lock.lock();
      ready.emplace(i, std::move(result));
      changed.notify_all();
    }
    count = std::min(count, begun);  // nobody begins another one: the caller waits for these only
    changed.notify_all();
  };

  std::vector<std::jthread> workers;
  for (unsigned i = 0; i < std::max(threads, 1U); ++i) {
    try {
      workers.emplace_back(work);
    } catch (const std::system_error&) {
      if (workers.empty()) throw;
      break;  // those that are there do all of it
    }
  }
  std::unique_lock lock(mutex);
  for (;;) {
    changed.wait(lock, [&] { return ready.contains(taken) || taken >= count; });
    if (taken >= count && !ready.contains(taken)) break;
    auto next = ready.extract(taken);
    lock.unlock();
    const bool goes_on = take(next.key(), std::move(next.mapped()));
    lock.lock();
    ++taken;
    if (!goes_on) refused = true;
    changed.notify_all();
    if (refused) break;
  }
  return taken;
}

}  // namespace tvn
