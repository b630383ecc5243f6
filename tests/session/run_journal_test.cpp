#include "session/run_journal.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "base/clock.h"
#include "session/markers.h"
#include "session/saved_recordings.h"
#include "tests/faulty_sync.h"
#include "tests/file_limit.h"
#include "tests/sensor/log_folder.h"
#include "tests/session/live_run_fixture.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using RunJournalTest = LiveRunTest;

TEST_F(RunJournalTest, HoldsWhatArrivedWithinASecond) {
  start();
  send(10);
  EXPECT_TRUE(add_marker(engine_, 4));
  const double begun = monotonic_seconds();
  ASSERT_TRUE(journal_reaches(1300));
  EXPECT_LT(monotonic_seconds() - begun, 1.0);
  send(1);
  ASSERT_TRUE(journal_reaches(1430));
  const JournalContent content = journal();
  EXPECT_EQ(content.samples, ramp(0, 1430));
  EXPECT_EQ(content.settings, (RecordingSettings{"anna", 4, 6, "F", 40}));
  ASSERT_THAT(content.markers, SizeIs(1));
  EXPECT_EQ(content.markers[0].sample_index, 1300);
}

TEST_F(RunJournalTest, IsHiddenAndForTheUserAlone) {
  start();
  ASSERT_THAT(journals(), SizeIs(1));
  EXPECT_EQ(fs::status(folder_ / journals()[0]).permissions(), fs::perms(0600));
  EXPECT_THAT(recordings(), IsEmpty());
}

// Rounds later are too late for a crash in the first half of a second.
TEST_F(RunJournalTest, KnowsTheSettingsFromTheStart) {
  start();
  EXPECT_EQ(journal().settings, (RecordingSettings{"anna", 4, 6, "F", 40}));
}

TEST_F(RunJournalTest, FollowsSettingsThatChangeDuringTheRun) {
  start();
  {
    const SessionLock hold(engine_.lock);
    engine_.name_id = "Eva";
    engine_.age = 51;
  }
  EXPECT_TRUE(wait_until([this] { return journal().settings.base_name == "Eva"; }));
  EXPECT_EQ(journal().settings.age, 51);
}

TEST_F(RunJournalTest, StoppingTheRunKeepsItToTheLastSample) {
  start();
  send(10);
  stop(engine_);
  EXPECT_EQ(journal().samples.size(), 1300u);
  stop(engine_);
  EXPECT_THAT(journals(), SizeIs(1));
}

TEST_F(RunJournalTest, ASaveOfTheWholeRunRemovesIt) {
  start();
  send(10);
  stop(engine_);
  EXPECT_THAT(save_recording(engine_), StartsWith(R"({"ok":true)"));
  EXPECT_THAT(journals(), IsEmpty());
}

TEST_F(RunJournalTest, ASaveDuringTheRunIsNotedAndTheRestKept) {
  start();
  send(10);
  save_recording(engine_);
  send(5);
  stop(engine_);
  EXPECT_EQ(journal().saved, 1300u);
  EXPECT_EQ(journal().samples.size(), 1950u);
  save_recording(engine_);
  EXPECT_THAT(journals(), IsEmpty());
}

TEST_F(RunJournalTest, ASaveAsTheLastThingOfARunLeavesNothing) {
  start();
  send(10);
  save_recording(engine_);
  stop(engine_);
  EXPECT_THAT(journals(), IsEmpty());
}

// Neither a recording that could not be written nor one whose markers could not.
TEST_F(RunJournalTest, ASaveThatFailsRemovesNothing) {
  start();
  send(10);
  add_marker(engine_, 1);
  stop(engine_);
  {
    const FileLimit full(100);
    EXPECT_THAT(save_recording(engine_), StartsWith(R"({"ok":false)"));
  }
  EXPECT_EQ(journal().saved, 0u);
  const auto recording = [this] {
    const SessionLock hold(engine_.lock);
    return take_recording(engine_);
  }();
  fs::create_directory(markers_path(recordings_dir(engine_) + "/" + recording.file_name));
  EXPECT_THAT(save_recording(engine_, recording).reply, StartsWith(R"({"ok":true)"));
  EXPECT_EQ(journals().size(), 1u);
  EXPECT_EQ(journal().saved, 0u);
  EXPECT_EQ(get(&Engine::saved_samples), 0u);
}

