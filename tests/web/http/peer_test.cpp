#include "web/http/peer.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace tvn {
namespace {

#if defined(__linux__)  // a Mac does not tell whose a connection is
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
  int accept() const {
    pollfd waiting{listener_, POLLIN, 0};
    EXPECT_EQ(::poll(&waiting, 1, 10'000), 1);  // a client that fails must not hold the test
    return ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK);
  }

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

TEST_F(PeerTest, AClientThatHasClosedIsNobody) {
  ::close(connect());
  const int server = accept();
  EXPECT_TRUE(peer_is_other_user(server));
  ::close(server);
}

// Who uses up the program's descriptors must not get in for that.
TEST_F(PeerTest, WithoutDescriptorsNobodyIsKnown) {
  EXPECT_TRUE(system_tells_peers());
  const int client = connect();
  const int server = accept();
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{0, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const bool other = peer_is_other_user(server), tells = system_tells_peers();
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_TRUE(other);
  EXPECT_FALSE(tells);
  EXPECT_FALSE(peer_is_other_user(server));
  ::close(client);
  ::close(server);
}

// Only the superuser can be somebody else; the rule itself is tested below.
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

TEST(Peer, OthersAreNeitherTheUserNorRootNorAlive) {
  EXPECT_FALSE(is_other_user(4711, 1000, 1000));
  EXPECT_FALSE(is_other_user(4711, 0, 1000));
  EXPECT_TRUE(is_other_user(4711, 1001, 1000));
  EXPECT_TRUE(is_other_user(4711, 1000, 0));
  EXPECT_TRUE(is_other_user(0, 1000, 1000));
  EXPECT_TRUE(is_other_user(0, 0, 0));  // as the kernel tells of closed sockets, whosever they were
}

TEST(Peer, WhatIsNoTcpConnectionHasNoPortAndNobodyAtItsEnd) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  EXPECT_EQ(local_port(ends[0]), 0);
  EXPECT_EQ(local_port(-1), 0);
  EXPECT_TRUE(peer_is_other_user(ends[0]));
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace
}  // namespace tvn
