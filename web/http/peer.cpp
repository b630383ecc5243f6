#include "web/http/peer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace tvn {

int local_port(int fd) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return address.sin_family == AF_INET ? ntohs(address.sin_port) : 0;
}

bool is_other_user(std::uint32_t inode, std::uint32_t user, std::uint32_t own_user) {
  return inode == 0 || (user != 0 && user != own_user);
}

}  // namespace tvn
