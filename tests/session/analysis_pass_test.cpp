#include "session/analysis_pass.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/analysis/synthetic_ecg.h"
#include "tests/session/session_fixture.h"

namespace tvn {
namespace {

using synthetic::make_ecg;

class AnalysisPassTest : public SessionTest {
 protected:
  void set_replay(std::vector<double> samples) {
    const SessionLock hold(engine_.lock);
    engine_.mode = "replay";
    engine_.replay_len = engine_.replay_pos = static_cast<std::int64_t>(samples.size());
    engine_.replay_ecg = EcgBuffer(std::move(samples));
  }
  static std::optional<PassResult> pass_over(std::vector<double> samples, double cycle_seconds) {
    const std::size_t count = samples.size();
    RunningAnalysis analysis;
    return compute_pass(EcgBuffer(std::move(samples)).view(count), cycle_seconds, analysis);
  }
};

TEST_F(AnalysisPassTest, NeedsThreeSecondsAndABeat) {
  const std::vector<double> ecg = make_ecg(10.0);
  EXPECT_FALSE(pass_over({ecg.begin(), ecg.begin() + 389}, 16.0));
  EXPECT_TRUE(pass_over({ecg.begin(), ecg.begin() + 390}, 16.0));
  EXPECT_FALSE(pass_over(std::vector<double>(3900, 0.0), 16.0));
}

TEST_F(AnalysisPassTest, ThinsTheChartsTo600To1199Points) {
  for (const double seconds : {60.0, 119.0, 121.0, 300.0}) {
    const auto result = pass_over(make_ecg(seconds), 10.0);
    ASSERT_TRUE(result);
    const auto grid = static_cast<std::size_t>(seconds * 10.0);
    const std::size_t step = grid >= 1200 ? grid / 600 : 1;
    EXPECT_NEAR(static_cast<double>(result->hr_series.size()),
                static_cast<double>(grid) / static_cast<double>(step), 1.0);
    ASSERT_EQ(result->hr_series.size(), result->tvn_series.size());
    EXPECT_EQ(result->hr_series[1].x, 0.1 * static_cast<double>(step));
    EXPECT_FALSE(result->hr_series[1].is_null);
    // Two cycles of 10 s without a TVN value.
    for (const SeriesPoint& point : result->tvn_series) {
      EXPECT_TRUE(point.is_null || point.x > 19.95) << point.x;
    }
  }
}

TEST_F(AnalysisPassTest, WritesTheSeriesAsTheyStandInASnapshot) {
  const auto result = pass_over(make_ecg(25.0), 10.0);
  ASSERT_TRUE(result);
  EXPECT_TRUE(result->tvn_series_json.starts_with(
      R"([{"x":0,"y":null},{"x":0.1,"y":null},{"x":0.2,"y":null},)"));
  EXPECT_TRUE(result->hr_series_json.starts_with(R"([{"x":0,"y":)"));
  EXPECT_TRUE(result->hr_series_json.ends_with("}]"));
  EXPECT_EQ(std::isnan(result->tvn), false);
  EXPECT_EQ(result->ecg_window.size(), 780u);
}

// With a limit below 240 a minute every second beat would be lost.
TEST_F(AnalysisPassTest, FollowsAHeartAt120AndAt240BeatsAMinute) {
  for (const double rr : {0.5, 0.25}) {
    synthetic::EcgSettings settings;
    settings.seconds = 20;
    settings.mean_rr = rr;
    settings.rr_swing = settings.rr_jitter = 0;
    const auto result = pass_over(make_ecg(settings), 10.0);
    ASSERT_TRUE(result);
    EXPECT_NEAR(result->rr_count, (20 - 0.4) / rr, 2.0);
    EXPECT_NEAR(result->hr, 60 / rr, 12.0);  // one sample of the interval, at 240
  }
}

// The breath's swing of the RR intervals makes the rate's last value another one than the first.
TEST_F(AnalysisPassTest, TellsTheNewestRateAndTheLastSixSeconds) {
  const std::vector<double> ecg = make_ecg(44.0);
  const auto result = pass_over(ecg, 10.0);
  ASSERT_TRUE(result);
  ASSERT_EQ(result->hr_series.size(), 440u);
  EXPECT_EQ(result->hr, result->hr_series.back().y);
  EXPECT_GT(std::abs(result->hr - result->hr_series.front().y), 1.0);
  ASSERT_EQ(result->ecg_window.size(), 780u);
  for (std::size_t i = 0; i < 780; ++i) {
    EXPECT_EQ(result->ecg_window[i], std::round(ecg[ecg.size() - 780 + i] * 10) / 10);
  }
}

TEST_F(AnalysisPassTest, TellsBothSeriesApart) {
  const auto result = pass_over(make_ecg(30.0), 10.0);
  ASSERT_TRUE(result);
  for (const SeriesPoint& point : result->hr_series) EXPECT_NEAR(point.y, 70.0, 20.0);
  std::size_t values = 0;
  for (const SeriesPoint& point : result->tvn_series) {
    if (point.is_null) continue;
    EXPECT_LE(std::abs(point.y), 1.0);
    ++values;
  }
  EXPECT_GT(values, 90u);  // ten seconds, at ten a second, after two cycles
  EXPECT_EQ(result->tvn, result->tvn_series.back().y);
}

// A heart that beats like a clock has no TVN value: the newest one is of before.
TEST_F(AnalysisPassTest, TheNewestTvnIsTheLastThereIs) {
  std::vector<double> ecg = make_ecg(60.0);
  const std::size_t clockwork = ecg.size();
  ecg.resize(clockwork + 130 * 40);
  for (std::size_t i = clockwork; i + 1 < ecg.size(); ++i) {
    const std::size_t in_beat = i % 104;
    ecg[i] = in_beat == 50 ? 1000 : in_beat == 49 || in_beat == 51 ? 400 : 0;
  }
  const auto result = pass_over(ecg, 4.0);
  ASSERT_TRUE(result);
  EXPECT_TRUE(result->tvn_series.back().is_null);
  const auto last = std::find_if(result->tvn_series.rbegin(), result->tvn_series.rend(),
                                 [](const SeriesPoint& point) { return !point.is_null; });
  ASSERT_NE(last, result->tvn_series.rend());
  EXPECT_EQ(result->tvn, last->y);
}

TEST_F(AnalysisPassTest, PublishesIntoTheSession) {
  set_replay(make_ecg(30.0));
  analyse_once(engine_);
  EXPECT_TRUE(get(&Engine::tvn_series_json).get().starts_with(R"([{"x":0,"y":null})"));
  EXPECT_TRUE(std::isnan(get(&Engine::tvn)));  // no two cycles of 16 s
  EXPECT_EQ(get(&Engine::ecg_window).size(), 780u);
  EXPECT_NEAR(get(&Engine::hr), 70.0, 30.0);
  EXPECT_GT(get(&Engine::rr_count), 20);
  EXPECT_FALSE(get(&Engine::hr_series).empty());
  EXPECT_EQ(get(&Engine::tvn_series).size(), get(&Engine::hr_series).size());
  EXPECT_TRUE(get(&Engine::hr_series_json).get().starts_with("[{"));
}

TEST_F(AnalysisPassTest, KeepsEarlierResultsWhenAPassFindsNothing) {
  set_replay(make_ecg(30.0));
  analyse_once(engine_);
  const int beats = get(&Engine::rr_count);
  {
    const SessionLock hold(engine_.lock);
    engine_.replay_pos = 100;
  }
  analyse_once(engine_);
  EXPECT_EQ(get(&Engine::rr_count), beats);
}

TEST_F(AnalysisPassTest, ALatePassNeverOverwritesALaterOneOrAnotherRun) {
  set_replay(make_ecg(30.0));
  const PassInput early = take_pass_input(engine_);
  const PassInput late = take_pass_input(engine_);
  PassResult result{};
  result.rr_count = 2;
  EXPECT_TRUE(publish_pass(engine_, late, result));
  result.rr_count = 1;
  EXPECT_FALSE(publish_pass(engine_, early, result));
  EXPECT_EQ(get(&Engine::rr_count), 2);
  const PassInput of_old_run = take_pass_input(engine_);
  {
    const SessionLock hold(engine_.lock);
    reset_for_run(engine_);
  }
  EXPECT_FALSE(publish_pass(engine_, of_old_run, result));
  EXPECT_EQ(get(&Engine::rr_count), 0);
}

TEST_F(AnalysisPassTest, TakesItsInputWithoutCopyingSamples) {
  set_replay(make_ecg(30.0));
  const PassInput input = take_pass_input(engine_);
  const SessionLock hold(engine_.lock);
  EXPECT_EQ(input.ecg.samples().data(), engine_.replay_ecg.samples().data());
}

}  // namespace
}  // namespace tvn
