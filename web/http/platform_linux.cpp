#include <arpa/inet.h>
#include <errno.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <optional>

#include "web/http/peer.h"

namespace tvn {
namespace {

struct Question {
  nlmsghdr header;
  inet_diag_req_v2 request;
};

std::optional<sockaddr_in> address_by(int (*get)(int, sockaddr*, socklen_t*), int fd) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (get(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) return std::nullopt;
  return address.sin_family == AF_INET ? std::optional(address) : std::nullopt;
}

// For the TCP socket with this address of its own and this one of its peer's.
Question question_about(const sockaddr_in& own, const sockaddr_in& peer) {
  Question question{};
  question.header.nlmsg_len = sizeof question;
  question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.header.nlmsg_flags = NLM_F_REQUEST;
  question.request.sdiag_family = AF_INET;
  question.request.sdiag_protocol = IPPROTO_TCP;
  question.request.idiag_states = ~0u;
  inet_diag_sockid& id = question.request.id;
  id.idiag_sport = own.sin_port;
  id.idiag_dport = peer.sin_port;
  id.idiag_src[0] = own.sin_addr.s_addr;
  id.idiag_dst[0] = peer.sin_addr.s_addr;
  id.idiag_cookie[0] = id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
  return question;
}

ssize_t receive(int fd, char* buffer, std::size_t size) {
  for (;;) {
    const ssize_t got = ::recv(fd, buffer, size, 0);
    if (got >= 0 || errno != EINTR) return got;
  }
}

// What the kernel knows of that very socket; none when it knows none, or does not answer.
std::optional<inet_diag_msg> ask_kernel(const Question& question) {
  const int netlink = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
  if (netlink < 0) return std::nullopt;
  alignas(nlmsghdr) std::array<char, 4096> answer{};
  const bool sent = ::send(netlink, &question, sizeof question, 0) == ssize_t{sizeof question};
  const ssize_t got = sent ? receive(netlink, answer.data(), answer.size()) : -1;
  ::close(netlink);
  nlmsghdr header{};
  inet_diag_msg socket{};
  if (got < ssize_t{sizeof header + sizeof socket}) return std::nullopt;
  std::memcpy(&header, answer.data(), sizeof header);
  std::memcpy(&socket, answer.data() + sizeof header, sizeof socket);
  // For a connection that is gone it may tell of a listener on the same port.
  const bool is_it = header.nlmsg_type == SOCK_DIAG_BY_FAMILY &&
                     socket.id.idiag_dport == question.request.id.idiag_dport;
  return is_it ? std::optional(socket) : std::nullopt;
}

}  // namespace

bool system_tells_peers() {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in loopback{};
  loopback.sin_family = AF_INET;
  loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const bool listens =
      ::bind(fd, reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback) == 0 &&
      ::listen(fd, 1) == 0;
  const auto own = listens ? address_by(::getsockname, fd) : std::nullopt;
  const bool told = own && ask_kernel(question_about(*own, sockaddr_in{}));
  if (fd >= 0) ::close(fd);
  return told;
}

bool peer_is_other_user(int fd) {
  const auto own = address_by(::getsockname, fd), peer = address_by(::getpeername, fd);
  if (!own || !peer) return true;
  const auto socket = ask_kernel(question_about(*peer, *own));
  return !socket || is_other_user(socket->idiag_inode, socket->idiag_uid, ::geteuid());
}

}  // namespace tvn
