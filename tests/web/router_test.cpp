#include "web/router.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "base/files.h"
#include "session/runs.h"
#include "tests/temporary_folder.h"
#include "web/recording_list.h"
#include "web/upload_handlers.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;

// A session with a data folder of its own, asked as the page asks it.
class RouterTest : public testing::Test {
 protected:
  RouterTest() {
    engine_.data_dir = folder_.path();
    fs::create_directories(recordings_dir(engine_));
    fs::create_directories(sample_data_dir(engine_));
  }
  ~RouterTest() override { stop(engine_); }

  Reply ask(const std::string& target, const std::string& body = "") {
    Request request;
    const std::size_t question = target.find('?');
    request.path = target.substr(0, question);
    if (question != std::string::npos) request.query = parse_query(target.substr(question + 1));
    request.method = body.empty() ? "GET" : "POST";
    request.body = body;
    return route(request, site_);
  }
  // The body of a reply with status 200.
  std::string body(const std::string& target, const std::string& sent = "") {
    const std::string bytes = ask(target, sent).bytes;
    EXPECT_TRUE(bytes.starts_with("HTTP/1.1 200 OK\r\n")) << bytes;
    return bytes.substr(bytes.find("\r\n\r\n") + 4);
  }
  void write_saved(const std::string& name, const std::string& content) {
    ASSERT_TRUE(write_file(recordings_dir(engine_) + "/" + name, content));
  }
  static std::string flat_ecg(int lines) {
    std::string text;
    for (int i = 0; i < lines; ++i) text += std::to_string(i % 7) + "\n";
    return text;
  }
  std::string source_label() {
    const SessionLock hold(engine_.lock);
    return engine_.source_label;
  }

  TemporaryFolder folder_;
  Engine engine_;
  Site site_{engine_, folder_ / "web"};
};

TEST_F(RouterTest, ComparesPathsExactly) {
  for (const char* path : {"/STATUS", "/status/", "", "status", "/recordings?", "/%73tatus"}) {
    const bool matches = std::string(path) == "/recordings?";  // an empty query is no other path
    EXPECT_EQ(ask(path).bytes == not_found_reply().bytes, !matches) << path;
  }
}

TEST_F(RouterTest, ServesThePageAndItsFiles) {
  EXPECT_EQ(body("/").size(), 55773u);
  EXPECT_TRUE(body("/index.html").starts_with("<!DOCTYPE html>"));
  EXPECT_EQ(body("/ball.png").size(), 166420u);
  EXPECT_EQ(body("/piano.wav").size(), 53252u);
  EXPECT_EQ(ask("/logo.png").bytes, not_found_reply().bytes);
  fs::create_directories(folder_ / "web");
  ASSERT_TRUE(write_file(folder_ / "web/logo.png", "png"));
  EXPECT_EQ(body("/logo.png"), "png");
}

