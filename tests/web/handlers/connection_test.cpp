#include "web/handlers/connection.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <future>
#include <thread>

#include "session/status.h"

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
  Engine engine_;
  Site site_{engine_, "/nonexistent"};
};

TEST_F(ConnectionTest, AnswersOneRequestAndCloses) {
  send_request("GET /mark?key=1 HTTP/1.1\r\n\r\nGET /mark?key=2 HTTP/1.1\r\n\r\n");
  std::thread server([this] { route_request(server_, site_); });
  EXPECT_EQ(receive(), json_reply(R"({"ok":false})").bytes);
  server.join();
}

TEST_F(ConnectionTest, ClosesASilentClientWithoutAReply) {
  shutdown(client_, SHUT_WR);
  route_request(server_, site_);
  EXPECT_EQ(receive(), "");
}

TEST_F(ConnectionTest, GivesUpOnAClientThatNeverCloses) {
  send_request("GET /mark HTTP/1.1\r\n\r\n");
  const auto start = std::chrono::steady_clock::now();
  route_request(server_, site_);  // returns although the client keeps its side open
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

TEST_F(ConnectionTest, StreamsSnapshotsUntilTheClientGoes) {
  send_request("GET /stream HTTP/1.1\r\n\r\n");
  std::thread server([this] { route_request(server_, site_); });
  const std::string head = event_stream_reply().bytes;
  const std::string event = event_text(status_json(engine_));
  EXPECT_EQ(receive(head.size() + 3 * event.size()).substr(0, head.size() + 3 * event.size()),
            head + event + event + event);
  shutdown(client_, SHUT_RDWR);
  server.join();
}

// An event larger than the socket takes: the sending thread waits for the reader, and nobody else
// may wait with it.
TEST_F(ConnectionTest, HoldsNoLockWhileAReaderStalls) {
  {
    const SessionLock hold(engine_.lock);
    engine_.name_id = std::string(4 << 20, 'x');
  }
  send_request("GET /stream HTTP/1.1\r\n\r\n");
  std::thread server([this] { route_request(server_, site_); });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  auto status = std::async(std::launch::async, [this] { return status_json(engine_).size(); });
  EXPECT_EQ(status.wait_for(std::chrono::seconds(5)), std::future_status::ready);
  shutdown(client_, SHUT_RDWR);
  server.join();
}

}  // namespace
}  // namespace tvn
