#include "base/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/temporary_folder.h"

namespace tvn {
namespace {

TEST(ReadFile, ReadsBackWhatWasWritten) {
  const TemporaryFolder folder;
  const std::string bytes = std::string("a\0b\r\n", 5) + std::string(300000, 'x');
  ASSERT_TRUE(write_file(folder / "file", bytes));
  std::string content;
  ASSERT_TRUE(read_file(folder / "file", content));
  EXPECT_EQ(content, bytes);
  ASSERT_TRUE(write_file(folder / "file", "short"));
  ASSERT_TRUE(read_file(folder / "file", content));
  EXPECT_EQ(content, "short");
}

TEST(ReadFile, LeavesTheResultAloneWhenThereIsNoRegularFile) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  std::string content = "before";
  for (const std::string& path :
       {folder.path(), folder / "missing", folder / "fifo", std::string()}) {
    EXPECT_FALSE(read_file(path, content)) << path;
    EXPECT_FALSE(is_readable_file(path)) << path;
  }
  EXPECT_EQ(content, "before");
}

TEST(ReadFile, FollowsSymbolicLinksAndReadsEmptyFiles) {
  const TemporaryFolder folder;
  ASSERT_TRUE(write_file(folder / "empty", ""));
  std::filesystem::create_symlink(folder / "empty", folder / "link");
  std::string content = "before";
  EXPECT_TRUE(read_file(folder / "link", content));
  EXPECT_EQ(content, "");
  EXPECT_TRUE(is_readable_file(folder / "link"));
}

TEST(WriteFile, TellsWhenItCannot) {
  const TemporaryFolder folder;
  EXPECT_FALSE(write_file(folder / "no/such/folder", "x"));
  EXPECT_FALSE(write_file(folder.path(), "x"));
}

}  // namespace
}  // namespace tvn
