// However a recording's intervals grow and change from call to call, its heart rate and TVN values
// are those that are computed from nothing, to the bit.
// TVN_LONG=1 in the environment: longer recordings and many more of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <new>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include "analysis/rhythm/hr_series.h"
#include "analysis/rhythm/tvn_series.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/session/scarce_memory.h"

namespace tvn {
namespace {

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double k_inf = std::numeric_limits<double>::infinity();
constexpr double k_fs = 130;
constexpr TvnWindow k_window{2, 16, 0.1};

const bool k_long = std::getenv("TVN_LONG") != nullptr;

using Series = std::vector<double>;
using synthetic::Noise;

std::vector<std::uint64_t> bits(const Series& values) {
  std::vector<std::uint64_t> result;
  for (const double value : values) result.push_back(std::bit_cast<std::uint64_t>(value));
  return result;
}

// A recording as the passes see it, which grows and changes.
class GrowingRhythm {
 public:
  GrowingRhythm(std::uint64_t seed, double odd_share)
      : noise_(seed), odd_share_(odd_share), mean_rr_(seed % 3 == 0 ? 0.45 : 0.85) {}

  // Some seconds more, most of the time; with intervals that change where a pass finds other beats
  // than the one before: usually the last ones, seldom any.
  void go_on() {
    const double longest = k_long ? 600 : 60;
    seconds_ += std::exp(noise_.uniform() * std::log(longest)) - 1;
    if (noise_.uniform() < 0.3) drop_last(noise_.bits() % 4);
    if (noise_.uniform() < 0.1 && !rr_.empty()) rr_[noise_.bits() % rr_.size()] = interval();
    if (noise_.uniform() < 0.02 && !rr_.empty()) rr_.front() = interval();
    double elapsed = std::accumulate(rr_.begin(), rr_.end(), 0.0);
    for (std::size_t tries = 0; elapsed + 1 < seconds_ && tries < 5000; ++tries) {
      rr_.push_back(interval());
      elapsed += rr_.back();
    }
  }

  std::size_t samples() const { return static_cast<std::size_t>(seconds_ * k_fs); }
  const Series& rr() const { return rr_; }

 private:
  void drop_last(std::size_t count) { rr_.resize(rr_.size() - std::min(count, rr_.size())); }

  // A heart's, but for a share that no heart has.
  double interval() {
    constexpr double k_odd[] = {0, -0.0, -0.4, 60, 1e-9, 1e9, k_inf, k_nan};
    if (noise_.uniform() < odd_share_) return k_odd[noise_.bits() % std::size(k_odd)];
    if (noise_.uniform() < 0.03) return 0.85 + 3 * noise_.uniform();  // beats that were missed
    if (noise_.uniform() < 0.02) steady_ = !steady_;
    return steady_ ? 0.8 : mean_rr_ + 0.08 * noise_.normal();
  }

