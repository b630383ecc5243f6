#include "export/export_folder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <set>
#include <thread>

#include "base/files.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;

class ExportFolderTest : public testing::Test {
 protected:
  std::string parent() const { return folder_.path() + "/exports"; }
  TemporaryFolder folder_;
};

TEST_F(ExportFolderTest, CountsUpFromTwo) {
  EXPECT_EQ(make_export_folder(parent(), "anna"), parent() + "/anna_export");
  EXPECT_EQ(make_export_folder(parent(), "anna"), parent() + "/anna-2_export");
  fs::create_directories(parent() + "/anna-4_export");
  EXPECT_EQ(make_export_folder(parent(), "anna"), parent() + "/anna-3_export");
  EXPECT_EQ(make_export_folder(parent(), "anna"), parent() + "/anna-5_export");
}

TEST_F(ExportFolderTest, AFileOrADanglingLinkOfThatName) {
  fs::create_directories(parent());
  ASSERT_TRUE(write_file(parent() + "/a_export", "x"));
  EXPECT_EQ(unique_export_folder(parent(), "a"), parent() + "/a-2_export");
  // Where a link points at nothing, nothing exists.
  fs::create_symlink(parent() + "/nowhere", parent() + "/b_export");
  EXPECT_EQ(unique_export_folder(parent(), "b"), parent() + "/b_export");
}

TEST_F(ExportFolderTest, WhenAllNumbersAreTakenTheFirstServesAgain) {
  fs::create_directories(parent() + "/a_export");
  for (int n = 2; n <= 999; ++n) {
    fs::create_directory(parent() + "/a-" + std::to_string(n) + "_export");
  }
  EXPECT_EQ(make_export_folder(parent(), "a"), parent() + "/a_export");
  fs::remove(parent() + "/a-999_export");
  EXPECT_EQ(make_export_folder(parent(), "a"), parent() + "/a-999_export");
}

TEST_F(ExportFolderTest, ANameTooLongForTheFileSystemIsAnErrorNotACrash) {
  const std::string name(300, 'n');
  EXPECT_EQ(unique_export_folder(parent(), name), parent() + "/" + name + "_export");
  EXPECT_THROW(make_export_folder(parent(), name), fs::filesystem_error);
  EXPECT_THROW(make_export_folder("/proc/no/such", "a"), fs::filesystem_error);
}

TEST_F(ExportFolderTest, ExportsAtTheSameTimeGetAFolderEach) {
  std::vector<std::string> paths(40);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (std::size_t i = t; i < paths.size(); i += 4)
        paths[i] = make_export_folder(parent(), "a");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::set<std::string>(paths.begin(), paths.end()).size(), paths.size());
}

TEST_F(ExportFolderTest, TellsWhichFilesCouldNotBeWritten) {
  FolderWriter writer(make_export_folder(parent(), "a"));
  fs::create_directory(parent() + "/a_export/taken.txt");
  EXPECT_TRUE(writer.write("a.txt", "text"));
  EXPECT_FALSE(writer.write("taken.txt", "text"));
  EXPECT_THAT(writer.failed(), testing::ElementsAre("taken.txt"));
  EXPECT_THAT(writer.written(), testing::ElementsAre("a.txt"));
  std::string text;
  ASSERT_TRUE(read_file(parent() + "/a_export/a.txt", text));
  EXPECT_EQ(text, "text");
}

}  // namespace
}  // namespace tvn
