#include "web/handlers/router.h"

#include "session/status.h"
#include "tests/web/handlers/site_fixture.h"

namespace tvn {
namespace {

using RouterTest = SiteTest;

namespace fs = std::filesystem;

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
  const Reply stream = ask("/stream");
  ASSERT_TRUE(stream.next_event);
  EXPECT_EQ(stream.next_event(), event_text(status_json(engine_)));
}

// The method says nothing but whether there is a body.
TEST_F(RouterTest, AnswersEveryMethodAlike) {
  for (const char* path : {"/",
                           "/index.html",
                           "/logo.png",
                           "/ball.png",
                           "/piano.wav",
                           "/mark",
                           "/bt_available",
                           "/recordings",
                           "/scan",
                           "/status",
                           "/seek",
                           "/start_replay",
                           "/start_live",
                           "/stop",
                           "/save",
                           "/export_status",
                           "/tfr_status",
                           "/tfr_images",
                           "/batch_status",
                           "/batch_new",
                           "/batch_upload",
                           "/import",
                           "/stream",
                           "/nothing"}) {
    Request request;
    request.path = path;
    request.method = "GET";
    const Reply wanted = route(request, site_);
    for (const char* method : {"POST", "PUT", "HEAD", "get", ""}) {
      request.method = method;
      const Reply reply = route(request, site_);
      EXPECT_EQ(reply.bytes, wanted.bytes) << method << " " << path;
      EXPECT_EQ(!reply.next_event, !wanted.next_event);
    }
  }
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

}  // namespace
}  // namespace tvn
