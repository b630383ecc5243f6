#include "session/saved_recordings.h"

#include <gmock/gmock.h>

#include <ctime>
#include <memory>

#include "base/clock.h"
#include "base/names.h"
#include "session/markers.h"
#include "tests/file_limit.h"
#include "tests/session/session_fixture.h"

namespace tvn {
namespace {

class SavedRecordingsTest : public SessionTest {
 protected:
  void set_replay(std::vector<double> samples, std::int64_t played) {
    const SessionLock hold(engine_.lock);
    engine_.mode = "replay";
    engine_.replay_len = static_cast<std::int64_t>(samples.size());
    engine_.replay_ecg = EcgBuffer(std::move(samples));
    engine_.replay_pos = played;
    engine_.name_id = "anna";
    engine_.sex = "F";
  }
  std::string saved_text() {
    std::string text = "(missing)";
    read_file(recordings_dir(engine_) + "/" + get(&Engine::saved_as), text);
    return text;
  }
};

TEST_F(SavedRecordingsTest, NeedASecondOfEcg) {
  set_replay(std::vector<double>(1000, 1.0), 129);
  EXPECT_EQ(save_recording(engine_), R"({"ok":false,"error":"Nothing recorded to save yet."})");
  EXPECT_EQ(get(&Engine::saved_as), "");
  EXPECT_TRUE(std::filesystem::is_empty(recordings_dir(engine_)));
}

TEST_F(SavedRecordingsTest, HoldThePlayedPartAsWholeNumbers) {
  std::vector<double> samples(1000, 7.0);
  const double first[] = {0.4, -0.4, 0.5, -0.5, -12.5, 1e5};
  std::copy(std::begin(first), std::end(first), samples.begin());
  set_replay(samples, 130);
  const std::string reply = save_recording(engine_);
  EXPECT_THAT(reply, testing::MatchesRegex(
                         R"(\{"ok":true,"file":"anna_on5_off11_F40_[0-9]{8}-[0-9]{6}\.csv",)"
                         R"("count":130\})"));
  std::string text = "0\n0\n1\n-1\n-13\n100000\n";
  for (int i = 6; i < 130; ++i) text += "7\n";
  EXPECT_EQ(saved_text(), text);
  EXPECT_FALSE(std::filesystem::exists(
      markers_path(recordings_dir(engine_) + "/" + get(&Engine::saved_as))));
}

TEST_F(SavedRecordingsTest, AreNamedAfterTheParticipantOrTheSource) {
  set_replay(std::vector<double>(200, 1.0), 200);
  {
    const SessionLock hold(engine_.lock);
    engine_.name_id = "";
    engine_.source_label = "Live — Polar H10";
    engine_.indur = 5.5;
    engine_.outdur = 0.05;
    engine_.age = -3;
  }
  save_recording(engine_);
  EXPECT_TRUE(get(&Engine::saved_as).starts_with("Live_____Polar_H10_on5.5_off0.05_F-3_"));
  {
    const SessionLock hold(engine_.lock);
    engine_.name_id = "   ";
  }
  save_recording(engine_);
  EXPECT_TRUE(get(&Engine::saved_as).starts_with("recording_on5.5_"));
}

TEST_F(SavedRecordingsTest, CarryTheirMarkersAndBringThemBack) {
  set_replay(std::vector<double>(200, 1.0), 200);
  {
    const SessionLock hold(engine_.lock);
    engine_.markers = {{100, 4}, {150, 2}};
  }
  save_recording(engine_);
  const std::string path = recordings_dir(engine_) + "/" + get(&Engine::saved_as);
  start_replay(engine_, path, {{"speed", "0"}});
  const std::vector<Marker> markers = get(&Engine::markers);
  ASSERT_EQ(markers.size(), 2u);
  EXPECT_EQ(markers[0].sample_index, 100);
  EXPECT_EQ(markers[0].key, 4);
  EXPECT_EQ(markers[1].sample_index, 150);
  EXPECT_EQ(get(&Engine::replay_len), 200);
}

TEST_F(SavedRecordingsTest, ReplaceOneAnotherWithinASecond) {
  set_replay(std::vector<double>(200, 1.0), 200);
  const std::time_t now = std::time(nullptr);
  while (std::time(nullptr) == now) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  save_recording(engine_);  // a second has just begun
  {
    const SessionLock hold(engine_.lock);
    engine_.replay_pos = 150;
  }
  save_recording(engine_);
  EXPECT_EQ(saved_text().size(), 150u * 2);
  const std::filesystem::directory_iterator files(recordings_dir(engine_)), end;
  EXPECT_EQ(std::distance(files, end), 1);
}

TEST_F(SavedRecordingsTest, TellWhenTheFileCannotBeWritten) {
  set_replay(std::vector<double>(200, 1.0), 200);
  std::filesystem::remove_all(recordings_dir(engine_));
  EXPECT_EQ(save_recording(engine_), R"({"ok":false,"error":"write failed"})");
  EXPECT_EQ(get(&Engine::saved_as), "");
}

// The text leaves it unsaid that the markers are missing; the result says it.
TEST_F(SavedRecordingsTest, SucceedWithoutTheirMarkerListButSayItsName) {
  set_replay(std::vector<double>(200, 1.0), 200);
  const SessionLock hold(engine_.lock);
  engine_.markers = {{100, 4}};
  const RecordingToSave recording = take_recording(engine_);
  const std::string list = markers_path(recordings_dir(engine_) + "/" + recording.file_name);
  std::filesystem::create_directory(list);
  const SaveResult result = save_recording(engine_, recording);
  EXPECT_THAT(result.reply, testing::StartsWith(R"({"ok":true,)"));
  EXPECT_THAT(result.failed, testing::ElementsAre(file_name_of(list)));
}

TEST_F(SavedRecordingsTest, LeaveNothingOnAFullDisk) {
  set_replay(std::vector<double>(20000, 1.0), 20000);
  const FileLimit full(1000);
  EXPECT_EQ(save_recording(engine_), R"({"ok":false,"error":"write failed"})");
  EXPECT_TRUE(std::filesystem::is_empty(recordings_dir(engine_)));
}

TEST_F(SavedRecordingsTest, HoldUpTheEndForAsLongAsIsSaid) {
  wait_for_files(engine_, 60.0);  // nothing is under way
  auto writing = std::make_unique<WritingFiles>(engine_);
  const double begun = monotonic_seconds();
  wait_for_files(engine_, 0.1);
  EXPECT_GE(monotonic_seconds() - begun, 0.1);
  std::thread ending([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    writing.reset();
  });
  wait_for_files(engine_, 60.0);
  EXPECT_LT(monotonic_seconds() - begun, 10.0);
  ending.join();
}

}  // namespace
}  // namespace tvn
