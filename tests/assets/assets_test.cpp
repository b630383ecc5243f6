#include "assets/assets.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "base/files.h"

namespace tvn {
namespace {

TEST(FindAsset, HoldsEveryFileByteForByte) {
  for (const char* name :
       {"ball.png", "piano.wav", "report_logo.jpg", "Sample 1.txt", "Sample 2.txt"}) {
    std::string file;
    ASSERT_TRUE(read_file(std::string(TVN_SOURCE_DIR "/assets/") + name, file)) << name;
    const std::string* asset = find_asset(name);
    ASSERT_NE(asset, nullptr) << name;
    EXPECT_TRUE(*asset == file) << name;
  }
}

TEST(FindAsset, HoldsThePage) {
  const std::string* page = find_asset("index.html");
  ASSERT_NE(page, nullptr);
  EXPECT_EQ(page->size(), 55773u);
  EXPECT_TRUE(page->starts_with("<!DOCTYPE html>"));
}

// Whoever looks at the page's source is told where it can be read; the page's own lines are bare.
TEST(FindAsset, HoldsThePageWithoutCommentsAndIndentation) {
  const std::string& page = *find_asset("index.html");
  EXPECT_LT(page.find("web/page/"), page.find("<title>"));
  for (const char* gone : {"\n ", "\n//", "\n/*", "\n<!--"}) {
    EXPECT_EQ(page.find(gone), std::string::npos) << gone;
  }
}

TEST(FindAsset, KnowsExactNamesOnly) {
  for (const char* name : {"Index.html", "/index.html", "logo.png", "", "index.html "}) {
    EXPECT_EQ(find_asset(name), nullptr) << name;
  }
}

TEST(FindAsset, GivesTheSameContentToAllThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] { EXPECT_EQ(find_asset("ball.png")->size(), 166420u); });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace tvn
