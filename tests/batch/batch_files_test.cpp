#include "batch/batch_files.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "base/files.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(RecordingName, TakesTextsButNotTheProgramsOwnExports) {
  for (const char* name : {"notes.TXT", "data.CSV", "a.b.txt", "hrv.csv", "x_marker.csv", "é.txt",
                           "markers.csv", "x_markers.txt", "TVN_logpower.csv"}) {
    EXPECT_TRUE(is_recording_name(name)) << name;
  }
  for (const char* name : {"ECG_HRV.txt", "myhrv_1.Txt", "x_markers.csv", "x_TVN_logpower.csv",
                           "X_MARKERS.CSV", "x.text", "txt", ".txt", "x.txt.bak", "", "x.csvx"}) {
    EXPECT_FALSE(is_recording_name(name)) << name;
  }
}

class FindRecordings : public testing::Test {
 protected:
  void add(const std::string& path) {
    fs::create_directories(fs::path(folder_ / path).parent_path());
    ASSERT_TRUE(write_file(folder_ / path, "1\n"));
  }
  // "label: file file" for each group, paths from the root on.
  std::vector<std::string> found(bool single = false, const std::string& name = "") {
    std::vector<std::string> texts;
    for (const BatchGroup& group : find_recordings(folder_.path(), single, name)) {
      std::string text = group.label + ":";
      for (const std::string& path : group.paths) {
        text += ' ' + path.substr(folder_.path().size() + 1);
      }
      texts.push_back(text);
    }
    return texts;
  }
  TemporaryFolder folder_;
};

TEST_F(FindRecordings, MakesAPersonOfEachFolderInByteOrder) {
  add("b/2.txt");
  add("b/10.txt");
  add("B/1.csv");
  add("b/deep/er/1.txt");
  add("b/notes.pdf");
  add("b.c/1.txt");
  const std::string name = fs::path(folder_.path()).filename().string();
  add("top.txt");
  EXPECT_THAT(found(), ElementsAre(name + ": top.txt", "B: B/1.csv", "b: b/10.txt b/2.txt",
                                   "b.c: b.c/1.txt", "er: b/deep/er/1.txt"));
}

TEST_F(FindRecordings, MakesOnePersonOfAll) {
  add("b/2.txt");
  add("a/3.txt");
  add("1.txt");
  EXPECT_THAT(found(true, "anna"), ElementsAre("anna: 1.txt a/3.txt b/2.txt"));
  EXPECT_THAT(found(true), ElementsAre("import: 1.txt a/3.txt b/2.txt"));
}

TEST_F(FindRecordings, FollowsLinksToFilesButNotToFolders) {
  add("a/1.txt");
  fs::create_directory_symlink("..", folder_ / "a/loop");
  fs::create_symlink("1.txt", folder_ / "a/linked.txt");
  fs::create_symlink("nowhere", folder_ / "a/dangling.txt");
  ASSERT_EQ(mkfifo((folder_ / "a/pipe.txt").c_str(), 0600), 0);
  fs::create_directory(folder_ / "a/folder.txt");
  EXPECT_THAT(found(), ElementsAre("a: a/1.txt a/linked.txt"));
}

TEST_F(FindRecordings, LeavesOutWhatCannotBeRead) {
  add("closed/1.txt");
  add("open/1.txt");
  fs::permissions(folder_ / "closed", fs::perms::none);
  if (geteuid() != 0) {  // nothing is closed to the superuser
    EXPECT_THAT(found(), ElementsAre("open: open/1.txt"));
  }
  fs::permissions(folder_ / "closed", fs::perms::owner_all);
  EXPECT_THAT(find_recordings(folder_ / "missing", false, ""), IsEmpty());
  EXPECT_THAT(find_recordings(folder_ / "open/1.txt", false, ""), IsEmpty());
  EXPECT_THAT(find_recordings("", false, ""), IsEmpty());
}

TEST_F(FindRecordings, TakesNamesThatAreNotUtf8) {
  add("\xff\xfe/\x80.txt");
  EXPECT_THAT(found(), ElementsAre("\xff\xfe: \xff\xfe/\x80.txt"));
}

TEST_F(FindRecordings, TakesOfAnExportTheEcgAlone) {
  add("a/Anna_ECG.txt");
  add("a/Anna_HR.txt");
  add("a/Berta_HR.txt");  // somebody's own file
  add("a/Carla_ECG.csv");
  add("a/Carla_HR.txt");
  add("b/Berta_ECG.txt");
  add("b/_HR.txt");
  EXPECT_THAT(found(),
              ElementsAre("a: a/Anna_ECG.txt a/Berta_HR.txt a/Carla_ECG.csv a/Carla_HR.txt",
                          "b: b/Berta_ECG.txt b/_HR.txt"));
}

TEST_F(FindRecordings, ATrailingSlashChangesNothing) {
  add("a/1.txt");
  const auto plain = find_recordings(folder_ / "a", false, "");
  const auto slashed = find_recordings(folder_ / "a/", false, "");
  ASSERT_EQ(slashed.size(), 1u);
  EXPECT_EQ(slashed[0].label, "a");
  EXPECT_EQ(plain[0].paths, slashed[0].paths);
}

}  // namespace
}  // namespace tvn
