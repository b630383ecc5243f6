#include "batch/batch_job.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>

#include "tests/analysis/synthetic_ecg.h"
#include "tests/file_limit.h"
#include "tests/session/session_fixture.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class BatchJobTest : public SessionTest {
 protected:
  ~BatchJobTest() override {
    wait_until([this] { return !engine_.batch_running; });
  }

  std::string root() { return folder_ / "root"; }
  std::string exports() { return folder_ / "exports"; }
  void add(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(root() + "/" + path).parent_path());
    ASSERT_TRUE(write_file(root() + "/" + path, text));
  }
  void add_ecg(const std::string& path, double seconds = 60) {
    std::string text;
    for (const double sample : synthetic::make_ecg(seconds)) text += std::to_string(sample) + "\n";
    add(path, text);
  }
  // 100 beats, or as many as given, around 0.8 s times `unit`.
  void add_kubios(const std::string& path, double unit, int beats = 100) {
    std::string text = "Kubios HRV\nRR INTERVAL DATA\n,Time,RR\n";
    for (int i = 0; i < beats; ++i) {
      const double rr = std::round(800 + 50 * std::sin(i * 0.4)) / 1000;
      text += "," + std::to_string(i) + "," + std::to_string(rr * unit) + "\n";
    }
    add(path, text);
  }
  void run(bool single = false, const std::string& name = "") {
    ASSERT_TRUE(start_batch(engine_, root(), single, name));
    ASSERT_TRUE(wait_until([this] { return !engine_.batch_running; }));
  }
  std::string message() { return get(&Engine::batch_msg); }
  std::vector<std::string> exported() {
    std::vector<std::string> names;
    if (!fs::exists(exports())) return names;
    for (const auto& entry : fs::directory_iterator(exports())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string content(const std::string& path) {
    std::string text = "(missing)";
    read_file(exports() + "/" + path, text);
    return text;
  }
  std::string first_line(const std::string& path) {
    const std::string text = content(path);
    return text.substr(0, text.find('\n'));
  }
  void expect_done(int reports, std::uint32_t files) {
    const std::string n = std::to_string(reports);
    EXPECT_EQ(get(&Engine::batch_status), "done");
    EXPECT_EQ(message(), "Done — " + n + " report(s) written to Documents/TVN-Live/exports.");
    EXPECT_EQ(get(&Engine::batch_result), R"({"reports":)" + n + "}");
    EXPECT_EQ(get(&Engine::batch_total), files);
    EXPECT_EQ(get(&Engine::batch_done), files);
  }
};

TEST_F(BatchJobTest, WritesAReportAndATablePerFolder) {
  add_ecg("A/one.txt");
  add_ecg("B/two.csv");
  run();
  expect_done(2, 2);
  EXPECT_THAT(exported(), ElementsAre("A_export", "B_export"));
  EXPECT_EQ(first_line("A_export/A_TVN_logpower.csv"), "cycle,one");
  EXPECT_EQ(first_line("B_export/B_TVN_logpower.csv"), "cycle,two");
  EXPECT_THAT(content("A_export/A_report.pdf"), HasSubstr("(Name: A) Tj"));
  EXPECT_TRUE(content("A_export/A_report.pdf").ends_with("%%EOF\n"));
}

TEST_F(BatchJobTest, OneReportForAllFilesOfOnePerson) {
  add_ecg("2 day/late.txt", 40);
  add_ecg("1 day/early, loud.txt", 80);
  add("1 day/early, loud_markers.csv", "marker,sample_index,seconds\n3,100,0.769\n7,2100,16.154\n");
  run(true, "anna");
  expect_done(1, 2);
  const std::string table = content("anna_export/anna_TVN_logpower.csv");
  EXPECT_EQ(first_line("anna_export/anna_TVN_logpower.csv"),
            "cycle,\"early, loud\",\"early, loud_markers\",late");
  // Cycles of 16 s: 5 in 80 s, 2 in 40 s.
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 1 + 5 + 1);
  EXPECT_THAT(table, HasSubstr(",3,"));
  EXPECT_THAT(table, testing::ContainsRegex("\n4,[0-9.]+,,\npow,[0-9.]+,,[0-9.]+\n$"));
}

// 100 intervals of 0.8 s on average are five breathing cycles of 16 s, though their sum in floating
// point is 79.99999999999999 s.
TEST_F(BatchJobTest, ASumOfIntervalsIsRoundedToTheNearestSample) {
  std::string text = "Kubios HRV\nRR INTERVAL DATA\n,Time,RR\n";
  for (int i = 0; i < 50; ++i) text += ",1,0.75\n,2,0.85\n";
  add("p/rr.csv", text);
  run();
  const std::string table = content("p_export/p_TVN_logpower.csv");
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 1 + 5 + 1) << table;
}

