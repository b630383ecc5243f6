#include "analysis/statistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/analysis/synthetic_ecg.h"

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

double sorted_median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t n = values.size();
  return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// Long ones take a way of their own, which looks at a sample first.
TEST(Statistics, MedianOfLongSequences) {
  synthetic::Noise noise(5);
  const auto fill = [&](std::size_t n, const auto& value) {
    std::vector<double> values(n);
    for (std::size_t i = 0; i < n; ++i) values[i] = value(i);
    return values;
  };
  for (const std::size_t n : {8'191U, 8'192U, 8'193U, 20'000U, 65'537U, 200'001U}) {
    const std::size_t step = n / 1024;
    // Of an even count, the lower middle value is the greatest below all that a sample at even
    // distances sees.
    std::vector<double> just_below(n, 6.0);
    for (std::size_t i = 0, ones = 0; ones < n / 2; ++i) {
      if (i % step != 0) just_below[i] = 1, ++ones;
    }
    const std::vector<double> sequences[] = {
        fill(n, [&](std::size_t) { return noise.normal(); }),
        fill(n, [&](std::size_t) { return std::exp(30 * noise.normal()); }),
        fill(n, [&](std::size_t) { return std::floor(10 * noise.uniform()) / 130; }),
        fill(n, [&](std::size_t) { return noise.uniform() < 0.5 ? 1.0 : 2.0; }),
        fill(n, [](std::size_t) { return 3.0; }),
        fill(n, [](std::size_t i) { return static_cast<double>(i); }),
        fill(n, [](std::size_t i) { return -static_cast<double>(i); }),
        // A sample at even distances sees one side alone.
        fill(n, [&](std::size_t i) { return i % step == 0 ? 9.0 : noise.uniform(); }),
        fill(n, [&](std::size_t i) { return i % step == 0 ? -9.0 : noise.uniform(); }),
        just_below,
        // It sees the lower half alone, the middle is just above.
        fill(n, [&](std::size_t i) { return i % step < step / 2 ? 1.0 : 3.0; }),
        fill(n, [&](std::size_t i) { return i % 2 == 0 ? -HUGE_VAL : HUGE_VAL; }),
        fill(n, [&](std::size_t i) { return i < n / 2 ? 1.0 : 2 + noise.uniform(); }),
    };
    for (const std::vector<double>& values : sequences) {
      const double wanted = sorted_median(values);
      const double got = median(values);
      EXPECT_TRUE(got == wanted || (std::isnan(got) && std::isnan(wanted)))
          << n << ' ' << &values - sequences << ' ' << got << ' ' << wanted;
    }
  }
}

TEST(Statistics, SpreadIsMeanAndDeviation) {
  const double values[] = {2, 4, 4, 4, 5, 5, 7, 9};
  EXPECT_EQ(spread_of(values).mean, 5);
  EXPECT_EQ(spread_of(values).sd, 2);
  EXPECT_TRUE(std::isnan(spread_of({}).mean) && std::isnan(spread_of({}).sd));
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