// What fits before the disk is full stays readable.
TEST_F(RunJournalTest, AFullDiskEndsItAndNotTheRun) {
  const LogFolder log;
  testing::internal::CaptureStderr();
  start();
  send(1);
  ASSERT_TRUE(journal_reaches(130));
  {
    const FileLimit full(fs::file_size(folder_ / journals()[0]) + 100);
    send(10);
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
  }
  send(1);
  stop(engine_);
  const std::string told =
      "The journal of this run ends: " + folder_ / journals()[0] + ": File too large";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), told + "\n");
  EXPECT_THAT(log.lines(), testing::ElementsAre(told));
  EXPECT_EQ(journal().samples, ramp(0, 130));
  EXPECT_FALSE(journal().damaged);
  EXPECT_EQ(get(&Engine::live_ecg).size(), 12u * 130);
}

TEST_F(RunJournalTest, AFolderThatCannotBeWrittenDoesNotStopTheRun) {
  engine_.data_dir = folder_ / "missing";
  testing::internal::CaptureStderr();
  start();
  send(1);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::EndsWith("/missing: No such file or directory\n"));
  EXPECT_TRUE(engine_.running);
  EXPECT_EQ(get(&Engine::live_ecg).size(), 130u);
  stop(engine_);
  engine_.data_dir = folder_.path();
}

// A marker that is set while the strap is silent.
TEST_F(RunJournalTest, AMarkerAfterTheSaveIsNotForgotten) {
  start();
  send(10);
  EXPECT_TRUE(add_marker(engine_, 1));
  save_recording(engine_);
  EXPECT_TRUE(wait_until([this] { return journal().saved_markers == 1; }));
  send(0.1);
  save_recording(engine_);
  EXPECT_TRUE(add_marker(engine_, 2));
  stop(engine_);
  EXPECT_EQ(journal().samples.size(), 1313u);
  EXPECT_EQ(journal().saved, 1313u);
  EXPECT_EQ(journal().saved_markers, 1u);
  EXPECT_THAT(journal().markers, SizeIs(2));
  save_recording(engine_);
  EXPECT_THAT(journals(), IsEmpty());
}

#ifdef __linux__
TEST_F(RunJournalTest, ADiskThatDoesNotTakeItIsTold) {
  const LogFolder log;
  testing::internal::CaptureStderr();
  {
    const FaultySync broken(nullptr, nullptr, EIO);
    start();
    send(1);
    stop(engine_);
  }
  ASSERT_THAT(journals(), SizeIs(1));
  const std::string told =
      "The journal of this run ends: " + folder_ / journals()[0] + ": Input/output error";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), told + "\n");
  EXPECT_THAT(log.lines(), testing::Contains(told));
  EXPECT_EQ(journal().samples.size(), sent_);
}

// A power cut costs ten seconds, a kill one, also while the disk stalls.
TEST_F(RunJournalTest, IsBroughtToTheDiskWithinTenSecondsAndAppendedToMeanwhile) {
  std::atomic<int> begun = 0;
  std::atomic<int> ended = 0;
  const FaultySync slow([&](const std::string& path) {
    EXPECT_TRUE(path.ends_with(k_journal_suffix)) << path;
    ++begun;
    std::this_thread::sleep_for(std::chrono::seconds(3));
    ++ended;
  });
  start();
  send(1);
  ASSERT_TRUE(wait_until([&] { return begun == 1; }, 10.0));
  for (std::size_t samples = 260; ended == 0; samples += 130) {
    const double sent = monotonic_seconds();
    send(1);
    ASSERT_TRUE(journal_reaches(samples));
    EXPECT_LT(monotonic_seconds() - sent, 1.0);
  }
  send(1);
  stop(engine_);
  EXPECT_EQ(begun, 2) << "the end, too, is brought to the disk";
  EXPECT_EQ(journal().samples.size(), sent_);
}
#endif

TEST_F(RunJournalTest, AReplayHasNone) {
  start_replay(engine_, write_recording("a.csv", ramp(0, 1000)), {{"speed", "0"}});
  EXPECT_THAT(journals(), IsEmpty());
}

}  // namespace
}  // namespace tvn
