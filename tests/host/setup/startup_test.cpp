#include "host/setup/startup.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "assets/assets.h"
#include "base/files.h"
#include "export/report/report_logo.h"
#include "tests/file_limit.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;

void put(const std::string& path, const std::string& content) {
  fs::create_directories(fs::path(path).parent_path());
  ASSERT_TRUE(write_file(path, content));
}

std::string get(const std::string& path) {
  std::string content = "(missing)";
  read_file(path, content);
  return content;
}

Environment with_home(const std::string& home) {
  return {std::nullopt, std::nullopt, home};
}

TEST(ChooseFolders, FallsBackToTheCurrentFolder) {
  const TemporaryFolder folder;
  for (const std::string& executable : {folder / "bin/program", std::string(), std::string("p")}) {
    const Folders chosen = choose_folders(with_home("/home/ann"), executable);
    EXPECT_EQ(chosen.base_dir, ".");
    EXPECT_EQ(chosen.web_dir, "./web");
    EXPECT_EQ(chosen.data_dir, "/home/ann/Documents/TVN-Live");
  }
  EXPECT_EQ(choose_folders(with_home(""), "").data_dir, ".");
}

TEST(ChooseFolders, FindsThePageBesideTheExecutableOrInItsBundle) {
  const TemporaryFolder folder;
  put(folder / "bin/web/index.html", "page");
  EXPECT_EQ(choose_folders({}, folder / "bin/program").base_dir, folder / "bin");
  put(folder / "Resources/web/index.html", "page");
  EXPECT_EQ(choose_folders({}, folder / "bin/program").base_dir, folder / "bin/../Resources");
}

TEST(ChooseFolders, FollowsTheEnvironment) {
  const Environment both = {"/base", "/data", "/home/ann"};
  EXPECT_EQ(choose_folders(both, "").data_dir, "/base");
  EXPECT_EQ(choose_folders(both, "").web_dir, "/base/web");
  EXPECT_EQ(choose_folders({std::nullopt, "/data", "/home/ann"}, "").data_dir, "/data");
  EXPECT_EQ(choose_folders({std::nullopt, "", "/home/ann"}, "").data_dir, "");
  const Folders empty_base = choose_folders({"", "/data", "/home/ann"}, "");
  EXPECT_EQ(empty_base.base_dir, "");
  EXPECT_EQ(empty_base.web_dir, "/web");
  EXPECT_EQ(empty_base.data_dir, "");
}

TEST(ChooseFolders, TakesThePageFromTheBaseFolderItself) {
  const TemporaryFolder folder;
  put(folder / "index.html", "page");
  EXPECT_EQ(choose_folders({folder.path(), std::nullopt, ""}, "").web_dir, folder.path());
  put(folder / "web/index.html", "page");
  EXPECT_EQ(choose_folders({folder.path(), std::nullopt, ""}, "").web_dir, folder / "web");
}

TEST(CreateDataFolders, MakesAllThree) {
  const TemporaryFolder folder;
  create_data_folders(folder / "a/b");
  for (const char* name : {"a/b/recordings", "a/b/exports", "a/b/sample_data"}) {
    EXPECT_TRUE(fs::is_directory(folder / name)) << name;
  }
}

TEST(CreateDataFolders, MakesTheDataFolderForTheUserAlone) {
  const TemporaryFolder folder;
  EXPECT_TRUE(create_data_folders(folder / "new/data/"));
  EXPECT_EQ(fs::status(folder / "new/data").permissions(), fs::perms::owner_all);
  fs::permissions(folder / "new/data", fs::perms(0750));  // what exists stays as it is
  EXPECT_TRUE(create_data_folders(folder / "new/data/"));
  EXPECT_EQ(fs::status(folder / "new/data").permissions(), fs::perms(0750));
}

