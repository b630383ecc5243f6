#include "session/analysis_pass.h"

#include <cmath>

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

TEST_F(AnalysisPassTest, PublishesIntoTheSession) {
  set_replay(make_ecg(30.0));
  analyse_once(engine_);
  EXPECT_NEAR(get(&Engine::hr), 70.0, 30.0);
  EXPECT_GT(get(&Engine::rr_count), 20);
  EXPECT_FALSE(get(&Engine::hr_series).empty());
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
