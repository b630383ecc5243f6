#include "web/handlers/upload_handlers.h"

#include <gmock/gmock.h>

#include "base/names.h"
#include "tests/file_limit.h"
#include "tests/web/handlers/site_fixture.h"

namespace tvn {
namespace {

using UploadHandlersTest = SiteTest;

namespace fs = std::filesystem;

TEST_F(UploadHandlersTest, StoresUploadsInsideTheUploadFolder) {
  EXPECT_EQ(body("/batch_new"), R"({"ok":true})");
  EXPECT_EQ(body("/batch_upload?rel=../a/./b:c/../d.txt", "one"), R"({"ok":true})");
  EXPECT_EQ(body("/batch_upload?rel=x%5Cy.txt", "two"), R"({"ok":true})");
  EXPECT_EQ(body("/batch_upload?rel=..", "three"), R"({"ok":false})");
  EXPECT_EQ(body("/batch_upload", "four"), R"({"ok":false})");
  std::string content;
  ASSERT_TRUE(read_file(upload_dir(engine_) + "/a/bc/d.txt", content));
  EXPECT_EQ(content, "one");
  ASSERT_TRUE(read_file(upload_dir(engine_) + "/x/y.txt", content));
  EXPECT_EQ(content, "two");
  EXPECT_EQ(body("/batch_new"), R"({"ok":true})");
  EXPECT_TRUE(fs::is_empty(upload_dir(engine_)));
}

TEST(SanitiseRelativePath, NeverLeavesTheFolder) {
  EXPECT_EQ(sanitise_relative_path("study/anna/ecg.txt"), "study/anna/ecg.txt");
  EXPECT_EQ(sanitise_relative_path("/etc/passwd"), "etc/passwd");
  EXPECT_EQ(sanitise_relative_path("C:\\a\\b"), "C/a/b");
  EXPECT_EQ(sanitise_relative_path("..:/..\x01/.:/x"), "x");
  EXPECT_EQ(sanitise_relative_path(":/\x02//./.."), "");
  EXPECT_EQ(sanitise_relative_path("..."), "...");
  EXPECT_EQ(sanitise_relative_path("\xc3\xa9 b/\xff"), "\xc3\xa9 b/\xff");
}

TEST(SanitiseRelativePath, CutsWhatIsTooLongForAFileSystem) {
  const std::string folder(256, 'f');
  const std::string file = std::string(300, 'n') + ".txt";
  EXPECT_EQ(sanitise_relative_path(folder + "/" + file),
            fit_file_name(folder) + "/" + fit_file_name(file));
}

TEST_F(UploadHandlersTest, TwoLongNamesOfOneBeginAreTwoFiles) {
  body("/batch_new");
  for (const char* end : {"1.txt", "2.txt"}) {
    EXPECT_EQ(body("/batch_upload?rel=" + std::string(260, 'n') + end, end), R"({"ok":true})");
  }
  std::vector<std::string> contents;
  for (const auto& entry : fs::directory_iterator(upload_dir(engine_))) {
    EXPECT_EQ(entry.path().extension(), ".txt");
    read_file(entry.path().string(), contents.emplace_back());
  }
  EXPECT_THAT(contents, testing::UnorderedElementsAre("1.txt", "2.txt"));
}

TEST_F(UploadHandlersTest, OnAFullDiskLeavesNoHalfFile) {
  body("/batch_new");
  const FileLimit full(1000);
  EXPECT_EQ(body("/batch_upload?rel=a.txt", std::string(2000, '1')), R"({"ok":true})");
  EXPECT_TRUE(fs::is_empty(upload_dir(engine_)));
}

}  // namespace
}  // namespace tvn