TEST_F(BatchJobTest, ReadsKubiosIntervalsInSecondsAndMilliseconds) {
  add_kubios("s/in seconds.csv", 1);
  add_kubios("ms/in milliseconds.txt", 1000);
  run();
  expect_done(2, 2);
  const std::string seconds = content("s_export/s_TVN_logpower.csv");
  const std::string milliseconds = content("ms_export/ms_TVN_logpower.csv");
  EXPECT_EQ(first_line("s_export/s_TVN_logpower.csv"), "cycle,Kubios RR (100 beats)");
  EXPECT_EQ(seconds, milliseconds);
  // 100 beats of about 0.8 s are 5 cycles of 16 s.
  EXPECT_EQ(std::count(seconds.begin(), seconds.end(), '\n'), 1 + 5 + 1);
}

// The unit is that of most intervals, whatever a single one looks like.
TEST_F(BatchJobTest, OneOddIntervalIsNoOtherUnit) {
  std::string text = "Kubios HRV\nRR INTERVAL DATA\n,Time,RR\n";
  for (int i = 0; i < 59; ++i) text += ",1," + std::to_string(0.8 + 0.02 * (i % 4)) + "\n";
  add("A/rr.csv", text + ",1,12.5\n");
  run();
  expect_done(1, 1);
  EXPECT_EQ(first_line("A_export/A_TVN_logpower.csv"), "cycle,Kubios RR (60 beats)");
}

TEST_F(BatchJobTest, FilesWithoutAResultAreCountedButGiveNoReport) {
  add("empty/none.txt", "");
  add("few/two.csv", "Kubios\nRR INTERVAL DATA\n,1,0.8\n,2,0.8\n");
  add("flat/zeros.txt", std::string(130 * 40, '0'));
  add("broken/noise.txt", "\x01\xff\nabc\n");
  add("long/years.csv", "Kubios\nRR INTERVAL DATA\n,1,1e300\n,2,1e300\n,3,1e300\n,4,1e308\n");
  add("negative/rr.csv", "Kubios\nRR INTERVAL DATA\n,1,-0.8\n,2,-0.8\n,3,-0.9\n,4,90\n,5,-0.7\n");
  add_ecg("short/15s.txt", 15);
  add_ecg("good/one.txt");
  run();
  expect_done(1, 8);
  EXPECT_THAT(exported(), ElementsAre("good_export"));
}

TEST_F(BatchJobTest, LeavesTheProgramsOwnExportsOut) {
  add_ecg("A/one.txt");
  add("A/x_markers.csv", "");
  add("A/x_TVN_logpower.csv", "");
  add("A/ECG_HRV.txt", "");
  run();
  expect_done(1, 1);
}

TEST_F(BatchJobTest, AnEmptyFolderEndsAtOnce) {
  fs::create_directories(root());
  run();
  expect_done(0, 0);
  EXPECT_THAT(exported(), IsEmpty());
  fs::remove_all(root());
  run();
  expect_done(0, 0);
}

TEST_F(BatchJobTest, SanitisesThePersonsName) {
  add_ecg("J\xc3\xbcrgen M. (2)/one.txt");
  run();
  EXPECT_THAT(exported(), ElementsAre("J__rgen_M.__2_export"));
}

TEST_F(BatchJobTest, OneAtATime) {
  add_ecg("A/one.txt");
  engine_.batch_running = true;
  EXPECT_FALSE(start_batch(engine_, root(), false, ""));
  EXPECT_EQ(get(&Engine::batch_status), "idle");
  engine_.batch_running = false;
}

TEST_F(BatchJobTest, TakesTheSettingsOfTheMomentItStarts) {
  add_ecg("A/one.txt");
  {
    const SessionLock hold(engine_.lock);
    engine_.sex = "F";
    engine_.age = 33;
    engine_.indur = 4;
    engine_.outdur = 6;
    engine_.cycle_seconds = 10;
    start_batch(engine_, root(), false, "");
    engine_.age = 44;
    engine_.cycle_seconds = 59;
  }
  ASSERT_TRUE(wait_until([this] { return !engine_.batch_running; }));
  const std::string report = content("A_export/A_report.pdf");
  EXPECT_THAT(report, HasSubstr("(F / 33) Tj"));
  EXPECT_THAT(report, HasSubstr("(in 4 s / out 6 s) Tj"));
  EXPECT_THAT(report, HasSubstr("(10 s) Tj"));
  const std::string table = content("A_export/A_TVN_logpower.csv");
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 1 + 6 + 1);
}

TEST_F(BatchJobTest, AFailureEndsTheBatchButKeepsTheSessionAlive) {
  add_ecg("A/one.txt");
  ASSERT_TRUE(write_file(exports(), "in the way"));
  run();
  EXPECT_EQ(get(&Engine::batch_status), "error");
  EXPECT_THAT(message(), testing::StartsWith("Batch failed: "));
  EXPECT_EQ(get(&Engine::batch_result), "");
  fs::remove(exports());
  run();
  expect_done(1, 1);
}

