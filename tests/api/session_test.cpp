// A whole session over the wire: recordings, replay, markers, saving, import.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "base/files.h"
#include "tests/api/program.h"
#include "tests/wait_until.h"

namespace tvn {
namespace {

class SessionApiTest : public testing::Test {
 protected:
  std::string get(const std::string& target) { return fetch(program_.port(), target); }
  std::string status(const std::string& key) { return member(get("/status"), key); }
  Program program_{{std::to_string(test_port()), {{"LC_ALL", "de_DE.UTF-8"}}, false}};
};

TEST_F(SessionApiTest, OffersTheBundledSamples) {
  EXPECT_EQ(get("/recordings"), R"({"saved":[],"samples":["Sample 1.txt","Sample 2.txt"]})");
  EXPECT_EQ(get("/bt_available"), R"({"available":true})");
}

TEST_F(SessionApiTest, ReplaysScoresMarksSavesAndReplaysAgain) {
  ASSERT_EQ(get("/start_replay?dir=samples&file=Sample%201.txt&speed=40&name=Anna+B&indur=5"
                "&outdur=11&sex=F&age=33"),
            R"({"ok":true})");
  ASSERT_TRUE(wait_until([this] { return status("tvn") != "null"; }));
  EXPECT_EQ(status("mode"), "\"replay\"");
  EXPECT_EQ(status("total"), "257.2");
  const double heart_rate = std::stod(status("hr"));
  EXPECT_GT(heart_rate, 45.0);
  EXPECT_LT(heart_rate, 100.0);
  EXPECT_EQ(get("/mark?key=7"), R"({"ok":true})");
  EXPECT_EQ(get("/stop"), R"({"ok":true})");
  EXPECT_EQ(get("/mark?key=7"), R"({"ok":false})");
  const std::string saved = get("/save");
  EXPECT_TRUE(saved.starts_with(R"({"ok":true,"file":"Anna_B_on5_off11_F33_)")) << saved;
  const std::string file = saved.substr(19, saved.find("\",\"count") - 19);
  EXPECT_EQ(status("saved_as"), "\"" + file + "\"");
  const std::string markers = get("/status").substr(get("/status").find("\"markers\":"));
  ASSERT_EQ(get("/start_replay?dir=saved&file=" + file + "&speed=0"), R"({"ok":true})");
  EXPECT_EQ(get("/status").substr(get("/status").find("\"markers\":")), markers);
  EXPECT_EQ(status("k"), "7");
  EXPECT_EQ(status("name_id"), "\"\"");
}

TEST_F(SessionApiTest, ScoresSample1HighOnceItsBreathingSettles) {
  get("/start_replay?file=Sample%201.txt&speed=1000");
  ASSERT_TRUE(wait_until([this] { return status("running") == "false"; }));
  EXPECT_GT(std::stod(status("tvn")), 0.5);
  EXPECT_EQ(status("rr_count"), "283");
  EXPECT_EQ(status("elapsed"), "257.2");
  EXPECT_EQ(status("frac"), "1");
}

TEST_F(SessionApiTest, DrawsTheTimeFrequencyPictures) {
  EXPECT_EQ(get("/tfr"), R"({"ok":true,"status":"computing"})");
  EXPECT_EQ(get("/tfr_status"), R"({"status":"error","error":"Not enough data recorded yet."})");
  get("/start_replay?file=Sample%201.txt&speed=1000");
  ASSERT_TRUE(wait_until([this] { return status("running") == "false"; }));
  EXPECT_EQ(get("/tfr_images"), R"({"status":"idle","images":null})");
  EXPECT_EQ(get("/tfr"), R"({"ok":true,"status":"computing"})");
  ASSERT_TRUE(wait_until([this] { return get("/tfr_status") == R"({"status":"done"})"; }));
  EXPECT_EQ(status("tfr_status"), "\"done\"");
  const std::string images = get("/tfr_images");
  EXPECT_TRUE(images.starts_with(
      R"({"status":"done","images":{"tfr3":"data:image/png;base64,iVBORw0KGgo)"));
  EXPECT_NE(images.find(R"(","tfr10":"data:image/png;base64,iVBORw0KGgo)"), std::string::npos);
  EXPECT_TRUE(images.ends_with("\"}}"));
}

TEST_F(SessionApiTest, SeeksWithinAReplay) {
  get("/start_replay?file=Sample%201.txt&speed=0");
  EXPECT_EQ(get("/seek?frac=0,5"), R"({"ok":true})");
  EXPECT_EQ(status("elapsed"), "128.6");
  get("/seek?frac=abc");
  EXPECT_EQ(status("elapsed"), "0");
  EXPECT_EQ(status("running"), "true");
}

TEST_F(SessionApiTest, ImportsAFileOfAnotherRate) {
  std::string sample;
  ASSERT_TRUE(read_file(program_.folder() + "/sample_data/Sample 1.txt", sample));
  const std::string reply =
      post(program_.port(), "/import?fname=My%20test.txt&fs=260&speed=1000", sample);
  EXPECT_TRUE(reply.starts_with(R"({"ok":true,"file":"imported_My_test_)")) << reply;
  EXPECT_EQ(status("source_label"), "\"Imported — My test.txt\"");
  EXPECT_EQ(status("total"), "128.6");
  EXPECT_NE(get("/recordings").find("imported_My_test_"), std::string::npos);
}

TEST_F(SessionApiTest, BringsWildNumbersIntoRange) {
  ASSERT_EQ(get("/start_replay?file=Sample%201.txt&age=1e99&speed=nan&indur=inf&fs=1e-300"
                "&outdur=0x10"),
            R"({"ok":true})");
  EXPECT_EQ(status("age"), "2147483647");
  EXPECT_EQ(status("indur"), "5");
  EXPECT_EQ(status("outdur"), "11");
  for (const char* speed : {"1e308", "-1e308", "1e-308", "inf"}) {
    get("/start_replay?file=Sample%201.txt&speed=" + std::string(speed));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const double elapsed = std::stod(status("elapsed"));
    EXPECT_GE(elapsed, 0.0);
    EXPECT_LE(elapsed, 257.2);
  }
  for (const char* cycle : {"1e308", "1e-308", "-1e308", "99999999999"}) {
    get("/start_replay?file=Sample%201.txt&speed=1e6&indur=" + std::string(cycle) +
        "&outdur=" + cycle);
    EXPECT_TRUE(wait_until([this] { return status("running") == "false"; }));
  }
}

}  // namespace
}  // namespace tvn
