#include "export/export_job.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <new>

#include "analysis/beats/r_peaks.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/file_limit.h"
#include "tests/session/scarce_memory.h"
#include "tests/session/session_fixture.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class ExportJobTest : public SessionTest {
 protected:
  ExportJobTest() {
    const SessionLock hold(engine_.lock);
    engine_.run_started_at = 1700000000;
  }
  ~ExportJobTest() override {
    wait_until([this] { return status() != "exporting"; });
  }

  // A replay of which `played` samples have been played.
  void set_replay(std::vector<double> samples, std::size_t played) {
    const SessionLock hold(engine_.lock);
    engine_.mode = "replay";
    engine_.name_id = "Jane Doe";
    engine_.replay_len = static_cast<std::int64_t>(samples.size());
    engine_.replay_pos = static_cast<std::int64_t>(played);
    engine_.replay_ecg = EcgBuffer(std::move(samples));
  }
  void set_replay(std::vector<double> samples) {
    const std::size_t n = samples.size();
    set_replay(std::move(samples), n);
  }
  void set_markers(std::vector<Marker> markers) {
    const SessionLock hold(engine_.lock);
    engine_.markers = std::move(markers);
  }
  void export_now() {
    start_export(engine_);
    ASSERT_TRUE(wait_until([this] { return status() != "exporting"; }));
  }
  std::string status() { return get(&Engine::export_status); }
  std::string exports() { return folder_ / "exports"; }
  std::string content(const std::string& name, const std::string& folder = "Jane_Doe_export") {
    std::string text = "(missing)";
    read_file(exports() + "/" + folder + "/" + name, text);
    return text;
  }
};

const std::string k_result = R"({"folder":"Jane_Doe_export"})";

TEST_F(ExportJobTest, WritesSixFilesAndSavesTheRecording) {
  set_replay(synthetic::make_ecg(100.0));
  set_markers({{260, 4}, {2080, 1}});
  export_now();
  EXPECT_EQ(status(), "done");
  EXPECT_EQ(get(&Engine::export_result), k_result);
  EXPECT_EQ(get(&Engine::export_error), "");
  EXPECT_THAT(
      names_in(exports() + "/Jane_Doe_export"),
      ElementsAre("Jane_Doe.edf", "Jane_Doe_ECG.txt", "Jane_Doe_HR.txt",
                  "Jane_Doe_TVN_logpower.csv", "Jane_Doe_markers.csv", "Jane_Doe_report.pdf"));
  EXPECT_THAT(names_in(recordings_dir(engine_)),
              ElementsAre(StartsWith("Jane_Doe_on5_off11_M40_"), EndsWith("_markers.csv")));
  EXPECT_THAT(get(&Engine::saved_as), StartsWith("Jane_Doe_on5_off11_M40_"));
  EXPECT_EQ(content("Jane_Doe_markers.csv"),
            "marker,sample_index,seconds\n4,260,2.000\n1,2080,16.000\n");
  // 100 s hold 6 cycles of 16 s.
  const std::string table = content("Jane_Doe_TVN_logpower.csv");
  EXPECT_THAT(table, StartsWith("cycle,Jane_Doe,markers\n0,"));
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 8);
  EXPECT_THAT(table, HasSubstr(",4\n1,"));
  EXPECT_THAT(table, HasSubstr(",1\n2,"));
  EXPECT_EQ(content("Jane_Doe.edf").size(), 768u + 100 * (260 + 120));
  EXPECT_THAT(content("Jane_Doe_report.pdf"), StartsWith("%PDF-1.4\n"));
}

TEST_F(ExportJobTest, CountsTheIntervalsAsRPeaksAndGivesARateEvery100Milliseconds) {
  const std::vector<double> ecg = synthetic::make_ecg(100.0);
  const std::size_t intervals = detect_rr_intervals(ecg, 300, 130).size();
  set_replay(ecg);
  export_now();
  EXPECT_THAT(content("Jane_Doe_report.pdf"), HasSubstr("(" + std::to_string(intervals) + ") Tj"));
  const std::string rates = content("Jane_Doe_HR.txt");
  EXPECT_NEAR(static_cast<double>(std::count(rates.begin(), rates.end(), '\n')), 1000, 1);
}

TEST_F(ExportJobTest, TakesThePartPlayedSoFarAsWholeNumbers) {
  std::vector<double> samples(1000, 12.5);
  samples[1] = -12.5;
  samples[2] = -0.4;
  set_replay(samples, 131);
  export_now();
  std::string wanted = "13\n-13\n0\n";
  for (int i = 3; i < 131; ++i) wanted += "13\n";
  EXPECT_EQ(content("Jane_Doe_ECG.txt"), wanted);
  EXPECT_EQ(content("Jane_Doe.edf").size(), 768u + 2 * 380);
}

