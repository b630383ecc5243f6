#include "web/http/reply.h"

#include <gtest/gtest.h>

#include "assets/assets.h"
#include "base/files.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

TEST(JsonReply, IsFramedToTheByte) {
  EXPECT_EQ(json_reply(R"({"ok":true})").bytes,
            "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 11\r\n"
            "Cache-Control: no-store\r\nConnection: close\r\n\r\n{\"ok\":true}");
  EXPECT_TRUE(json_reply("{}", 404).bytes.starts_with("HTTP/1.1 404 OK\r\n"));
  EXPECT_TRUE(json_reply("{}", 400).bytes.starts_with("HTTP/1.1 400 OK\r\n"));
}

TEST(JsonReply, CountsBytesNotCharacters) {
  EXPECT_NE(json_reply("\"\xc3\xa9\"").bytes.find("Content-Length: 4\r\n"), std::string::npos);
}

TEST(NotFoundReply, IsFramedToTheByte) {
  EXPECT_EQ(not_found_reply().bytes,
            "HTTP/1.1 404 Not Found\r\nContent-Length:0\r\nConnection: close\r\n\r\n");
}

TEST(EventStream, IsFramedToTheByte) {
  const Reply stream = event_stream_reply([] { return std::string("an event"); });
  EXPECT_EQ(stream.bytes,
            "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-cache\r\n"
            "Connection: keep-alive\r\n\r\n");
  EXPECT_EQ(stream.next_event(), "an event");
  EXPECT_EQ(event_text("{}"), "data: {}\n\n");
}

// What a browser makes of an event: its "data" lines, joined by line feeds.
TEST(EventStream, ATextOfSeveralLinesIsOneEvent) {
  EXPECT_EQ(event_text("{\"a\":\"x\ry\"}"), "data: {\"a\":\"x\ndata: y\"}\n\n");
  EXPECT_EQ(event_text("a\r\nb\n\rc"), "data: a\ndata: b\ndata: \ndata: c\n\n");
  EXPECT_EQ(event_text("\r"), "data: \ndata: \n\n");
  EXPECT_EQ(event_text(""), "data: \n\n");
}

TEST(FileReply, PrefersTheFileOnDisk) {
  const TemporaryFolder folder;
  ASSERT_TRUE(write_file(folder / "index.html", "<p>mine</p>"));
  EXPECT_EQ(file_reply(folder / "index.html").bytes,
            "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: 11\r\n"
            "Cache-Control: no-store\r\nConnection: close\r\n\r\n<p>mine</p>");
}

TEST(FileReply, FallsBackToTheEmbeddedCopy) {
  const std::string bytes = file_reply("/no/such/folder/piano.wav").bytes;
  EXPECT_NE(bytes.find("Content-Type: audio/wav\r\nContent-Length: 53252\r\n"), std::string::npos);
  EXPECT_TRUE(bytes.ends_with(*find_asset("piano.wav")));
}

TEST(FileReply, IsNotFoundWithoutEither) {
  EXPECT_EQ(file_reply("/no/such/folder/logo.png").bytes, not_found_reply().bytes);
}

TEST(ContentType, GoesByTheEnding) {
  EXPECT_EQ(content_type("a.html"), "text/html; charset=utf-8");
  EXPECT_EQ(content_type(".html"), "application/octet-stream");
  EXPECT_EQ(content_type("a.css"), "text/css");
  EXPECT_EQ(content_type("a.wav"), "audio/wav");
  EXPECT_EQ(content_type(".png"), "image/png");
  EXPECT_EQ(content_type("a.ico"), "image/x-icon");
  EXPECT_EQ(content_type("a.js"), "application/javascript");
  EXPECT_EQ(content_type("a.PNG"), "application/octet-stream");
  EXPECT_EQ(content_type("a"), "application/octet-stream");
}

}  // namespace
}  // namespace tvn