TEST(CreateDataFolders, SaysWhenNothingCanBeWritten) {
  const TemporaryFolder folder;
  put(folder / "file", "in the way");
  testing::internal::CaptureStderr();
  EXPECT_FALSE(create_data_folders(folder / "file/data"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "The data folder " + folder / "file/data" + " cannot be written: Not a directory\n");
  create_data_folders(folder / "full");
  const FileLimit full(0);
  EXPECT_FALSE(create_data_folders(folder / "full"));
}

TEST(RemoveLeftovers, CleansRecordingsAndExports) {
  const TemporaryFolder folder;
  put(folder / "recordings/.tvn-1-1.tmp", "half");
  put(folder / "recordings/a.csv", "whole");
  put(folder / "exports/a_export/.tvn-1-2.tmp", "half");
  put(folder / "exports/a_export/a.edf", "whole");
  remove_leftovers(folder.path());
  EXPECT_EQ(get(folder / "recordings/a.csv"), "whole");
  EXPECT_EQ(get(folder / "exports/a_export/a.edf"), "whole");
  EXPECT_FALSE(fs::exists(folder / "recordings/.tvn-1-1.tmp"));
  EXPECT_FALSE(fs::exists(folder / "exports/a_export/.tvn-1-2.tmp"));
}

TEST(RefreshSamples, CopiesTheSamplesBesideThePage) {
  const TemporaryFolder folder;
  put(folder / "base/sample_data/Sample 3.txt", "3");
  put(folder / "base/sample_data/sample 4.txt", "4");
  put(folder / "base/sample_data/Sample 5.TXT", "5");
  fs::create_directories(folder / "base/sample_data/Sample 6.txt");
  put(folder / "data/sample_data/left over.txt", "x");
  refresh_samples({folder / "base", "", folder / "data"});
  EXPECT_EQ(get(folder / "data/sample_data/Sample 3.txt"), "3");
  int files = 0;
  for (const auto& entry : fs::directory_iterator(folder / "data/sample_data")) {
    files += entry.exists() ? 1 : 0;
  }
  EXPECT_EQ(files, 1);
}

TEST(RefreshSamples, WritesTheEmbeddedOnesWhenNoneMatches) {
  const TemporaryFolder folder;
  put(folder / "base/sample_data/other.txt", "x");
  refresh_samples({folder / "base", "", folder / "data"});
  EXPECT_EQ(get(folder / "data/sample_data/Sample 1.txt"), *find_asset("Sample 1.txt"));
  EXPECT_EQ(get(folder / "data/sample_data/Sample 2.txt"), *find_asset("Sample 2.txt"));
  EXPECT_FALSE(fs::exists(folder / "data/sample_data/other.txt"));
}

TEST(RefreshSamples, DeletesItsOwnSourceWhenBothAreOneFolder) {
  const TemporaryFolder folder;
  put(folder / "sample_data/Sample 3.txt", "3");
  refresh_samples({folder.path(), "", folder.path()});
  EXPECT_FALSE(fs::exists(folder / "sample_data/Sample 3.txt"));
  EXPECT_EQ(get(folder / "sample_data/Sample 1.txt"), *find_asset("Sample 1.txt"));
}

TEST(LoadReportLogo, UsesTheEmbeddedLogoWithoutAFile) {
  const TemporaryFolder folder;
  EXPECT_EQ(load_report_logo(folder.path()), "  Report logo loaded (700x175).\n");
  EXPECT_EQ(report_logo().bytes, *find_asset("report_logo.jpg"));
  EXPECT_EQ(report_logo().width, 700);
  EXPECT_EQ(report_logo().height, 175);
}

// The embedded one's bytes with another size in the frame header (ITU-T T.81, B.2.2): its height
// and width follow the marker, the segment's length and the precision.
TEST(LoadReportLogo, TakesTheFileBesideThePage) {
  const TemporaryFolder folder;
  std::string logo = *find_asset("report_logo.jpg");
  const std::size_t frame = logo.find("\xFF\xC0");
  ASSERT_NE(frame, std::string::npos);
  logo.replace(frame + 5, 4, std::string("\0\x32\1\x2C", 4));
  put(folder / "report_logo.jpeg", logo);
  EXPECT_EQ(load_report_logo(folder.path()), "  Report logo loaded (300x50).\n");
  EXPECT_EQ(report_logo().bytes, logo);
  EXPECT_EQ(report_logo().width, 300);
  EXPECT_EQ(report_logo().height, 50);
  logo[frame + 6] = '\x33';
  put(folder / "report_logo.jpg", logo);  // which goes before .jpeg
  EXPECT_EQ(load_report_logo(folder.path()), "  Report logo loaded (300x51).\n");
  EXPECT_EQ(report_logo().bytes, logo);
}

TEST(LoadReportLogo, PrefersTheFileEvenWhenItIsNoPicture) {
  const TemporaryFolder folder;
  put(folder / "report_logo.jpeg", "");
  EXPECT_EQ(load_report_logo(folder.path()), "  Report logo loaded (700x175).\n");
  put(folder / "report_logo.jpeg", "no picture at all");
  EXPECT_EQ(load_report_logo(folder.path()), "");
}

}  // namespace
}  // namespace tvn
