#include "web/http/peer.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace tvn {
namespace {

// A connection over the loopback: a server's end, and a client's that the test has.
class PeerTest : public testing::Test {
 protected:
  PeerTest() {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::bind(listener_, as_address(), sizeof address_), 0);
    EXPECT_EQ(::listen(listener_, 4), 0);
    socklen_t size = sizeof address_;
    EXPECT_EQ(::getsockname(listener_, reinterpret_cast<sockaddr*>(&address_), &size), 0);
  }
  ~PeerTest() override { ::close(listener_); }
  const sockaddr* as_address() const { return reinterpret_cast<const sockaddr*>(&address_); }
  int connect() const {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(::connect(fd, as_address(), sizeof address_), 0);
    return fd;
  }
  int accept() const { return ::accept(listener_, nullptr, nullptr); }

  int listener_ = -1;
  sockaddr_in address_{};
};

TEST_F(PeerTest, TheUsersOwnClientIsNoOtherUser) {
  const int client = connect();
  const int server = accept();
  EXPECT_EQ(local_port(server), ntohs(address_.sin_port));
  EXPECT_FALSE(peer_is_other_user(server));
  ::shutdown(client, SHUT_WR);  // it has said all, and reads on
  EXPECT_FALSE(peer_is_other_user(server));
  ::close(client);
  ::close(server);
}

// Programs that know of IPv6 alone reach the server by an address like ::ffff:127.0.0.1.
TEST_F(PeerTest, AClientOverAMappedAddressIsNoOtherUser) {
  const int client = ::socket(AF_INET6, SOCK_STREAM, 0);
  sockaddr_in6 mapped{};
  mapped.sin6_family = AF_INET6;
  mapped.sin6_port = address_.sin_port;
  ASSERT_EQ(::inet_pton(AF_INET6, "::ffff:127.0.0.1", &mapped.sin6_addr), 1);
  ASSERT_EQ(::connect(client, reinterpret_cast<sockaddr*>(&mapped), sizeof mapped), 0);
  const int server = accept();
  EXPECT_FALSE(peer_is_other_user(server));
  ::close(client);
  ::close(server);
}

#if defined(__linux__)
TEST_F(PeerTest, AClientThatHasClosedIsNobody) {
  ::close(connect());
  const int server = accept();
  EXPECT_TRUE(peer_is_other_user(server));
  ::close(server);
}

// Only the superuser can be somebody else; who is not runs the test above and those of the API.
TEST_F(PeerTest, AnotherUsersClientIsOne) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs the superuser, to become another user";
  constexpr uid_t k_nobody = 65534;
  const pid_t child = ::fork();
  if (child == 0) {
    const bool other = ::setuid(k_nobody) == 0;
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (!other || ::connect(fd, as_address(), sizeof address_) != 0) _exit(1);
    ::pause();
    _exit(0);
  }
  const int server = accept();
  EXPECT_TRUE(peer_is_other_user(server));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  ::close(server);
}
#endif

TEST(Peer, WhatIsNoTcpConnectionHasNoPortAndNoOtherUser) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  EXPECT_EQ(local_port(ends[0]), 0);
  EXPECT_FALSE(peer_is_other_user(ends[0]));
  EXPECT_FALSE(peer_is_other_user(-1));
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace
}  // namespace tvn
