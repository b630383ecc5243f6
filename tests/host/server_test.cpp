#include "host/server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>

#include "base/clock.h"
#include "base/files.h"
#include "host/platform.h"
#include "tests/stand_in.h"
#include "tests/wait_until.h"

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

// A connection that the server was first to close stays with its port for a minute.
TEST(ListenOnFreePort, TakesThePortOfAProgramThatHasJustEnded) {
  const auto before = listen_on_free_port(18300);
  ASSERT_TRUE(before);
  const int client = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(before->port));
  ASSERT_EQ(::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ::close(accept_connection(before->fd));
  char byte;
  EXPECT_EQ(::recv(client, &byte, 1, 0), 0);
  ::close(client);
  ::close(before->fd);
  const auto after = listen_on_free_port(before->port);
  ASSERT_TRUE(after);
  EXPECT_EQ(after->port, before->port);
  ::close(after->fd);
}

// Another run of this test may hold the port for a moment.
TEST(ListenOnFreePort, TakesTheVeryLastPort) {
  std::optional<Listener> listener;
  ASSERT_TRUE(wait_until([&] { return (listener = listen_on_free_port(65535)).has_value(); }));
  EXPECT_EQ(listener->port, 65535);
  ::close(listener->fd);
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

TEST(LaunchBrowser, ReturnsAtOnceAndLeavesNeitherChildNorNoise) {
  const TemporaryFolder folder;
  const StandIn opener(browser_command(),
                       "echo noise; echo more >&2; echo \"$1\" > '" + folder.path() + "/opened'");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const double begun = monotonic_seconds();
  launch_browser(8123);
  EXPECT_LT(monotonic_seconds() - begun, 0.9);  // it opens a second later
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  std::string opened;
  EXPECT_TRUE(wait_until([&] { return read_file(folder / "opened", opened) && !opened.empty(); }));
  EXPECT_EQ(opened, "http://127.0.0.1:8123/\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
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