  Noise noise_;
  double odd_share_, mean_rr_;
  bool steady_ = false;
  double seconds_ = 0;
  Series rr_;
};

Series tvn_from_nothing(const GrowingRhythm& rhythm, const TvnWindow& window) {
  return compute_tvn_series(rhythm.rr(), static_cast<int32_t>(rhythm.samples()), window.cycles,
                            window.cycle_seconds, k_fs, window.step_seconds);
}

void expect_same(RunningHr& hr, RunningTvn& tvn, const GrowingRhythm& rhythm,
                 const TvnWindow& window = k_window) {
  const auto n_samples = rhythm.samples();
  ASSERT_EQ(bits(hr.series(n_samples, rhythm.rr())),
            bits(build_hr_series(n_samples, rhythm.rr(), k_fs)));
  ASSERT_EQ(bits(tvn.series(rhythm.rr(), static_cast<int32_t>(n_samples), window)),
            bits(tvn_from_nothing(rhythm, window)));
}

// odd_share: of a recording's intervals, by its number.
void expect_same_as_they_grow(const std::function<double(std::uint64_t)>& odd_share, int calls) {
  for (std::uint64_t seed = 1; seed <= (k_long ? 120 : 40); ++seed) {
    SCOPED_TRACE(seed);
    GrowingRhythm rhythm(seed, odd_share(seed));
    RunningHr hr(k_fs);
    RunningTvn tvn(k_fs);
    for (int call = 0; call < calls; ++call) {
      rhythm.go_on();
      ASSERT_NO_FATAL_FAILURE(expect_same(hr, tvn, rhythm)) << "call " << call;
    }
  }
}

TEST(RunningRhythm, GivesWhatIsComputedFromNothing) {
  expect_same_as_they_grow([](std::uint64_t) { return 0; }, 40);
}

TEST(RunningRhythm, GivesTheSameForIntervalsThatNoHeartHas) {
  expect_same_as_they_grow([](std::uint64_t seed) { return seed % 2 == 0 ? 0.002 : 0.05; }, 20);
}

TEST(RunningRhythm, AnotherWindowStartsOver) {
  GrowingRhythm rhythm(3, 0);
  RunningHr hr(k_fs);
  RunningTvn tvn(k_fs);
  for (int call = 0; call < 60; ++call) {
    rhythm.go_on();
    for (const double cycle : {16.0, 10.0, 0.0, 1e9, k_nan}) {
      ASSERT_NO_FATAL_FAILURE(expect_same(hr, tvn, rhythm, {2, cycle, 0.1})) << cycle;
    }
    // A window that reaches further than the recording.
    ASSERT_NO_FATAL_FAILURE(expect_same(hr, tvn, rhythm, {2, 16, 0.002}));
    rhythm.go_on();
    ASSERT_NO_FATAL_FAILURE(expect_same(hr, tvn, rhythm, {2, 16, 0.002}));
  }
}

TEST(RunningRhythm, ARecordingMayBeShorter) {
  GrowingRhythm shorter(5, 0), longer(6, 0);
  for (int i = 0; i < 30; ++i) longer.go_on();
  for (int i = 0; i < 10; ++i) shorter.go_on();
  ASSERT_LT(shorter.samples(), longer.samples());
  RunningHr hr(k_fs);
  RunningTvn tvn(k_fs);
  for (const GrowingRhythm* rhythm : {&longer, &shorter, &longer}) {
    ASSERT_NO_FATAL_FAILURE(expect_same(hr, tvn, *rhythm));
  }
  GrowingRhythm nothing(7, 0);
  ASSERT_NO_FATAL_FAILURE(expect_same(hr, tvn, nothing));
  ASSERT_NO_FATAL_FAILURE(expect_same(hr, tvn, longer));
  // Of the same intervals, ever fewer of which are within the recording.
  for (std::size_t n = longer.samples(); n > 130; n -= std::min<std::size_t>(n, 999)) {
    ASSERT_EQ(bits(hr.series(n, longer.rr())), bits(build_hr_series(n, longer.rr(), k_fs))) << n;
    ASSERT_EQ(bits(tvn.series(longer.rr(), static_cast<int32_t>(n), k_window)),
              bits(compute_tvn_series(longer.rr(), static_cast<int32_t>(n), 2, 16, k_fs, 0.1)))
        << n;
  }
}

TEST(RunningRhythm, GoesOnAfterACallWithoutIntervals) {
  GrowingRhythm rhythm(8, 0);
  RunningHr hr(k_fs);
  RunningTvn tvn(k_fs);
  for (int i = 0; i < 30; ++i) rhythm.go_on();
  ASSERT_NO_FATAL_FAILURE(expect_same(hr, tvn, rhythm));
  EXPECT_TRUE(hr.series(rhythm.samples(), {}).empty());
  EXPECT_TRUE(tvn.series({}, static_cast<int32_t>(rhythm.samples()), k_window).empty());
  ASSERT_NO_FATAL_FAILURE(expect_same(hr, tvn, rhythm));
}

// The first beat, when it comes to stand behind values that there were before.
TEST(RunningRhythm, FollowsAFirstBeatThatMoves) {
  RunningTvn tvn(k_fs);
  Series rr(200, 0.8);
  for (std::size_t i = 0; i < rr.size(); ++i) rr[i] += 0.05 * std::sin(static_cast<double>(i));
  for (const double first : {0.8, 70.0, 3.0, 70.0}) {
    rr.front() = first;
    const Series expected = compute_tvn_series(rr, 130 * 150, 2, 16, k_fs, 0.1);
    ASSERT_EQ(bits(tvn.series(rr, 130 * 150, k_window)), bits(expected)) << first;
  }
}

// Whichever allocation it was that failed, the next call is right all the same.
TEST(RunningRhythm, IsWholeAfterACallThatFailedForWantOfMemory) {
  Noise noise(9);
  Series rr(400);
  for (double& interval : rr) interval = 0.85 + 0.05 * noise.normal();
  const auto first = [&rr](std::size_t count) { return std::span(rr).first(count); };
  int failed = 0;
  for (double largest = 300; largest < 50'000; largest *= 1.1) {
    RunningHr hr(k_fs);
    RunningTvn tvn(k_fs);
    const auto call = [&](std::size_t seconds, std::size_t beats) {
      hr.series(seconds * 130, first(beats));
      tvn.series(first(beats), static_cast<int32_t>(seconds * 130), k_window);
    };
    call(200, 220);
    call(210, 230);
    const auto fails = [&](const auto& part) {
      try {
        const ScarceMemory scarce(static_cast<std::size_t>(largest));
        part();
      } catch (const std::bad_alloc&) {
        ++failed;
      }
    };
    fails([&] { hr.series(290 * 130, first(330)); });
    fails([&] { tvn.series(first(330), 290 * 130, k_window); });
    ASSERT_EQ(bits(hr.series(291 * 130, first(331))),
              bits(build_hr_series(291 * 130, first(331), k_fs)))
        << largest;
    ASSERT_EQ(bits(tvn.series(first(331), 291 * 130, k_window)),
              bits(compute_tvn_series(first(331), 291 * 130, 2, 16, k_fs, 0.1)))
        << largest;
  }
  EXPECT_GT(failed, 40);
}

// That the quick way is taken at all.
TEST(KnotMemory, TellsTheFirstPointBehindTheLastKnotThatIsTheSame) {
  KnotMemory memory;
  const auto changed_from = [&memory](const Series& times, const Series& values) {
    const Series grid = {0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4};
    return memory.changed_from(times, values, grid);
  };
  EXPECT_EQ(changed_from({1, 2, 3}, {7, 8, 9}), 0u);
  EXPECT_EQ(changed_from({1, 2, 3, 4}, {7, 8, 9, 9}), 6u);
  EXPECT_EQ(changed_from({1, 2, 3, 4}, {7, 8, 9.5, 9}), 4u);
  EXPECT_EQ(changed_from({1, 2.4, 3, 4}, {7, 8, 9.5, 9}), 2u);
  EXPECT_EQ(changed_from({1, 2.4}, {7, 8}), 5u);
  EXPECT_EQ(changed_from({1.5, 2.5}, {7, 8}), 0u);
  EXPECT_EQ(changed_from({1.5, 1.0}, {7, 8}), 0u);
  EXPECT_EQ(changed_from({1.5, 2.0}, {7, 8}), 0u);
  EXPECT_EQ(changed_from({1.5, 2.0}, {7, 8}), 4u);
}

}  // namespace
}  // namespace tvn
