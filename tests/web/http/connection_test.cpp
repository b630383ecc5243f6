#include "web/http/connection.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

namespace tvn {
namespace {

// A connection whose client is the test.
class ConnectionTest : public testing::Test {
 protected:
  ConnectionTest() {
    signal(SIGPIPE, SIG_IGN);  // as the program does
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    server_ = ends[0];
    client_ = ends[1];
  }
  ~ConnectionTest() override { ::close(client_); }

  void send_request(const std::string& text) {
    ASSERT_EQ(::send(client_, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  }
  std::string receive(std::size_t at_least = SIZE_MAX) {
    std::string text;
    std::array<char, 4096> piece;
    while (text.size() < at_least) {
      const ssize_t got = ::recv(client_, piece.data(), piece.size(), 0);
      if (got <= 0) break;
      text.append(piece.data(), static_cast<std::size_t>(got));
    }
    return text;
  }

  int server_ = -1;
  int client_ = -1;
  std::string asked_;
  const AnswerFunction answer_ = [this](const Request& request) {
    asked_ += request.path + "\n";
    return json_reply("{}");
  };
};

TEST_F(ConnectionTest, AnswersOneRequestAndCloses) {
  send_request("GET /mark?key=1 HTTP/1.1\r\n\r\nGET /mark?key=2 HTTP/1.1\r\n\r\n");
  std::thread server([this] { route_request(server_, answer_); });
  EXPECT_EQ(receive(), json_reply("{}").bytes);
  server.join();
  EXPECT_EQ(asked_, "/mark\n");
}

TEST_F(ConnectionTest, ClosesASilentClientWithoutAReply) {
  shutdown(client_, SHUT_WR);
  route_request(server_, answer_);
  EXPECT_EQ(receive(), "");
}

TEST_F(ConnectionTest, SendsEachByteOnceWhateverWentBefore) {
  errno = EINTR;
  send_all(server_, "once");
  ::close(server_);
  EXPECT_EQ(receive(), "once");
}

TEST_F(ConnectionTest, StopsSendingToAClientThatHasGone) {
  shutdown(client_, SHUT_RDWR);
  send_all(server_, std::string(1'000'000, 'x'));
  ::close(server_);
}

TEST_F(ConnectionTest, GivesUpOnAClientThatNeverCloses) {
  send_request("GET /mark HTTP/1.1\r\n\r\n");
  const auto start = std::chrono::steady_clock::now();
  route_request(server_, answer_);  // returns although the client keeps its side open
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

// 16 MiB at most of what a client goes on sending, and no longer than a second.
TEST_F(ConnectionTest, DrainsNoMoreThan16MebibytesOfAnEndlessClient) {
  std::size_t sent = 0;
  std::thread client([&] {
    const std::string piece(65536, 'x');
    for (;;) {
      const ssize_t wrote = ::send(client_, piece.data(), piece.size(), 0);
      if (wrote < 0) return;
      sent += static_cast<std::size_t>(wrote);
    }
  });
  finish_connection(server_);
  client.join();
  EXPECT_LT(sent, std::size_t{20} << 20);
}

TEST_F(ConnectionTest, StreamsEventsUntilTheClientGoes) {
  std::atomic<int> made{0};
  send_request("GET /stream HTTP/1.1\r\n\r\n");
  const auto start = std::chrono::steady_clock::now();
  std::thread server([&] {
    route_request(server_, [&](const Request&) {
      return event_stream_reply([&] { return "event " + std::to_string(++made) + ";"; });
    });
  });
  const std::string expected =
      event_stream_reply(nullptr).bytes + "event 1;event 2;event 3;event 4;event 5;";
  EXPECT_EQ(receive(expected.size()).substr(0, expected.size()), expected);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
  shutdown(client_, SHUT_RDWR);
  server.join();
}

}  // namespace
}  // namespace tvn
