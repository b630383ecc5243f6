#include "web/http/request.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <deque>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tvn {
namespace {

// Delivers the given packets one per call, never more than asked for.
class Packets {
 public:
  explicit Packets(std::deque<std::string> packets) : packets_(std::move(packets)) {}
  ReceiveFunction receive() {
    return [this](char* buffer, std::size_t size) { return deliver(buffer, size); };
  }
  std::size_t left() const { return packets_.size(); }

 private:
  std::size_t deliver(char* buffer, std::size_t size) {
    if (packets_.empty()) return 0;
    std::string& packet = packets_.front();
    const std::size_t count = std::min(size, packet.size());
    std::memcpy(buffer, packet.data(), count);
    packet.erase(0, count);
    if (packet.empty()) packets_.pop_front();
    return count;
  }
  std::deque<std::string> packets_;
};

std::optional<Request> read(std::deque<std::string> packets) {
  Packets source(std::move(packets));
  return read_request(source.receive());
}

TEST(ReadRequest, ParsesTheRequestLine) {
  const auto request = read({"GET /mark?key=3&key=5 HTTP/1.1\r\nHost: x\r\n\r\n"});
  ASSERT_TRUE(request);
  EXPECT_EQ(request->method, "GET");
  EXPECT_EQ(request->path, "/mark");
  EXPECT_EQ(request->query, (QueryParams{{"key", "5"}}));
  EXPECT_EQ(request->body, "");
}

// Searching the whole header anew for each byte would take half a minute here.
TEST(ReadRequest, TakesALongHeaderByteByByteInLinearTime) {
  const std::string text = "GET / HTTP/1.1\r\nX: " + std::string(1000000, 'x') + "\r\n\r\n";
  std::size_t at = 0;
  const auto start = std::chrono::steady_clock::now();
  const auto request = read_request([&](char* buffer, std::size_t) {
    if (at == text.size()) return std::size_t{0};
    *buffer = text[at++];
    return std::size_t{1};
  });
  EXPECT_TRUE(request);
  EXPECT_EQ(at, text.size());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(ReadRequest, GivesNothingWhenNothingCame) {
  EXPECT_FALSE(read({}));
}

TEST(ReadRequest, TakesPacketsAsTheyCome) {
  const std::string text = "POST /import?fname=a.txt HTTP/1.1\r\nContent-Length: 5\r\n\r\n12345";
  std::deque<std::string> bytes;
  for (const char c : text) bytes.emplace_back(1, c);
  const auto request = read(bytes);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->path, "/import");
  EXPECT_EQ(request->body, "12345");
}

TEST(ReadRequest, WaitsForTheAnnouncedBody) {
  const auto request = read({"POST / HTTP/1.1\r\nCONTENT-LENGTH: 10\r\n\r\n1234", "5678", "90"});
  ASSERT_TRUE(request);
  EXPECT_EQ(request->body, "1234567890");
}

TEST(ReadRequest, StopsReadingOnceTheBodyIsThere) {
  Packets source({"POST / HTTP/1.1\r\ncontent-length:4\r\n\r\n1234", "later"});
  const auto request = read_request(source.receive());
  ASSERT_TRUE(request);
  EXPECT_EQ(request->body, "1234");
  EXPECT_EQ(source.left(), 1u);
}

TEST(ReadRequest, KeepsSurplusBodyBytesOfTheSameDelivery) {
  const auto request = read({"POST / HTTP/1.1\r\nContent-Length: 2\r\n\r\n1234"});
  ASSERT_TRUE(request);
  EXPECT_EQ(request->body, "1234");
}

TEST(ReadRequest, IgnoresTheBodyOfOtherMethods) {
  for (const char* method : {"GET", "PUT", "post"}) {
    const auto request =
        read({std::string(method) + " / HTTP/1.1\r\nContent-Length: 4\r\n\r\n1234"});
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "") << method;
  }
}

TEST(ReadRequest, ParsesWhatCameWhenTheSenderEndsEarly) {
  const auto header_cut = read({"POST /save HTTP/1.1\r\nContent-Le"});
  ASSERT_TRUE(header_cut);
  EXPECT_EQ(header_cut->path, "/save");
  EXPECT_EQ(header_cut->body, "");
  const auto body_cut = read({"POST / HTTP/1.1\r\nContent-Length: 10\r\n\r\n123"});
  ASSERT_TRUE(body_cut);
  EXPECT_EQ(body_cut->body, "123");
  const auto one_word = read({"GET"});
  ASSERT_TRUE(one_word);
  EXPECT_EQ(one_word->path, "");
}

