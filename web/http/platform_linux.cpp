#include <errno.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>

#include "web/http/peer.h"

namespace tvn {
namespace {

struct Question {
  nlmsghdr header;
  inet_diag_req_v2 request;
};

// Asks for the socket at the other end: its own address is our peer's, and its peer's is ours.
std::optional<Question> question_about_peer(int fd) {
  sockaddr_in own{}, peer{};
  socklen_t own_size = sizeof own, peer_size = sizeof peer;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&own), &own_size) != 0 ||
      ::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &peer_size) != 0 ||
      own.sin_family != AF_INET || peer.sin_family != AF_INET) {
    return std::nullopt;
  }
  Question question{};
  question.header.nlmsg_len = sizeof question;
  question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.header.nlmsg_flags = NLM_F_REQUEST;
  question.request.sdiag_family = AF_INET;
  question.request.sdiag_protocol = IPPROTO_TCP;
  question.request.idiag_states = ~0u;
  inet_diag_sockid& id = question.request.id;
  id.idiag_sport = peer.sin_port;
  id.idiag_dport = own.sin_port;
  id.idiag_src[0] = peer.sin_addr.s_addr;
  id.idiag_dst[0] = own.sin_addr.s_addr;
  id.idiag_cookie[0] = id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
  return question;
}

// What the kernel knows of the socket; none when it does not answer such questions. A socket that
// is gone is told by an inode of 0, as one that its process has closed is.
std::optional<inet_diag_msg> ask_kernel(const Question& question) {
  const int netlink = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
  if (netlink < 0) return std::nullopt;
  alignas(nlmsghdr) std::array<char, 4096> answer{};
  const bool sent = ::send(netlink, &question, sizeof question, 0) == ssize_t{sizeof question};
  const ssize_t got = sent ? ::recv(netlink, answer.data(), answer.size(), 0) : -1;
  ::close(netlink);
  if (got < ssize_t{sizeof(nlmsghdr) + sizeof(std::int32_t)}) return std::nullopt;
  nlmsghdr header;
  std::memcpy(&header, answer.data(), sizeof header);
  inet_diag_msg socket{};
  if (header.nlmsg_type == NLMSG_ERROR) {
    std::int32_t error = 0;
    std::memcpy(&error, answer.data() + sizeof header, sizeof error);
    return error == -ENOENT ? std::optional(socket) : std::nullopt;
  }
  if (got < ssize_t{sizeof header + sizeof socket}) return std::nullopt;
  std::memcpy(&socket, answer.data() + sizeof header, sizeof socket);
  return socket;
}

}  // namespace

bool peer_is_other_user(int fd) {
  const auto question = question_about_peer(fd);
  if (!question) return false;
  const auto socket = ask_kernel(*question);
  if (!socket) return false;
  return socket->idiag_inode == 0 || (socket->idiag_uid != 0 && socket->idiag_uid != ::geteuid());
}

}  // namespace tvn
