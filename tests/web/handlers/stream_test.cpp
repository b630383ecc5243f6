// The status stream as a client on a socket sees it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <future>
#include <thread>

#include "session/status.h"
#include "web/handlers/router.h"
#include "web/http/connection.h"

namespace tvn {
namespace {

class StreamTest : public testing::Test {
 protected:
  StreamTest() {
    signal(SIGPIPE, SIG_IGN);  // as the program does
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    client_ = ends[1];
    constexpr std::string_view k_request = "GET /stream HTTP/1.1\r\n\r\n";
    EXPECT_EQ(::send(client_, k_request.data(), k_request.size(), 0),
              static_cast<ssize_t>(k_request.size()));
    server_ = std::thread([this, fd = ends[0]] {
      route_request(fd, [this](const Request& request) { return route(request, site_); });
    });
  }
  ~StreamTest() override {
    shutdown(client_, SHUT_RDWR);
    server_.join();
    ::close(client_);
  }
  std::string receive(std::size_t count) {
    std::string text(count, '\0');
    const ssize_t got = ::recv(client_, text.data(), count, MSG_WAITALL);
    text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return text;
  }

  Engine engine_;
  Site site_{engine_, "/nonexistent"};
  int client_ = -1;
  std::thread server_;
};

TEST_F(StreamTest, TellsTheStatusAgainAndAgain) {
  const std::string head = event_stream_reply(nullptr).bytes;
  const std::string event = event_text(status_json(engine_));
  EXPECT_EQ(receive(head.size() + 3 * event.size()), head + event + event + event);
}

// An event larger than the socket takes: the sending thread waits for the reader, and nobody else
// may wait with it.
TEST_F(StreamTest, HoldsNoLockWhileAReaderStalls) {
  {
    const SessionLock hold(engine_.lock);
    engine_.name_id = std::string(4 << 20, 'x');
  }
  // Once a byte of the large event is here, its sender is in the middle of it.
  std::string received;
  while (received.find("xxxx") == std::string::npos) received += receive(1024);
  auto status = std::async(std::launch::async, [this] { return status_json(engine_).size(); });
  EXPECT_EQ(status.wait_for(std::chrono::seconds(5)), std::future_status::ready);
}

}  // namespace
}  // namespace tvn
