#include "tests/load/bare_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <string>

#include "tests/api/program.h"

namespace tvn {
namespace {

constexpr std::size_t k_reply_bytes = 50000;

void answer(int fd) {
  std::array<char, 4096> request;
  if (::recv(fd, request.data(), request.size(), 0) > 0) {
    send_text(fd, std::string(k_reply_bytes, 'x'));
  }
  ::close(fd);
}

}  // namespace

BareServer::BareServer() : listener_(::socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  EXPECT_EQ(::bind(listener_, reinterpret_cast<const sockaddr*>(&address), size), 0);
  EXPECT_EQ(::listen(listener_, 32), 0);
  EXPECT_EQ(::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size), 0);
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { serve(); });
}

BareServer::~BareServer() {
  ::shutdown(listener_, SHUT_RDWR);
  thread_.join();
  ::close(listener_);
}

void BareServer::serve() const {
  for (int fd; (fd = ::accept(listener_, nullptr, nullptr)) >= 0;) {
    std::thread([fd] { answer(fd); }).detach();
  }
}

}  // namespace tvn
