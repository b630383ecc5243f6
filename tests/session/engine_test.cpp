#include "session/engine.h"

#include <cmath>

#include "tests/session/session_fixture.h"

namespace tvn {
namespace {

using EngineTest = SessionTest;

TEST_F(EngineTest, FoldersAreThoseOfTheDataFolder) {
  engine_.data_dir = "/a b/";
  EXPECT_EQ(recordings_dir(engine_), "/a b//recordings");
  EXPECT_EQ(sample_data_dir(engine_), "/a b//sample_data");
  engine_.data_dir = folder_.path();
}

TEST_F(EngineTest, ElapsedSamplesGoByTheMode) {
  const SessionLock hold(engine_.lock);
  engine_.replay_ecg = EcgBuffer({1, 2, 3});
  engine_.replay_pos = 2;
  engine_.live_ecg.append(std::vector<double>(7, 0.0));
  EXPECT_EQ(elapsed_samples(engine_), 0);
  EXPECT_EQ(recorded_ecg(engine_).size(), 0u);
  engine_.mode = "replay";
  EXPECT_EQ(elapsed_samples(engine_), 2);
  EXPECT_EQ(recorded_ecg(engine_).size(), 2u);
  engine_.mode = "live";
  EXPECT_EQ(elapsed_samples(engine_), 7);
  EXPECT_EQ(recorded_ecg(engine_).size(), 7u);
}

TEST_F(EngineTest, AResetClearsResultsAndJobStatesOnly) {
  const SessionLock hold(engine_.lock);
  engine_.mode = "replay";
  engine_.replay_ecg = EcgBuffer({1, 2, 3});
  engine_.name_id = engine_.source_label = engine_.bt_status = "kept";
  engine_.batch_status = "running";
  engine_.hr = engine_.tvn = 1.0;
  engine_.rr_count = 5;
  engine_.hr_series = engine_.tvn_series = {{0.0, 1.0, false}};
  engine_.ecg_window = {1.0};
  engine_.markers = {{1, 1}};
  engine_.tfr_status = engine_.export_status = "done";
  engine_.tfr_error = engine_.export_error = engine_.export_result = engine_.saved_as = "x";
  engine_.tfr_image_high_time = engine_.tfr_image_high_frequency = SharedText("x");
  engine_.tfr_cycle_log_power = {1.0};
  engine_.tfr_ready = true;
  reset_for_run(engine_);
  EXPECT_TRUE(std::isnan(engine_.hr) && std::isnan(engine_.tvn));
  EXPECT_EQ(engine_.rr_count, 0);
  EXPECT_TRUE(engine_.hr_series.empty() && engine_.tvn_series.empty());
  EXPECT_TRUE(engine_.ecg_window.empty() && engine_.markers.empty());
  EXPECT_EQ(engine_.tfr_status + engine_.export_status, "idleidle");
  EXPECT_EQ(engine_.tfr_error + engine_.export_error + engine_.export_result, "");
  EXPECT_EQ(engine_.saved_as, "");
  EXPECT_EQ(engine_.tfr_image_high_time.get() + engine_.tfr_image_high_frequency.get(), "");
  EXPECT_TRUE(engine_.tfr_cycle_log_power.empty() && !engine_.tfr_ready);
  EXPECT_NEAR(static_cast<double>(engine_.run_started_at), static_cast<double>(time(nullptr)), 2.0);
  EXPECT_EQ(engine_.mode, "replay");
  EXPECT_EQ(engine_.replay_ecg.size(), 3u);
  EXPECT_EQ(engine_.name_id + engine_.source_label + engine_.bt_status, "keptkeptkept");
  EXPECT_EQ(engine_.batch_status, "running");
}

}  // namespace
}  // namespace tvn