TEST(ReadRequest, StopsAfterAMegabyteWithoutABlankLine) {
  std::deque<std::string> packets = {"GET /status HTTP/1.1\r\n"};
  for (int i = 0; i < 300; ++i) packets.push_back("X: " + std::string(4091, 'x') + "\r\n");
  Packets source(packets);
  const auto request = read_request(source.receive());
  ASSERT_TRUE(request);
  EXPECT_EQ(request->path, "/status");
  EXPECT_EQ(source.left(), 301u - 257u);  // the first line and 256 x 4096 bytes pass 1 MiB
}

TEST(ReadRequest, ReservesNothingForAHugeAnnouncement) {
  const auto request =
      read({"POST / HTTP/1.1\r\nContent-Length: 99999999999999999999999999\r\n\r\nabc"});
  ASSERT_TRUE(request);
  EXPECT_EQ(request->body, "abc");
}

// What a guard looks at is the head and nothing else, whatever comes with it.
TEST(ReadRequest, ShowsTheWholeHeadAloneAndTakesNothingThatIsNotAdmitted) {
  const std::string head = "POST /save?a=1 HTTP/1.1\r\nContent-Length: 4\r\n\r\n";
  for (const bool admitted : {true, false}) {
    Packets source({head + "body"});
    std::string seen;
    const auto request = read_request(source.receive(), [&](std::string_view shown) {
      seen = shown;
      return admitted;
    });
    ASSERT_TRUE(request);
    EXPECT_EQ(seen, head);
    EXPECT_EQ(request->path, admitted ? "/save" : "");
    EXPECT_EQ(request->body, admitted ? "body" : "");
  }
}

TEST(ParseQuery, FollowsItsRules) {
  EXPECT_EQ(parse_query("a=%41%42"), (QueryParams{{"a", "AB"}}));
  EXPECT_EQ(parse_query("a=%4"), (QueryParams{{"a", "%4"}}));
  EXPECT_EQ(parse_query("a=x+y"), (QueryParams{{"a", "x y"}}));
  EXPECT_EQ(parse_query("a%20b=1"), (QueryParams{{"a%20b", "1"}}));
  EXPECT_EQ(parse_query("alone&=x&b=1=2&&c="), (QueryParams{{"", "x"}, {"b", "1=2"}, {"c", ""}}));
  EXPECT_EQ(parse_query(""), QueryParams{});
}

TEST(DecodeValue, ReadsEscapesAsAnIntegerParserDoes) {
  EXPECT_EQ(decode_value("%4G"), "\x04");
  EXPECT_EQ(decode_value("%4G!"), "\x04!");
  EXPECT_EQ(decode_value("% 5"), "\x05");
  EXPECT_EQ(decode_value("%+a"), "\x0a");
  EXPECT_EQ(decode_value("%-1"), "\xff");
  EXPECT_EQ(decode_value("%0x"), std::string(1, '\0'));
  EXPECT_EQ(decode_value("%c3%A9"), "\xc3\xa9");
  EXPECT_EQ(decode_value("%+0"), std::string(1, '\0'));
  EXPECT_EQ(decode_value("100%"), "100%");
  EXPECT_EQ(decode_value("%2"), "%2");
  for (const char* text : {"%zz", "%G1", "%--", "%+ ", "%  ", "%%41"}) {
    EXPECT_THROW(decode_value(text), std::invalid_argument) << text;
  }
}

TEST(DecodeValue, ReadsEveryByteInBothCases) {
  for (int byte = 0; byte < 256; ++byte) {
    for (const char* form : {"%%%02x", "%%%02X"}) {
      char escape[4];
      std::snprintf(escape, sizeof escape, form, byte);
      EXPECT_EQ(decode_value(escape), std::string(1, static_cast<char>(byte))) << escape;
    }
  }
}

TEST(ContentLength, IsFoundInAnyCase) {
  EXPECT_EQ(content_length("POST / HTTP/1.1\r\nContent-Length: 12\r\nX: y"), 12u);
  EXPECT_EQ(content_length("a\r\nCONTENT-LENGTH:\t7"), 7u);
  EXPECT_EQ(content_length("a\r\ncontent-length: many"), 0u);
  EXPECT_EQ(content_length("a\r\ncontent-length:"), 0u);
  EXPECT_EQ(content_length("a\r\ncontent-length: -5"), 0u);
  EXPECT_EQ(content_length("a\r\nHost: b"), 0u);
  EXPECT_EQ(content_length("content-length: 99999999999999999999"),
            std::numeric_limits<std::size_t>::max());
}

}  // namespace
}  // namespace tvn