TEST_F(ExportJobTest, WithoutBeatsOrAWholeCycleThereAreFourFiles) {
  set_replay(std::vector<double>(130 * 60, 0.0));
  export_now();
  EXPECT_EQ(status(), "done");
  EXPECT_EQ(names_in(exports() + "/Jane_Doe_export").size(), 4u);
  EXPECT_EQ(content("Jane_Doe_HR.txt"), "");
  set_replay(synthetic::make_ecg(15.9));
  export_now();
  EXPECT_EQ(names_in(exports() + "/Jane_Doe-2_export").size(), 4u);
  EXPECT_EQ(content("Jane_Doe_markers.csv"), "marker,sample_index,seconds\n");
}

TEST_F(ExportJobTest, TheSameRecordingTwiceGetsTwoFoldersAndTheSameAnswer) {
  set_replay(std::vector<double>(400, 1.0));
  export_now();
  export_now();
  EXPECT_EQ(get(&Engine::export_result), k_result);
  EXPECT_THAT(names_in(exports()), ElementsAre("Jane_Doe-2_export", "Jane_Doe_export"));
}

TEST_F(ExportJobTest, AnEmptySessionGivesEmptyTextsAndNoEdf) {
  export_now();
  EXPECT_EQ(status(), "done");
  EXPECT_EQ(get(&Engine::export_result), R"({"folder":"recording_export"})");
  EXPECT_THAT(names_in(exports() + "/recording_export"),
              ElementsAre("recording_ECG.txt", "recording_HR.txt", "recording_markers.csv"));
  EXPECT_EQ(content("recording_ECG.txt", "recording_export"), "");
  EXPECT_THAT(names_in(recordings_dir(engine_)), IsEmpty());
}

TEST_F(ExportJobTest, WithoutANameTheSourceGivesItExtensionAndAll) {
  set_replay(std::vector<double>(400, 1.0));
  {
    const SessionLock hold(engine_.lock);
    engine_.name_id = "";
    engine_.source_label = "Sample 1.txt";
  }
  export_now();
  EXPECT_EQ(get(&Engine::export_result), R"({"folder":"Sample_1.txt_export"})");
  EXPECT_THAT(content("Sample_1.txt.edf", "Sample_1.txt_export"), HasSubstr("X X X Sample_1.txt "));
}

TEST_F(ExportJobTest, OneAtATime) {
  set_replay(std::vector<double>(400, 1.0));
  {
    const SessionLock hold(engine_.lock);
    engine_.export_status = "exporting";
    engine_.export_result = "{}";
  }
  start_export(engine_);
  EXPECT_EQ(get(&Engine::export_result), "{}");
  EXPECT_FALSE(fs::exists(exports()));
  const SessionLock hold(engine_.lock);
  engine_.export_status = "idle";
}

TEST_F(ExportJobTest, BeginsWithoutWhatTheLastOneLeft) {
  set_replay(std::vector<double>(400, 1.0));
  const SessionLock hold(engine_.lock);  // the job has no turn to publish
  engine_.export_result = engine_.export_error = "old";
  start_export(engine_);
  EXPECT_EQ(engine_.export_status, "exporting");
  EXPECT_EQ(engine_.export_result, "");
  EXPECT_EQ(engine_.export_error, "");
}

// A recording of just one cycle has a report; its log power is of all of it.
TEST_F(ExportJobTest, OneWholeCycleIsEnough) {
  std::vector<double> ecg = synthetic::make_ecg(20.0);
  ecg.resize(16 * 130);
  set_replay(ecg);
  export_now();
  EXPECT_EQ(names_in(exports() + "/Jane_Doe_export").size(), 6u);
}

// 16 KB of markers to copy, and no memory for them.
TEST_F(ExportJobTest, WithoutMemoryToBeginNoExportIsUnderWay) {
  set_replay(std::vector<double>(400, 1.0));
  set_markers(std::vector<Marker>(1000, Marker{7, 1}));
  {
    const ScarceMemory scarce(8000);
    EXPECT_THROW(start_export(engine_), std::bad_alloc);
  }
  EXPECT_EQ(status(), "idle");
  export_now();
  EXPECT_EQ(status(), "done");
}

TEST_F(ExportJobTest, AFailureIsToldAndTheNextExportStartsAfresh) {
  set_replay(std::vector<double>(400, 1.0));
  ASSERT_TRUE(write_file(exports(), "in the way"));
  export_now();
  EXPECT_EQ(status(), "error");
  EXPECT_THAT(get(&Engine::export_error), HasSubstr("exports"));
  EXPECT_EQ(get(&Engine::export_result), "");
  fs::remove(exports());
  export_now();
  EXPECT_EQ(status(), "done");
  EXPECT_EQ(get(&Engine::export_error), "");
}