TEST_F(RouterTest, ListsRecordings) {
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

TEST_F(RouterTest, AnswersAsAnIdleProgram) {
  EXPECT_EQ(body("/mark?key=3"), R"({"ok":false})");
  EXPECT_EQ(body("/bt_available"), R"({"available":false})");
  EXPECT_EQ(body("/scan"), R"({"success":true,"devices":[]})");
  EXPECT_EQ(body("/seek?frac=abc"), R"({"ok":true})");
  EXPECT_EQ(body("/stop"), R"({"ok":true})");
  EXPECT_EQ(body("/save"), R"({"ok":false,"error":"Nothing recorded to save yet."})");
  EXPECT_EQ(body("/export_status"), R"({"status":"idle"})");
  EXPECT_EQ(body("/tfr_status"), R"({"status":"idle"})");
  EXPECT_EQ(body("/tfr_images"), R"({"status":"idle","images":null})");
  EXPECT_EQ(body("/batch_status"), R"({"status":"idle","total":0,"done":0,"msg":""})");
  EXPECT_TRUE(ask("/stream").event_stream);
}

TEST_F(RouterTest, RefusesWhatNeedsMore) {
  EXPECT_EQ(ask("/start_live").bytes, json_reply(R"({"error":"no address"})", 400).bytes);
  const Reply not_found = json_reply(R"({"error":"file not found"})", 404);
  for (const char* target : {"/start_replay", "/start_replay?file=none.txt",
                             "/start_replay?dir=saved&file=", "/start_replay?file=.."}) {
    EXPECT_EQ(ask(target).bytes, not_found.bytes) << target;
  }
  EXPECT_EQ(body("/import"), R"({"ok":false,"note":"No file received."})");
  EXPECT_EQ(body("/batch_start?root="), R"({"ok":false,"reason":"No folder selected."})");
  EXPECT_EQ(body("/tfr"), R"({"ok":true,"status":"computing"})");
  EXPECT_EQ(body("/tfr_status"), R"({"status":"error","error":"Not enough data recorded yet."})");
  engine_.batch_running = true;
  const std::string running = R"({"ok":false,"reason":"A batch is already running."})";
  EXPECT_EQ(body("/batch_start?root=/x"), running);
  EXPECT_EQ(body("/batch_run"), running);
}

TEST_F(RouterTest, NeverPretendsThatAJobItLacksHasWorked) {
  for (const char* target : {"/export", "/batch_start?root=/x", "/batch_run?mode=single"}) {
    EXPECT_TRUE(body(target).starts_with(R"({"ok":false,)")) << target;
  }
  EXPECT_TRUE(body("/export_status").starts_with(R"({"status":"error","error":")"));
  EXPECT_EQ(body("/batch_status"), R"({"status":"idle","total":0,"done":0,"msg":""})");
}

TEST_F(RouterTest, AFailedReplayLeavesTheCurrentRunAlone) {
  write_saved("a.csv", flat_ecg(5000));
  EXPECT_EQ(body("/start_replay?dir=saved&file=a.csv&speed=0"), R"({"ok":true})");
  ask("/start_replay?file=none.txt");
  EXPECT_EQ(source_label(), "a.csv");
  EXPECT_TRUE(engine_.running);
}

TEST_F(RouterTest, LooksForSavedRecordingsOnlyUnderTheExactWord) {
  write_saved("a.csv", flat_ecg(500));
  EXPECT_NE(ask("/start_replay?dir=SAVED&file=a.csv").bytes.find(" 404 "), std::string::npos);
  EXPECT_NE(ask("/start_replay?file=a.csv").bytes.find(" 404 "), std::string::npos);
  EXPECT_EQ(body("/start_replay?dir=saved&file=a.csv&label="), R"({"ok":true})");
  EXPECT_EQ(source_label(), "a.csv");
  EXPECT_EQ(body("/start_replay?dir=saved&file=a.csv&label=Mine"), R"({"ok":true})");
  EXPECT_EQ(source_label(), "Mine");
}

TEST_F(RouterTest, ReadsMarkerKeysAsNumbers) {
  write_saved("a.csv", flat_ecg(5000));
  ask("/start_replay?dir=saved&file=a.csv&speed=0");
  EXPECT_EQ(body("/mark?key=0"), R"({"ok":false})");
  EXPECT_EQ(body("/mark?key=10"), R"({"ok":false})");
  EXPECT_EQ(body("/mark?key=0.9"), R"({"ok":false})");
  EXPECT_EQ(body("/mark?key=1e99"), R"({"ok":false})");
  EXPECT_EQ(body("/mark?key=2.9"), R"({"ok":true})");
  EXPECT_EQ(body("/mark?key=4"), R"({"ok":false})");  // on the same sample
  ask("/seek?frac=0.5");
  EXPECT_EQ(body("/mark?key=3,5"), R"({"ok":true})");
  const SessionLock hold(engine_.lock);
  ASSERT_EQ(engine_.markers.size(), 2u);
  EXPECT_EQ(engine_.markers[0].key, 2);
  EXPECT_EQ(engine_.markers[1].key, 3);
  EXPECT_EQ(engine_.markers[1].sample_index, 2500);
}

TEST_F(RouterTest, ImportsARawEcg) {
  const std::string reply = body("/import?fname=My+test.txt&label=other", flat_ecg(1000));
  const std::string prefix = R"({"ok":true,"file":"imported_My_test_)";
  ASSERT_TRUE(reply.starts_with(prefix)) << reply;
  const std::string name = reply.substr(19, reply.size() - 19 - 2);
  EXPECT_EQ(name.size(), std::string("imported_My_test_20260101-120000.csv").size());
  EXPECT_EQ(source_label(), "Imported — My test.txt");
  std::string stored;
  ASSERT_TRUE(read_file(recordings_dir(engine_) + "/" + name, stored));
  EXPECT_EQ(stored, flat_ecg(1000));
}

TEST_F(RouterTest, BringsAnImportTo130SamplesPerSecond) {
  body("/import?name=b&fs=260", "1000000.4\n-0.00001234567\n" + flat_ecg(998));
  const SessionLock hold(engine_.lock);
  EXPECT_EQ(engine_.replay_len, 500);
  EXPECT_EQ(engine_.replay_ecg.samples()[0], 1e6);  // six significant digits are kept
  EXPECT_EQ(engine_.source_label, "Imported — b");
}

TEST_F(RouterTest, RefusesAnImportThatIsNoRecording) {
  const std::string note =
      "{\"ok\":false,\"note\":\"That file did not look like a raw ECG (.txt/.csv with one sample "
      "per line) or a Kubios export.\"}";
  EXPECT_EQ(body("/import?fname=a.txt", "hello"), note);
  EXPECT_EQ(body("/import?fname=a.txt", flat_ecg(389)), note);
  EXPECT_EQ(body("/import?fname=a.txt&fs=1e-300", flat_ecg(389)), note);
  EXPECT_EQ(body("/import?fname=k.csv", "Kubios\nRR INTERVAL DATA\n,1,0.8\n,2,0.9\n"),
            R"({"ok":false,"note":"This looks like a Kubios file but no RR-interval column was )"
            R"(found."})");
  EXPECT_FALSE(engine_.running);
}

TEST_F(RouterTest, AKubiosImportDuringABatchLeavesTheUploadsAlone) {
  body("/batch_upload?rel=a.txt", "x");
  engine_.batch_running = true;
  EXPECT_EQ(body("/import?fname=k.csv", "Kubios\nRR INTERVAL DATA\n,1,1\n,2,1\n,3,1\n"),
            R"({"ok":false,"note":"A batch is already running."})");
  EXPECT_TRUE(fs::exists(upload_dir(engine_) + "/a.txt"));
}

TEST_F(RouterTest, StoresUploadsInsideTheUploadFolder) {
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

}  // namespace
}  // namespace tvn
