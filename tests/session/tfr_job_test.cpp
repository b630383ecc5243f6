#include "session/tfr_job.h"

#include "tests/analysis/synthetic_ecg.h"
#include "tests/session/session_fixture.h"

namespace tvn {
namespace {

class TfrJobTest : public SessionTest {
 protected:
  void set_replay(std::vector<double> samples) {
    const SessionLock hold(engine_.lock);
    engine_.mode = "replay";
    engine_.replay_len = engine_.replay_pos = static_cast<std::int64_t>(samples.size());
    engine_.replay_ecg = EcgBuffer(std::move(samples));
  }
  TfrJobInput input() {
    const SessionLock hold(engine_.lock);
    return {recorded_ecg(engine_), engine_.cycle_seconds, 77, engine_.age, engine_.run_number};
  }
  std::string status() { return get(&Engine::tfr_status); }
  std::string error() { return get(&Engine::tfr_error); }
};

const std::string k_too_short = "Could not compute TFR (recording may be too short).";

TEST_F(TfrJobTest, NeedsThreeSeconds) {
  set_replay(std::vector<double>(389, 0.0));
  start_tfr_job(engine_);
  EXPECT_EQ(status(), "error");
  EXPECT_EQ(error(), "Not enough data recorded yet.");
}

TEST_F(TfrJobTest, TellsWhenThereIsTooLittleToCompute) {
  set_replay(std::vector<double>(130 * 60, 0.0));  // no beats
  start_tfr_job(engine_);
  ASSERT_TRUE(wait_until([this] { return status() != "computing"; }));
  EXPECT_EQ(status(), "error");
  EXPECT_EQ(error(), k_too_short);
  set_replay(synthetic::make_ecg(15.0));  // beats enough, but no whole cycle of 16 s
  start_tfr_job(engine_);
  ASSERT_TRUE(wait_until([this] { return status() != "computing"; }));
  EXPECT_EQ(error(), k_too_short);
}

TEST_F(TfrJobTest, PublishesTwoPicturesAndTheLogPowerOfEachCycle) {
  set_replay(synthetic::make_ecg(100.0));
  start_tfr_job(engine_);
  ASSERT_TRUE(wait_until([this] { return status() != "computing"; }));
  EXPECT_EQ(status(), "done");
  EXPECT_EQ(error(), "");
  EXPECT_TRUE(get(&Engine::tfr_ready));
  EXPECT_EQ(get(&Engine::tfr_cycle_log_power).size(), 6u);  // 100 s hold 6 cycles of 16 s
  // A PNG's first bytes and its size of 1200 x 480 (320 rows stretched by 1.5) in base64.
  const std::string begin = "data:image/png;base64,iVBORw0KGgoAAAANSUhEUgAABLAAAAHg";
  EXPECT_TRUE(get(&Engine::tfr_image_high_time).starts_with(begin));
  EXPECT_TRUE(get(&Engine::tfr_image_high_frequency).starts_with(begin));
  EXPECT_NE(get(&Engine::tfr_image_high_time), get(&Engine::tfr_image_high_frequency));
}

TEST_F(TfrJobTest, StartsNothingWhileOneComputes) {
  set_replay(synthetic::make_ecg(40.0));
  {
    const SessionLock hold(engine_.lock);
    engine_.tfr_status = "computing";
  }
  start_tfr_job(engine_);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_EQ(status(), "computing");  // a job would have ended long ago
}

TEST_F(TfrJobTest, PublishesNothingIntoALaterRun) {
  for (const double seconds : {40.0, 5.0}) {  // one that succeeds and one that fails
    set_replay(synthetic::make_ecg(seconds));
    const TfrJobInput of_old_run = input();
    {
      const SessionLock hold(engine_.lock);
      reset_for_run(engine_);
    }
    run_tfr_job(engine_, of_old_run);
    EXPECT_EQ(status(), "idle");
    EXPECT_EQ(error(), "");
    EXPECT_FALSE(get(&Engine::tfr_ready));
  }
}

TEST_F(TfrJobTest, DrawsForThePersonsSexAndAge) {
  set_replay(synthetic::make_ecg(40.0));
  TfrJobInput man = input();
  TfrJobInput woman = man;
  woman.sex_code = 70;
  TfrJobInput old_man = man;
  old_man.age = 80;
  const auto image = [](const TfrJobInput& person) {
    return compute_tfr_job(person)->image_high_frequency;
  };
  EXPECT_EQ(image(man), image(man));
  EXPECT_NE(image(man), image(woman));
  EXPECT_NE(image(man), image(old_man));
}

}  // namespace
}  // namespace tvn
