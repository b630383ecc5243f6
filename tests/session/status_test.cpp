#include "session/status.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "base/clock.h"
#include "tests/session/session_fixture.h"

namespace tvn {
namespace {

using StatusTest = SessionTest;

// The text between `"key":` and the next top-level key, given as `next`.
std::string value_of(const std::string& json, const std::string& key, const std::string& next) {
  const std::size_t start = json.find("\"" + key + "\":") + key.size() + 3;
  return json.substr(start, json.find(",\"" + next + "\":") - start);
}

std::size_t count_of(const std::string& text, char c) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), c));
}

TEST_F(StatusTest, OfAFreshProgramIsThisText) {
  EXPECT_EQ(status_json(engine_),
            R"({"mode":"idle","running":false,"name_id":"","source_label":"","bt_status":"",)"
            R"("elapsed":0,"total":256,"frac":0,"cycles_done":0,"cycles_target":16,"hr":null,)"
            R"("tvn":null,"rr_count":0,"ecg":[],"hr_series":[],"tvn_series":[],"indur":5,)"
            R"("outdur":11,"cycle_seconds":16,"expected_freq":0.0625,"sex":"M","age":40,)"
            R"("tfr_status":"idle","saved_as":null,"export_status":"idle","markers":[],)"
            R"("app_version":"1.0.0"})");
}

TEST_F(StatusTest, RoundsWhatItShows) {
  const SessionLock hold(engine_.lock);
  engine_.mode = "replay";
  engine_.replay_ecg = EcgBuffer(std::vector<double>(2000, 12.345));
  engine_.replay_len = 2000;
  engine_.replay_pos = 1234;
  engine_.hr = 61.849;
  engine_.tvn = -0.12345;
  engine_.rr_count = 7;
  engine_.markers = {{1300, 3}, {1400, 9}};
  engine_.saved_as = "a.csv";
  const std::string json = status_json(engine_);
  EXPECT_EQ(value_of(json, "elapsed", "total"), "9.5");  // 1234 / 130 = 9.492
  EXPECT_EQ(value_of(json, "total", "frac"), "15.4");    // 2000 / 130 = 15.385
  EXPECT_EQ(value_of(json, "frac", "cycles_done"), "0.617");
  EXPECT_EQ(value_of(json, "cycles_done", "cycles_target"), "0.59");
  EXPECT_EQ(value_of(json, "hr", "tvn"), "61.8");
  EXPECT_EQ(value_of(json, "tvn", "rr_count"), "-0.123");
  EXPECT_EQ(value_of(json, "markers", "app_version"), R"([{"t":10,"k":3},{"t":10.8,"k":9}])");
  EXPECT_EQ(value_of(json, "saved_as", "export_status"), R"("a.csv")");
  const std::string ecg = value_of(json, "ecg", "hr_series");
  EXPECT_TRUE(ecg.starts_with("[12.3,12.3,"));
  EXPECT_EQ(count_of(ecg, ',') + 1, 780u);
}

TEST_F(StatusTest, ShowsAReplayUpToItsPosition) {
  const SessionLock hold(engine_.lock);
  engine_.mode = "replay";
  engine_.replay_ecg = EcgBuffer({1, 2, 3, 4});
  engine_.replay_len = 4;
  std::string json = status_json(engine_);
  EXPECT_EQ(value_of(json, "ecg", "hr_series"), "[]");
  EXPECT_EQ(value_of(json, "frac", "cycles_done"), "0");
  EXPECT_EQ(value_of(json, "total", "frac"), "0");
  engine_.replay_pos = 3;
  json = status_json(engine_);
  EXPECT_EQ(value_of(json, "ecg", "hr_series"), "[1,2,3]");
  EXPECT_EQ(value_of(json, "frac", "cycles_done"), "0.75");
}

TEST_F(StatusTest, OfAnEmptyReplayCountsThePlannedLength) {
  const SessionLock hold(engine_.lock);
  engine_.mode = "replay";
  const std::string json = status_json(engine_);
  EXPECT_EQ(value_of(json, "total", "frac"), "0");
  EXPECT_EQ(value_of(json, "frac", "cycles_done"), "0");
}

