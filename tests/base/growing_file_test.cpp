#include "base/growing_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/file_limit.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;

TEST(GrowingFile, AppearsWhenItIsWhole) {
  const TemporaryFolder folder;
  std::string wanted, written;
  {
    GrowingFile file(folder / "a");
    for (const std::size_t size : {10u, 70'000u, 3u, 65'535u, 65'536u, 0u, 5u}) {
      const std::string piece(size, static_cast<char>('a' + size % 26));
      file.append(piece);
      wanted += piece;
    }
    EXPECT_FALSE(fs::exists(folder / "a"));
    EXPECT_TRUE(file.finish());
  }
  ASSERT_TRUE(read_file(folder / "a", written));
  EXPECT_EQ(written, wanted);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
}

TEST(GrowingFile, UnfinishedItLeavesWhatWasThere) {
  const TemporaryFolder folder;
  ASSERT_TRUE(write_file(folder / "a", "old"));
  { GrowingFile(folder / "a").append("new"); }
  std::string content;
  ASSERT_TRUE(read_file(folder / "a", content));
  EXPECT_EQ(content, "old");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
}

TEST(GrowingFile, TellsAnEarlierFailureAtTheEnd) {
  const TemporaryFolder folder;
  testing::internal::CaptureStderr();
  {
    GrowingFile file(folder / "a");
    {
      const FileLimit full(1000);
      file.append(std::string(70'000, 'x'));
    }
    file.append("y");
    EXPECT_EQ(file.finish().error, std::errc::file_too_large);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Could not write " + (folder / "a") + ": File too large\n");
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

}  // namespace
}  // namespace tvn
