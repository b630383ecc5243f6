#include "analysis/rhythm/breathing_reference.h"

#include <gtest/gtest.h>

#include <cmath>

#include "analysis/rhythm/time_grid.h"

namespace tvn {
namespace {

constexpr double k_two_pi = 6.283185307179586;

TEST(BreathingReference, EqualsSineAndCosineOfTheGridTimes) {
  for (const double cycle : {16.0, 8.1, 1.0, 0.1, 1e-3, 1e-9, 1e9}) {
    const double w = 1 / cycle * k_two_pi;
    const std::vector<double> grid = time_grid(130 * 40000, 130);
    BreathingReference reference(w);
    reference.extend(grid);
    for (std::size_t i = 0; i < grid.size(); i += 7) {
      ASSERT_NEAR(reference.sines()[i], std::sin(w * grid[i]), 1e-15) << cycle << " " << i;
      ASSERT_NEAR(reference.cosines()[i], std::cos(w * grid[i]), 1e-15) << cycle << " " << i;
    }
    EXPECT_EQ(reference.exact(123).sine, std::sin(w * grid[123]));
    EXPECT_EQ(reference.exact(123).cosine, std::cos(w * grid[123]));
  }
}

}  // namespace
}  // namespace tvn