// Sample i has the value i, so that the excerpt tells where it was cut. More samples have arrived
// than the clock has made due.
TEST_F(StatusTest, HoldsALiveTraceBackBy52Samples) {
  const SessionLock hold(engine_.lock);
  engine_.mode = "live";
  std::vector<double> samples(10000);
  std::iota(samples.begin(), samples.end(), 0.0);
  engine_.live_ecg.append(samples);
  const double clock_start = monotonic_seconds() - 10.0;
  engine_.live_clock_start = clock_start;
  const auto due = [clock_start] { return (monotonic_seconds() - clock_start) * 130.0; };
  const double due_before = std::floor(due());
  const std::string ecg = value_of(status_json(engine_), "ecg", "hr_series");
  const double due_after = std::floor(due());
  EXPECT_EQ(count_of(ecg, ',') + 1, 780u);
  const double first = std::stod(ecg.substr(1));
  const double last = std::stod(ecg.substr(ecg.rfind(',') + 1));
  EXPECT_EQ(last - first, 779.0);
  EXPECT_GE(last, due_before - 53.0);  // the end is 52 samples back, exclusive
  EXPECT_LE(last, due_after - 53.0);
}

TEST_F(StatusTest, ShowsNothingInTheFirstMomentsOfALiveRun) {
  const SessionLock hold(engine_.lock);
  engine_.mode = "live";
  engine_.live_ecg.append(std::vector<double>(73, 5.0));
  EXPECT_EQ(count_of(value_of(status_json(engine_), "ecg", "hr_series"), '5'), 73u);
  engine_.live_clock_start = monotonic_seconds() - 0.2;
  EXPECT_EQ(value_of(status_json(engine_), "ecg", "hr_series"), "[]");
  // Once the sender has stopped, what arrived is shown to its end.
  engine_.live_clock_start = monotonic_seconds() - 60.0;
  EXPECT_EQ(count_of(value_of(status_json(engine_), "ecg", "hr_series"), '5'), 73u);
}

// A tenth of 16 cycles of 16 s: 3,328 of 33,280 samples.
TEST_F(StatusTest, ALiveRunsProgressIsThatThroughItsPlannedCycles) {
  const SessionLock hold(engine_.lock);
  engine_.mode = "live";
  engine_.live_ecg.append(std::vector<double>(3328, 0.0));
  const std::string json = status_json(engine_);
  EXPECT_EQ(value_of(json, "frac", "cycles_done"), "0.1");
  EXPECT_EQ(value_of(json, "total", "frac"), "256");
}

TEST_F(StatusTest, LimitsALiveRunsProgressToOne) {
  const SessionLock hold(engine_.lock);
  engine_.mode = "live";
  engine_.cycle_seconds = 0.1;
  engine_.live_ecg.append(std::vector<double>(1300, 0.0));
  const std::string json = status_json(engine_);
  EXPECT_EQ(value_of(json, "frac", "cycles_done"), "1");
  EXPECT_EQ(value_of(json, "total", "frac"), "1.6");
  EXPECT_EQ(value_of(json, "cycles_done", "cycles_target"), "100");
}

TEST_F(StatusTest, WritesNullForWhatAZeroCycleLeavesUndefined) {
  const SessionLock hold(engine_.lock);
  engine_.cycle_seconds = 0.0;
  const std::string json = status_json(engine_);
  EXPECT_EQ(value_of(json, "cycles_done", "cycles_target"), "null");
  EXPECT_EQ(value_of(json, "expected_freq", "sex"), "0");
  EXPECT_EQ(value_of(json, "frac", "cycles_done"), "0");
}

TEST_F(StatusTest, TellsTheFrequencyOfTheCycle) {
  const SessionLock hold(engine_.lock);
  for (const auto& [cycle, frequency] :
       {std::pair(10.0, "0.1"), std::pair(9.95, "0.1005"), std::pair(0.1, "10")}) {
    engine_.cycle_seconds = cycle;
    EXPECT_EQ(value_of(status_json(engine_), "expected_freq", "sex"), frequency);
  }
}

TEST_F(StatusTest, TellsBothSeriesApart) {
  const SessionLock hold(engine_.lock);
  engine_.hr_series_json = SharedText(R"([{"x":0,"y":61}])");
  engine_.tvn_series_json = SharedText(R"([{"x":0,"y":-0.5}])");
  const std::string json = status_json(engine_);
  EXPECT_EQ(value_of(json, "hr_series", "tvn_series"), R"([{"x":0,"y":61}])");
  EXPECT_EQ(value_of(json, "tvn_series", "indur"), R"([{"x":0,"y":-0.5}])");
}

TEST_F(StatusTest, EscapesTexts) {
  const SessionLock hold(engine_.lock);
  engine_.name_id = "a\"b\nc";
  engine_.source_label = "x\\y\tz";
  const std::string json = status_json(engine_);
  EXPECT_EQ(value_of(json, "name_id", "source_label"), R"("a\"b\nc")");
  EXPECT_EQ(value_of(json, "source_label", "bt_status"), "\"x\\\\y\tz\"");
}

}  // namespace
}  // namespace tvn
