#include "web/handlers/recording_list.h"

#include "tests/web/handlers/site_fixture.h"

namespace tvn {
namespace {

using RecordingListTest = SiteTest;

namespace fs = std::filesystem;

TEST_F(RecordingListTest, ListsRecordings) {
  EXPECT_EQ(body("/recordings"), R"({"saved":[],"samples":[]})");
  write_saved("b.csv", "1\n");
  write_saved("B.csv", "1\n");
  write_saved("a_markers.csv", "");
  write_saved("x.CSV", "");
  write_saved("with \"quote\".txt", "");
  write_saved("with\ttab.txt", "");
  write_saved(".csv", "");
  write_saved("csv", "");
  fs::create_directories(recordings_dir(engine_) + "/folder.csv");
  fs::create_symlink(recordings_dir(engine_) + "/b.csv", recordings_dir(engine_) + "/link.csv");
  fs::create_symlink("nowhere", recordings_dir(engine_) + "/broken.csv");
  ASSERT_TRUE(write_file(sample_data_dir(engine_) + "/Sample 1.txt", "1\n"));
  ASSERT_TRUE(write_file(sample_data_dir(engine_) + "/other.csv", "1\n"));
  EXPECT_EQ(body("/recordings"),
            "{\"saved\":[\".csv\",\"B.csv\",\"a_markers.csv\",\"b.csv\",\"link.csv\","
            "\"with\ttab.txt\",\"with \\\"quote\\\".txt\"],\"samples\":[\"Sample 1.txt\"]}");
  EXPECT_EQ(list_files("/no/such/folder", {".txt"}), "[]");
}

}  // namespace
}  // namespace tvn