TEST_F(ExportJobTest, TellsAFileThatCouldNotBeWritten) {
  set_replay(std::vector<double>(400, 1.0));
  for (int n = 1; n <= 999; ++n) {  // no folder is free, so that the first one serves again
    const std::string number = n == 1 ? "" : "-" + std::to_string(n);
    fs::create_directories(exports() + "/Jane_Doe" + number + "_export");
  }
  fs::create_directory(exports() + "/Jane_Doe_export/Jane_Doe.edf");
  export_now();
  EXPECT_EQ(status(), "done");
  EXPECT_EQ(get(&Engine::export_result),
            R"({"folder":"Jane_Doe_export","errors":["Jane_Doe.edf could not be written."]})");
}

// The recording, its markers and every file of the folder, in the order of writing; an empty list
// of files tells that none was written.
TEST_F(ExportJobTest, OnAFullDiskNamesEveryFileAndKeepsNone) {
  set_replay(synthetic::make_ecg(100.0));
  set_markers({{260, 4}});
  {
    const FileLimit full(0);
    export_now();
  }
  EXPECT_EQ(status(), "error");
  EXPECT_EQ(get(&Engine::export_result), "");
  EXPECT_THAT(get(&Engine::export_error),
              testing::MatchesRegex(
                  R"(Nothing could be written\. Jane_Doe_on.*\.csv could not be written\. )"
                  R"(Jane_Doe_ECG\.txt could.*HR\.txt.*markers\.csv.*Doe\.edf.*logpower\.csv.*)"
                  R"(report\.pdf could not be written\.)"));
  EXPECT_THAT(names_in(exports()), IsEmpty());
  EXPECT_THAT(names_in(recordings_dir(engine_)), IsEmpty());
  EXPECT_EQ(get(&Engine::saved_as), "");
}

TEST_F(ExportJobTest, NamesTheRecordingThatCouldNotBeSaved) {
  set_replay(std::vector<double>(400, 1.0));
  fs::remove_all(recordings_dir(engine_));
  export_now();
  EXPECT_THAT(
      get(&Engine::export_result),
      testing::MatchesRegex(R"(\{"folder":"Jane_Doe_export","errors":\["Jane_Doe_on.*\.csv )"
                            R"(could not be written\."\]\})"));
}

TEST_F(ExportJobTest, WithoutAFolderTheRecordingIsNamedAsWell) {
  set_replay(std::vector<double>(400, 1.0));
  fs::remove_all(recordings_dir(engine_));
  ASSERT_TRUE(write_file(folder_ / "exports", "in the way"));
  export_now();
  EXPECT_EQ(status(), "error");
  EXPECT_THAT(get(&Engine::export_error),
              testing::MatchesRegex(R"(.*exports.* Jane_Doe_on.*\.csv could not be written\.)"));
}

TEST_F(ExportJobTest, ANameOfAnyLengthCanBeExported) {
  set_replay(synthetic::make_ecg(100.0));
  {
    const SessionLock hold(engine_.lock);
    engine_.name_id = std::string(2000, 'n');
  }
  export_now();
  export_now();
  const std::string name(238, 'n');
  EXPECT_EQ(get(&Engine::export_result), R"({"folder":")" + name + R"(_export"})");
  EXPECT_EQ(names_in(exports() + "/" + name + "-2_export").size(), 6u);
  EXPECT_THAT(names_in(recordings_dir(engine_)), testing::Each(testing::SizeIs(255 - 8)));
}

// The job has its own copy: what a new run does in the meantime neither changes the files nor is it
// told that it was exported.
TEST_F(ExportJobTest, AnotherRunInBetweenChangesNothing) {
  set_replay(synthetic::make_ecg(100.0));
  set_markers({{260, 4}});
  {
    const SessionLock hold(engine_.lock);
    start_export(engine_);  // the lock is recursive; the job waits for it to publish
    reset_for_run(engine_);
    engine_.name_id = "Somebody Else";
    engine_.replay_ecg = EcgBuffer();
    engine_.replay_pos = engine_.replay_len = 0;
  }
  ASSERT_TRUE(wait_until([this] { return content("Jane_Doe_report.pdf").ends_with("%%EOF\n"); }));
  EXPECT_THAT(names_in(recordings_dir(engine_)),
              ElementsAre(StartsWith("Jane_Doe_on5_off11_M40_"), EndsWith("_markers.csv")));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(status(), "idle");
  EXPECT_EQ(get(&Engine::export_result), "");
  EXPECT_EQ(get(&Engine::saved_as), "");
}

}  // namespace
}  // namespace tvn
