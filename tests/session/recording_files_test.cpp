#include "session/recording_files.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "base/clock.h"
#include "base/files.h"
#include "session/markers.h"
#include "tests/faulty_sync.h"
#include "tests/file_limit.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::time_t k_when = 1735722600;

TEST(RecordingFileName, SaysWhoAndHowAndWhen) {
  const std::string time = local_time_text(k_when, "%Y%m%d-%H%M%S");
  EXPECT_EQ(recording_file_name({"anna", 5, 11, "F", 40}, k_when),
            "anna_on5_off11_F40_" + time + ".csv");
  EXPECT_EQ(recording_file_name({"anna", 5.5, 0.05, "M", -3}, k_when, "recovered_"),
            "recovered_anna_on5.5_off0.05_M-3_" + time + ".csv");
}

// 255 bytes are the most; the marker list's name is longer by 8 than the recording's.
TEST(RecordingFileName, ALongNameIsCutSoThatItsMarkerListHasOneToo) {
  for (const std::size_t length : {200u, 213u, 214u, 222u, 255u, 300u, 5000u}) {
    const std::string name =
        recording_file_name({std::string(length, 'n'), 5, 11, "F", 40}, k_when, "recovered_");
    EXPECT_EQ(markers_path(name).size(), std::min<std::size_t>(length + 10 + 30 + 12, 255));
  }
}

TEST(WriteRecording, ALongNameIsWrittenWithItsMarkers) {
  const TemporaryFolder folder;
  const std::string name =
      recording_file_name({std::string(300, 'n'), 1.23456e-300, 1e300, "F", -2000000000}, k_when);
  EXPECT_THAT(write_recording(folder / name, std::vector<double>{1, 2}, {{1, 3}}), IsEmpty());
  EXPECT_EQ(read_markers(folder / name).size(), 1u);
}

#ifdef __linux__
TEST(WriteRecording, BothFilesAreBroughtToTheDisk) {
  const TemporaryFolder folder;
  std::vector<std::string> synced;
  const FaultySync watch([&](const std::string& path) { read_file(path, synced.emplace_back()); });
  write_recording(folder / "a.csv", std::vector<double>(3, 1.0), {{130, 4}});
  EXPECT_THAT(synced, ElementsAre("1\n1\n1\n", "marker,sample_index,seconds\n4,130,1.000\n"));
}
#endif

TEST(WriteRecording, SaysWhichFileFailed) {
  const TemporaryFolder folder;
  const std::vector<double> second(130, 1.0);
  EXPECT_THAT(write_recording(folder / "no/a.csv", second, {{1, 3}}), ElementsAre("a.csv"));
  fs::create_directory(folder / "b_markers.csv");
  EXPECT_THAT(write_recording(folder / "b.csv", second, {{1, 3}}), ElementsAre("b_markers.csv"));
  EXPECT_TRUE(is_readable_file(folder / "b.csv"));
  const FileLimit full(100);
  EXPECT_THAT(write_recording(folder / "c.csv", second, {}), ElementsAre("c.csv"));
  EXPECT_FALSE(fs::exists(folder / "c.csv"));
}

}  // namespace
}  // namespace tvn
