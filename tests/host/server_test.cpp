#include "host/server.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tvn {
namespace {

TEST(PortFromArgument, TakesTheLeadingDigits) {
  EXPECT_EQ(port_from_argument("8123"), 8123);
  EXPECT_EQ(port_from_argument("81x"), 81);
  EXPECT_EQ(port_from_argument("abc"), 0);
  EXPECT_EQ(port_from_argument(""), 0);
  EXPECT_EQ(port_from_argument("-5"), -5);
  EXPECT_GT(port_from_argument("99999999999999999999"), 65535);
}

TEST(ListenOnFreePort, GoesOnToTheNextPort) {
  const auto first = listen_on_free_port(18200);
  ASSERT_TRUE(first);
  const auto second = listen_on_free_port(first->port);
  ASSERT_TRUE(second);
  EXPECT_GT(second->port, first->port);
  ::close(first->fd);
  ::close(second->fd);
}

TEST(ListenOnFreePort, HasNoneBeyondTheRangeOfPorts) {
  EXPECT_FALSE(listen_on_free_port(65536));
  EXPECT_FALSE(listen_on_free_port(2147483647));
  EXPECT_FALSE(listen_on_free_port(-5));
}

TEST(ListenOnFreePort, LetsTheSystemChooseForZero) {
  const auto listener = listen_on_free_port(0);
  ASSERT_TRUE(listener);
  EXPECT_EQ(listener->port, 0);
  ::close(listener->fd);
}

TEST(HandleConnection, OutlivesWhatARequestThrows) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  const char request[] = "GET /status?a=%zz HTTP/1.1\r\n\r\n";
  ASSERT_GT(::send(ends[1], request, sizeof request - 1, 0), 0);
  Engine engine;
  Site site{engine, "."};
  testing::internal::CaptureStderr();
  handle_connection(ends[0], site);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "[handle] exception: malformed percent escape\n");
  char byte;
  EXPECT_EQ(::recv(ends[1], &byte, 1, 0), 0);  // closed without a reply
  ::close(ends[1]);
}

}  // namespace
}  // namespace tvn
