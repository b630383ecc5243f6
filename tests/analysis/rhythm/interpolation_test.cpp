#include "analysis/rhythm/interpolation.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

// The index that a bisection between the first and the last knot ends with.
std::size_t bisect(const std::vector<double>& times, double x) {
  std::size_t lo = 0, hi = times.empty() ? 0 : times.size() - 1;
  while (hi - lo > 1) {
    const std::size_t middle = (lo + hi) / 2;
    (times[middle] <= x ? lo : hi) = middle;
  }
  return lo;
}

TEST(KnotSearch, WalksToWhereABisectionEnds) {
  synthetic::Noise noise(8);
  for (int round = 0; round < 300; ++round) {
    std::vector<double> times(1 + noise.bits() % 20);
    double time = 0;
    for (double& knot : times) {
      knot = time;
      const bool backwards = round % 4 == 0 && noise.bits() % 5 == 0;
      time += backwards ? -0.3 : static_cast<double>(noise.bits() % 4) * 0.25;  // repeats too
    }
    KnotSearch search(times);
    for (double x = -1; x < time + 1; x += 0.125) {
      ASSERT_EQ(search.interval_at(x), bisect(times, x)) << "round " << round << ", x " << x;
    }
  }
}

TEST(KnotSearch, HasAnAnswerWithoutKnots) {
  EXPECT_EQ(KnotSearch({}).interval_at(3), 0u);
  const std::vector<double> one = {2};
  EXPECT_EQ(KnotSearch(one).interval_at(3), 0u);
}

TEST(InterpolateAt, IsLinearBetweenTheKnots) {
  const std::vector<double> times = {1, 3, 4}, values = {10, 20, 0};
  EXPECT_EQ(interpolate_at(1, 0, times, values), 10);
  EXPECT_EQ(interpolate_at(1.5, 0, times, values), 12.5);
  EXPECT_EQ(interpolate_at(3.75, 1, times, values), 5);
  EXPECT_EQ(interpolate_at(9, 2, times, values), 0);  // the last knot opens no interval
}

// What makes a constant curve of intervals exactly constant.
TEST(InterpolateAt, GivesExactlyTheValueThatBothKnotsHave) {
  const std::vector<double> times = {0.1, 0.9}, values = {800.0000000000001, 800.0000000000001};
  for (double x = 0.1; x < 0.9; x += 0.01) {
    EXPECT_EQ(interpolate_at(x, 0, times, values), 800.0000000000001);
  }
}

}  // namespace
}  // namespace tvn
