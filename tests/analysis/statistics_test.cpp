#include "analysis/statistics.h"

#include <gtest/gtest.h>

#include <cmath>

namespace tvn {
namespace {

// Sums in doubles: in floats 2^24 + 1 would be 2^24.
TEST(Statistics, TakeFloatsAsTheNumbersTheyAre) {
  const std::vector<float> values = {16'777'216, 1, 1};
  const double mean_of_three = 16'777'218.0 / 3;
  EXPECT_EQ(mean(std::span<const float>(values)), mean_of_three);
  const double first = 16'777'216 - mean_of_three, other = 1 - mean_of_three;
  EXPECT_EQ(population_sd(std::span<const float>(values)),
            std::sqrt((first * first + other * other + other * other) / 3));
}

TEST(Statistics, MeanAndPopulationDeviation) {
  const double values[] = {2, 4, 4, 4, 5, 5, 7, 9};
  EXPECT_EQ(mean(values), 5);
  EXPECT_EQ(population_variance(values), 4);
  EXPECT_EQ(population_sd(values), 2);
}

TEST(Statistics, MedianOfAnEvenCountIsTheMeanOfTheMiddleTwo) {
  EXPECT_EQ(median({7}), 7);
  EXPECT_EQ(median({9, 1, 4}), 4);
  EXPECT_EQ(median({9, 1, 4, 6}), 5);
  EXPECT_EQ(median({1, 100, 3, 2, 5, 4}), 3.5);
}

TEST(Statistics, MedianAbsoluteDeviation) {
  const double values[] = {1, 1, 2, 2, 4, 6, 9};
  EXPECT_EQ(median_absolute_deviation(values, 2), 1);
}

TEST(Statistics, NoValuesGiveNaN) {
  EXPECT_TRUE(std::isnan(mean(std::span<const double>())));
  EXPECT_TRUE(std::isnan(population_sd(std::span<const double>())));
  EXPECT_TRUE(std::isnan(median({})));
  EXPECT_TRUE(std::isnan(median_absolute_deviation({}, 0)));
  EXPECT_TRUE(all_equal({}));
}

TEST(Statistics, AllEqualComparesTheValues) {
  const double equal[] = {0.1, 0.1, 0.1};
  const double not_equal[] = {0.1, 0.1, 0.1000000000000001};
  EXPECT_TRUE(all_equal(equal));
  EXPECT_FALSE(all_equal(not_equal));
}

}  // namespace
}  // namespace tvn
