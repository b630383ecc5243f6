#include "analysis/beats/beat_selection.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <vector>

namespace tvn {
namespace {

using Positions = std::vector<int32_t>;

// Beats of prominence 9 once a second over ten seconds of 130 Hz, and one peak at sample 65 of the
// prominence given. Of heights 1 and 2 in turn, none is an outlier.
RatedPeaks peaks_with(double prominence) {
  RatedPeaks peaks{{65}, {1.5}, {prominence}};
  for (int32_t second = 1; second <= 10; ++second) {
    peaks.positions.push_back(130 * second);
    peaks.heights.push_back(second % 2 == 0 ? 1 : 2);
    peaks.prominences.push_back(9);
  }
  return peaks;
}

struct Selected {
  bool first;       // the peak of the prominence given
  int exact_asked;  // how many times
};

// The quick spread's threshold is 0 + 4 * 1; the exact one's `exact_sd` times 4.
Selected select(double prominence, double exact_sd) {
  int asked = 0;
  const auto exact = [&] {
    ++asked;
    return Spread{0, exact_sd};
  };
  const Positions beats = select_beats(peaks_with(prominence), 1, 1430, 130, Spread{0, 1}, exact);
  EXPECT_GE(beats.size(), 10U);
  return {beats.front() == 65, asked};
}

TEST(SelectBeats, AsksForTheExactSpreadWhereRoundingCouldDecide) {
  EXPECT_FALSE(select(4 + 1e-8, 1.01).first);
  EXPECT_TRUE(select(4 - 1e-8, 0.99).first);
  EXPECT_EQ(select(4 + 1e-8, 1).exact_asked, 1);
  EXPECT_EQ(select(4 - 1e-8, 1).exact_asked, 1);
}

TEST(SelectBeats, TakesTheQuickSpreadElsewhere) {
  EXPECT_TRUE(select(4 + 1e-6, 99).first);
  EXPECT_FALSE(select(4 - 1e-6, 0).first);
  EXPECT_EQ(select(4 + 1e-6, 1).exact_asked, 0);
  EXPECT_EQ(select(4 - 1e-6, 1).exact_asked, 0);
}

// The mean of a negated signal is the negated mean.
TEST(SelectBeats, TurnsTheMeanWithTheSign) {
  const auto exact = [] { return Spread{}; };
  const Spread spread{0.5, 1};
  EXPECT_EQ(select_beats(peaks_with(4.2), 1, 1430, 130, spread, exact).front(), 130);
  EXPECT_EQ(select_beats(peaks_with(4.2), -1, 1430, 130, spread, exact).front(), 65);
}

// Of median 0 and median absolute deviation 0.6745, so that the score of a prominence is itself.
TEST(SelectBeats, TheRobustScoreLiesStrictlyBetween3And7) {
  RatedPeaks peaks{{}, {}, {3, 3.5, 6.5, 7}};
  peaks.prominences.resize(18, -0.6745);
  peaks.prominences.resize(28, 0.6745);
  for (int32_t i = 0; i < 28; ++i) {
    peaks.positions.push_back(100 * i);
    peaks.heights.push_back(i % 2);
  }
  const auto exact = [] { return Spread{}; };
  EXPECT_EQ(select_beats(peaks, 1, 3000, 130, Spread{0, 100}, exact), (Positions{100, 200}));
}

// 21 and -19 in turn: mean 1, deviation 20. 36 samples leave four over for the last, smaller round.
TEST(SpreadSums, MeanAndDeviationOfPieces) {
  std::vector<double> samples;
  for (int i = 0; i < 36; ++i) samples.push_back(i % 2 == 0 ? 21 : -19);
  SpreadSums sums;
  EXPECT_FALSE(sums.spread());
  sums.add(std::span(samples).first(16));
  sums.add(std::span(samples).subspan(16));
  ASSERT_TRUE(sums.spread());
  EXPECT_NEAR(sums.spread()->mean, 1, 1e-14);
  EXPECT_NEAR(sums.spread()->sd, 20, 1e-14);
}

TEST(SpreadSums, DoNotTellADeviationBelowTheMean) {
  const auto tells = [](double high, double low) {
    SpreadSums sums;
    sums.add(std::vector<double>{high, low});
    return sums.spread().has_value();
  };
  EXPECT_TRUE(tells(21, -1));  // mean 10, deviation 11
  EXPECT_FALSE(tells(20, 0));  // 10 and 10
  EXPECT_FALSE(tells(5, 5));
}

// At 100 samples per second; what is chosen shows by its first interval.
TEST(BetterIntervals, CountThoseFrom330To1500Milliseconds) {
  const auto first_of = [](const Positions& positive, const Positions& negative) {
    return better_intervals(positive, negative, 100).at(0);
  };
  const Positions two = {0, 50, 100};
  EXPECT_EQ(first_of(two, {0, 33, 66, 99}), 0.33);
  EXPECT_EQ(first_of(two, {0, 32, 64, 96}), 0.5);
  EXPECT_EQ(first_of(two, {0, 150, 300, 450}), 1.5);
  EXPECT_EQ(first_of(two, {0, 151, 302, 453}), 0.5);
  EXPECT_EQ(first_of(two, {0, 60, 120}), 0.5);  // as many: the positive ones
}

}  // namespace
}  // namespace tvn
