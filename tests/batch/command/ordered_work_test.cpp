#include "batch/command/ordered_work.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <numeric>

namespace tvn {
namespace {

const std::function<bool()> k_always = [] { return true; };

template <typename Result>
std::size_t run(std::size_t count, unsigned threads, std::function<bool()> go_on,
                std::function<Result(std::size_t)> make,
                std::function<bool(std::size_t, Result)> take) {
  return work_in_order(Work<Result>{count, std::move(go_on), std::move(make), std::move(take)},
                       threads);
}

// Pieces that take different times, so that later ones are ready first.
std::size_t make_slowly(std::size_t i) {
  std::this_thread::sleep_for(std::chrono::microseconds(i * 7919 % 1000));
  return i * i;
}

TEST(OrderedWork, ResultsComeInOrderFromAnyNumberOfThreads) {
  for (const unsigned threads : {1U, 2U, 7U}) {
    std::vector<std::size_t> order, results;
    const std::size_t taken = run<std::size_t>(200, threads, k_always, make_slowly,
                                               [&](std::size_t i, std::size_t result) {
                                                 order.push_back(i);
                                                 results.push_back(result);
                                                 return true;
                                               });
    EXPECT_EQ(taken, 200u);
    std::vector<std::size_t> wanted(200);
    std::iota(wanted.begin(), wanted.end(), 0u);
    EXPECT_EQ(order, wanted);
    for (std::size_t& i : wanted) i *= i;
    EXPECT_EQ(results, wanted);
  }
}

TEST(OrderedWork, AsManyAreAtWorkAsThreadsWereAskedFor) {
  for (const unsigned threads : {1U, 3U}) {
    std::atomic<unsigned> at_work = 0, most = 0;
    const auto begin = [&] {
      const unsigned now = ++at_work;
      for (unsigned seen = most; seen < now && !most.compare_exchange_weak(seen, now);) {
      }
    };
    run<int>(
        4 * threads, threads, k_always,
        [&](std::size_t i) {
          begin();
          // The first ones wait for each other; a thread too many comes meanwhile.
          while (i < threads && most < threads) std::this_thread::yield();
          std::this_thread::sleep_for(std::chrono::milliseconds(20));
          --at_work;
          return 0;
        },
        [](std::size_t, int) { return true; });
    EXPECT_EQ(most, threads);
  }
}

TEST(OrderedWork, NothingToDo) {
  EXPECT_EQ(
      run<int>(
          0, 3, k_always, [](std::size_t) { return 1; }, [](std::size_t, int) { return true; }),
      0u);
}

// A piece that takes long holds the others up when so many results wait for it.
TEST(OrderedWork, RunsAheadOnlySoFar) {
  std::atomic<std::size_t> begun = 0, furthest = 0;
  std::atomic<bool> first_is_done = false;
  run<int>(
      1000, 2, k_always,
      [&](std::size_t i) {
        ++begun;
        if (i == 0) {
          std::this_thread::sleep_for(std::chrono::milliseconds(200));
          furthest = begun.load();
          first_is_done = true;
        }
        return 0;
      },
      [&](std::size_t, int) {
        EXPECT_TRUE(first_is_done);
        return true;
      });
  EXPECT_EQ(begun, 1000u);
  EXPECT_EQ(furthest, 2 * k_results_ahead);
}

TEST(OrderedWork, WhatWasBegunIsTakenWhenItIsToEnd) {
  std::atomic<std::size_t> made = 0;
  std::atomic<bool> goes_on = true;
  std::size_t next = 0;
  const std::size_t taken = run<std::size_t>(
      1000, 4, [&] { return goes_on.load(); },
      [&](std::size_t i) {
        ++made;
        if (i == 50) goes_on = false;
        return make_slowly(i);
      },
      [&](std::size_t i, std::size_t) {
        EXPECT_EQ(i, next++);
        return true;
      });
  EXPECT_EQ(taken, made);
  EXPECT_GE(taken, 51u);
  EXPECT_LT(taken, 60u);
}

TEST(OrderedWork, ARefusalEndsIt) {
  std::atomic<std::size_t> made = 0;
  const std::size_t taken = run<int>(
      1000, 2, k_always,
      [&](std::size_t) {
        ++made;
        return 0;
      },
      [](std::size_t i, int) { return i < 20; });
  EXPECT_EQ(taken, 21u);
  EXPECT_LE(made, 21 + 2 * k_results_ahead + 2);
}

}  // namespace
}  // namespace tvn
