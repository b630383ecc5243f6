// Export and batch over the wire, to the files that remain.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "base/files.h"
#include "tests/api/program.h"
#include "tests/wait_until.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

class ExportApiTest : public testing::Test {
 protected:
  std::string get(const std::string& target) { return fetch(program_.port(), target); }
  // Waits for a job to leave its first state.
  std::string ended(const std::string& status_path) {
    std::string status;
    wait_until([&] {
      status = get(status_path);
      return !status.starts_with(R"({"status":"exporting")") &&
             !status.starts_with(R"({"status":"running")");
    });
    return status;
  }
  std::string exports() { return program_.folder() + "/exports/"; }
  std::vector<std::string> files_in(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(exports() + folder)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string content(const std::string& path) {
    std::string text = "(missing)";
    read_file(exports() + path, text);
    return text;
  }
  void play_sample() {
    get("/start_replay?file=Sample%201.txt&speed=10000&name=Anna+B&sex=F&age=33");
    wait_until([this] { return member(get("/status"), "running") == "false"; });
  }
  Program program_{{std::to_string(test_port()), {{"LC_ALL", "de_DE.UTF-8"}}, false}};
};

TEST_F(ExportApiTest, AReplayBecomesAFolderOfFiles) {
  play_sample();
  EXPECT_EQ(get("/export_status"), R"({"status":"idle"})");
  EXPECT_EQ(get("/export"), R"({"ok":true,"status":"exporting"})");
  EXPECT_EQ(ended("/export_status"), R"({"status":"done","result":{"folder":"Anna_B_export"}})");
  EXPECT_THAT(files_in("Anna_B_export"),
              ElementsAre("Anna_B.edf", "Anna_B_ECG.txt", "Anna_B_HR.txt",
                          "Anna_B_TVN_logpower.csv", "Anna_B_markers.csv", "Anna_B_report.pdf"));
  std::string sample;
  ASSERT_TRUE(read_file(program_.folder() + "/sample_data/Sample 1.txt", sample));
  EXPECT_TRUE(content("Anna_B_export/Anna_B_ECG.txt") == sample + "\n");  // too long to print
  EXPECT_TRUE(content("Anna_B_export/Anna_B_report.pdf").ends_with("%%EOF\n"));
  // 257.2 s are 16 cycles of 16 s, in which the power at the breathing frequency grows.
  const std::string table = content("Anna_B_export/Anna_B_TVN_logpower.csv");
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 1 + 16 + 1);
  EXPECT_NE(member(get("/status"), "saved_as"), "null");
}

TEST_F(ExportApiTest, AnEmptySessionExportsWithoutACrash) {
  get("/export");
  EXPECT_EQ(ended("/export_status"), R"({"status":"done","result":{"folder":"recording_export"}})");
  EXPECT_TRUE(program_.is_alive());
}

TEST_F(ExportApiTest, AFolderTreeBecomesAReportPerPerson) {
  play_sample();
  get("/export");  // its own files are among what the batch finds, and are no recordings
  ended("/export_status");
  const std::string root = program_.folder() + "/study";
  std::string sample;
  ASSERT_TRUE(read_file(program_.folder() + "/sample_data/Sample 2.txt", sample));
  for (const char* person : {"A", "B"}) {
    fs::create_directories(root + "/" + person);
    ASSERT_TRUE(write_file(root + "/" + person + "/one.txt", sample));
  }
  ASSERT_TRUE(write_file(root + "/B/broken.csv", "nothing\n"));
  fs::create_directory_symlink("..", root + "/A/loop");
  fs::copy(exports() + "Anna_B_export", root + "/Anna_B_export");
  EXPECT_EQ(get("/batch_start?root=" + root), R"({"ok":true})");
  // Of the export's files Anna_B_ECG.txt alone is a recording again.
  EXPECT_EQ(ended("/batch_status"),
            R"({"status":"done","total":4,"done":4,"msg":"Done — 3 report(s) written to )"
            R"(Documents/TVN-Live/exports.","result":{"reports":3}})");
  EXPECT_THAT(files_in("A_export"), ElementsAre("A_TVN_logpower.csv", "A_report.pdf"));
  EXPECT_THAT(files_in("B_export"), ElementsAre("B_TVN_logpower.csv", "B_report.pdf"));
  EXPECT_TRUE(fs::exists(exports() + "Anna_B_export_export"));
}

TEST_F(ExportApiTest, UploadsBecomeOneReport) {
  std::string sample;
  ASSERT_TRUE(read_file(program_.folder() + "/sample_data/Sample 2.txt", sample));
  get("/batch_new");
  for (const char* name : {"1", "2"}) {
    EXPECT_EQ(post(program_.port(), std::string("/batch_upload?rel=top/") + name + ".txt", sample),
              R"({"ok":true})");
  }
  EXPECT_EQ(get("/batch_run?mode=single&batchname=Jane+Doe&sex=F&age=40"), R"({"ok":true})");
  EXPECT_TRUE(ended("/batch_status").ends_with(R"("result":{"reports":1}})"));
  EXPECT_THAT(files_in("Jane_Doe_export"),
              ElementsAre("Jane_Doe_TVN_logpower.csv", "Jane_Doe_report.pdf"));
  EXPECT_TRUE(content("Jane_Doe_export/Jane_Doe_TVN_logpower.csv").starts_with("cycle,1,2\n"));
}

}  // namespace
}  // namespace tvn
