#include "session/markers.h"

#include <gtest/gtest.h>

#include "tests/session/session_fixture.h"

namespace tvn {
namespace {

using MarkersTest = SessionTest;

std::vector<std::pair<std::int64_t, int>> pairs(const std::vector<Marker>& markers) {
  std::vector<std::pair<std::int64_t, int>> list;
  for (const Marker& marker : markers) list.emplace_back(marker.sample_index, marker.key);
  return list;
}
using Pairs = std::vector<std::pair<std::int64_t, int>>;

TEST_F(MarkersTest, AreAddedOnlyDuringARunAndOncePerSample) {
  {
    const SessionLock hold(engine_.lock);
    engine_.mode = "replay";
    engine_.replay_pos = 260;
  }
  EXPECT_FALSE(add_marker(engine_, 5));
  engine_.running = true;
  for (const int key : {0, 10, -1}) EXPECT_FALSE(add_marker(engine_, key));
  EXPECT_TRUE(add_marker(engine_, 1));
  EXPECT_FALSE(add_marker(engine_, 1));
  EXPECT_FALSE(add_marker(engine_, 9));
  {
    const SessionLock hold(engine_.lock);
    engine_.replay_pos = 261;
  }
  EXPECT_TRUE(add_marker(engine_, 9));
  engine_.running = false;
  EXPECT_EQ(pairs(get(&Engine::markers)), (Pairs{{260, 1}, {261, 9}}));
}

TEST(MarkersPath, ReplacesTheExtension) {
  EXPECT_EQ(markers_path("x/abc.csv"), "x/abc_markers.csv");
  EXPECT_EQ(markers_path("x/abc"), "x/abc_markers.csv");
  EXPECT_EQ(markers_path("x.y/abc"), "x.y/abc_markers.csv");
  EXPECT_EQ(markers_path("a.b.txt"), "a.b_markers.csv");
  EXPECT_EQ(markers_path("x/.csv"), "x/_markers.csv");
}

TEST(MarkerFileText, GivesSecondsToThreeDecimals) {
  EXPECT_EQ(marker_file_text({}), "marker,sample_index,seconds\n");
  EXPECT_EQ(marker_file_text({{3900, 3}, {1, 9}, {13000000, 1}}),
            "marker,sample_index,seconds\n3,3900,30.000\n9,1,0.008\n1,13000000,100000.000\n");
}

TEST_F(MarkersTest, AreReadBack) {
  const std::vector<Marker> markers = {{0, 1}, {3900, 3}, {4000, 9}};
  ASSERT_TRUE(write_file(folder_ / "r_markers.csv", marker_file_text(markers)));
  EXPECT_EQ(pairs(read_markers(folder_ / "r.csv")), pairs(markers));
  EXPECT_EQ(pairs(read_markers(folder_ / "r")), pairs(markers));
  EXPECT_TRUE(read_markers(folder_ / "other.csv").empty());
}

TEST_F(MarkersTest, SkipLinesThatAreNone) {
  ASSERT_TRUE(write_file(folder_ / "r_markers.csv",
                         "marker,sample_index,seconds\r\n1,10,0.1\r\n\r\n2,20\r\n3 ,30\n"
                         " 4, 40 rest\n5;50\n6,\n,7\n0,1\n10,1\n8,-1\n99999999999999999999,1\n"
                         "7,99999999999999999999\n3,+-0\n3,++4\n+9,+90"));
  EXPECT_EQ(pairs(read_markers(folder_ / "r.csv")), (Pairs{{10, 1}, {20, 2}, {40, 4}, {90, 9}}));
}

}  // namespace
}  // namespace tvn
