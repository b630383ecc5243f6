#include "session/tfr_job.h"

#include "analysis/beats/r_peaks.h"
#include "analysis/tfr/fast.h"
#include "analysis/tfr/image.h"
#include "picture/base64.h"
#include "picture/png.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/session/scarce_memory.h"
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
    return {recorded_ecg(engine_), engine_.cycle_seconds, 77,
            engine_.age,           engine_.run_number,    "It failed."};
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
  set_replay(std::vector<double>(390, 0.0));
  start_tfr_job(engine_);
  EXPECT_TRUE(wait_until([this] { return error() == k_too_short; }));
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
  EXPECT_TRUE(get(&Engine::tfr_image_high_time).get().starts_with(begin));
  EXPECT_TRUE(get(&Engine::tfr_image_high_frequency).get().starts_with(begin));
  EXPECT_NE(get(&Engine::tfr_image_high_time).get(), get(&Engine::tfr_image_high_frequency).get());
}

// For each limit the job fails somewhere else: at the signal, at the spectra, at the pictures.
TEST_F(TfrJobTest, RunningOutOfMemoryIsAnErrorOfTheJobOnly) {
  set_replay(synthetic::make_ecg(100.0));
  for (const std::size_t largest : {50'000u, 400'000u, 1'600'000u}) {
    const ScarceMemory scarce(largest);
    start_tfr_job(engine_);
    ASSERT_TRUE(wait_until([this] { return status() != "computing"; }));
    EXPECT_EQ(status(), "error") << largest;
    EXPECT_EQ(error(), k_too_short);
    EXPECT_FALSE(get(&Engine::tfr_ready));
  }
  start_tfr_job(engine_);
  ASSERT_TRUE(wait_until([this] { return status() != "computing"; }));
  EXPECT_EQ(status(), "done");
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

// The expected pictures are put together here from the numbers, step by step.
TEST_F(TfrJobTest, DrawsEachMatrixWithItsOwnScaleIntoItsOwnPicture) {
  const std::vector<double> ecg = synthetic::make_ecg(60.0);
  set_replay(ecg);
  const auto job = compute_tfr_job(input());
  ASSERT_TRUE(job);
  const TfrPictures tfr =
      compute_tfr_pictures(ecg.size(), detect_rr_intervals(ecg, 300, 130.0), 16.0, 130.0);
  TfrImageSettings settings{tfr.expected_row, 77, 40, false, 0, 0, 16.0, 130.0, 1.5};
  const auto url = [&](const TfrPicture& picture, double centre, double half_range) {
    settings.centre = centre;
    settings.half_range = half_range;
    return "data:image/png;base64," +
           base64_encode(png_file(render_tfr_picture(picture, ecg.size(), settings)));
  };
  EXPECT_TRUE(job->image_high_time == url(tfr.tfr3, tfr.tfr3_centre, tfr.tfr3_half_range));
  EXPECT_TRUE(job->image_high_frequency == url(tfr.tfr10, tfr.tfr10_centre, tfr.tfr10_half_range));
  EXPECT_EQ(job->cycle_log_power, tfr.cycle_log_power);
}

TEST_F(TfrJobTest, TakesOnlyTheOneLetterFForAWoman) {
  set_replay(synthetic::make_ecg(40.0));
  TfrJobInput person = input();
  const std::string man = compute_tfr_job(person)->image_high_frequency;
  person.sex_code = 70;
  const std::string woman = compute_tfr_job(person)->image_high_frequency;
  for (const char* sex : {"F", "M", "", "f", "FF"}) {
    {
      const SessionLock hold(engine_.lock);
      engine_.sex = sex;
    }
    start_tfr_job(engine_);
    ASSERT_TRUE(wait_until([this] { return status() == "done"; }));
    const bool as_woman = std::string(sex) == "F";
    EXPECT_TRUE(get(&Engine::tfr_image_high_frequency).get() == (as_woman ? woman : man)) << sex;
    const SessionLock hold(engine_.lock);
    engine_.tfr_status = "idle";
  }
}

TEST_F(TfrJobTest, AJobUnderWayIsNotDisturbedByASeekBack) {
  set_replay(synthetic::make_ecg(40.0));
  TfrJobInput under_way = input();
  {
    const SessionLock hold(engine_.lock);
    engine_.tfr_status = "computing";
    engine_.replay_pos = 100;
  }
  start_tfr_job(engine_);
  EXPECT_EQ(status(), "computing");
  EXPECT_EQ(error(), "");
  run_tfr_job(engine_, under_way);
  EXPECT_EQ(status(), "done");
  EXPECT_EQ(error(), "");
}

}  // namespace
}  // namespace tvn