TEST_F(BatchJobTest, AReportThatCannotBeWrittenIsNotCounted) {
  add_ecg("A/one.txt");
  for (int n = 1; n <= 999; ++n) {
    fs::create_directories(exports() + "/A" + (n == 1 ? "" : "-" + std::to_string(n)) + "_export");
  }
  fs::create_directory(exports() + "/A_export/A_report.pdf");
  add_ecg("B/two.txt");
  run();
  expect_done(1, 2);
}

TEST_F(BatchJobTest, WithNowhereToWriteItEndsWithTheSystemsReason) {
  add_ecg("A/one.txt");
  const FileLimit full(0);
  run();
  EXPECT_EQ(get(&Engine::batch_status), "error");
  EXPECT_EQ(message(), "Batch failed: no report could be written: File too large");
  EXPECT_EQ(get(&Engine::batch_result), "");
}

// With "_TVN_logpower.csv" behind it the name is longer than the 255 bytes that file systems take.
TEST_F(BatchJobTest, ALongNameIsCut) {
  add_ecg("A/one.txt");
  add_ecg(std::string(250, 'B') + "/two.txt");
  run();
  expect_done(2, 2);
  EXPECT_THAT(exported(), ElementsAre("A_export", std::string(238, 'B') + "_export"));
}

// While the test holds the session, the job has no turn to say more.
TEST_F(BatchJobTest, BeginsWithTheSearchAndWithoutWhatTheLastOneLeft) {
  add_ecg("A/one.txt");
  run();
  {
    const SessionLock hold(engine_.lock);
    ASSERT_TRUE(start_batch(engine_, root(), false, ""));
    EXPECT_EQ(engine_.batch_status, "running");
    EXPECT_EQ(engine_.batch_msg, "Scanning…");
    EXPECT_EQ(engine_.batch_result, "");
    EXPECT_EQ(engine_.batch_total, 0u);
    EXPECT_EQ(engine_.batch_done, 0u);
  }
  ASSERT_TRUE(wait_until([this] { return !engine_.batch_running; }));
  expect_done(1, 1);
}

// Messages come in the order of the files and name the person and the file.
TEST_F(BatchJobTest, TellsWhatItIsDoing) {
  for (int i = 0; i < 6; ++i) add_ecg("A/" + std::to_string(i) + ".txt", 120);
  std::vector<std::string> seen;
  ASSERT_TRUE(start_batch(engine_, root(), false, ""));
  while (engine_.batch_running) {
    const std::string now = message();
    if (seen.empty() || seen.back() != now) seen.push_back(now);
  }
  std::erase_if(seen, [](const std::string& text) { return !text.starts_with("Processing "); });
  EXPECT_THAT(seen, Not(IsEmpty()));
  EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
  EXPECT_EQ(seen.back(), "Processing A / 5.txt");
}

TEST_F(BatchJobTest, AFolderThatVanishesInBetweenIsNoFailure) {
  for (int i = 0; i < 8; ++i) add_ecg("A/" + std::to_string(i) + ".txt", 60);
  ASSERT_TRUE(start_batch(engine_, root(), false, ""));
  ASSERT_TRUE(wait_until([this] { return get(&Engine::batch_total) == 8; }));
  fs::remove_all(root());
  ASSERT_TRUE(wait_until([this] { return !engine_.batch_running; }));
  EXPECT_EQ(get(&Engine::batch_status), "done");
  EXPECT_EQ(get(&Engine::batch_done), 8u);
}

// A hole of two terabytes; reading it would end the program for want of memory.
TEST_F(BatchJobTest, AFileOfAbsurdSizeIsNotRead) {
  add_ecg("A/one.txt");
  add("B/hole.txt", "");
  fs::resize_file(root() + "/B/hole.txt", 2'000'000'000'000);
  add("C/words.txt", "no recording\n");
  testing::internal::CaptureStderr();
  run();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Left out of the batch, as it is larger than 1 GB: " + root() + "/B/hole.txt\n");
  expect_done(1, 3);
}

TEST_F(BatchJobTest, WhatIsLongerThan48HoursIsLeftOutByName) {
  add_ecg("A/one.txt");
  add("A/ecg.txt", "");
  std::string text;
  for (int i = 0; i < 22'464'001; ++i) text += "1\n";
  add("A/ecg.txt", text);
  add(
      "A/rr.csv", "Kubios\nRR INTERVAL DATA\n" + [] {
        std::string rows;
        for (int i = 0; i < 19'201; ++i) rows += ",1,9\n";  // 48 h and 9 s
        return rows;
      }());
  testing::internal::CaptureStderr();
  run();
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_EQ(told, "Left out of the batch, as it is longer than 48 h: " + root() +
                      "/A/ecg.txt\nLeft out of the batch, as it is longer than 48 h: " + root() +
                      "/A/rr.csv\n");
  expect_done(1, 3);
}

TEST_F(BatchJobTest, FiveThousandSmallFiles) {
  for (int i = 0; i < 5000; ++i)
    add(std::to_string(i % 50) + "/" + std::to_string(i) + ".txt", "1\n");
  run();
  expect_done(0, 5000);
}

}  // namespace
}  // namespace tvn
