#include "analysis/beats/filter_stretches.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

TEST(FilterStretches, AnyNumberOfThemGivesTheSerialResultInBothDirections) {
  const std::vector<double> ecg = synthetic::make_ecg({.seconds = 300.1});
  for (const Direction direction : {Direction::forward, Direction::backward}) {
    std::vector<double> serial(ecg.size());
    CascadeState end{{1, 2, 3, 4}, {5, 6, 7, 8}};
    run_serial(ecg.data(), serial.data(), ecg.size(), direction, end);
    for (const std::size_t lanes : {std::size_t{2}, widest_lanes()}) {
      std::vector<double> in_place = ecg;
      CascadeState state{{1, 2, 3, 4}, {5, 6, 7, 8}};
      EXPECT_TRUE(
          run_stretches(in_place.data(), in_place.data(), ecg.size(), direction, state, lanes));
      EXPECT_EQ(in_place, serial);
      EXPECT_EQ(state.n1, end.n1);
      EXPECT_EQ(state.n2, end.n2);
    }
  }
}

TEST(FilterStretches, ThoseThatDoNotJoinAreReported) {
  std::vector<double> ecg = synthetic::make_ecg({.seconds = 600});
  ecg[100] = std::numeric_limits<double>::infinity();
  std::vector<double> y(ecg.size());
  for (const std::size_t lanes : {std::size_t{2}, widest_lanes()}) {
    CascadeState state;
    EXPECT_FALSE(run_stretches(ecg.data(), y.data(), ecg.size(), Direction::forward, state, lanes));
  }
}

}  // namespace
}  // namespace tvn
