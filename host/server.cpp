#include "host/server.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <system_error>
#include <thread>

#include "base/rounding.h"
#include "host/platform.h"
#include "web/http/connection.h"
#include "web/http/guard.h"
#include "web/http/peer.h"

namespace tvn {
namespace {

constexpr int k_ports_to_try = 50;
constexpr int k_last_port = 65535;
constexpr int k_backlog = 32;

bool bind_loopback(int fd, int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// The listening socket on `port`, or -1. A socket of its own for each port: two programs that start
// at the same moment can both bind one, and the one that then fails to listen must go on.
int listen_on(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  // The browser is a child of ours; it must not keep the port when we end.
  ::fcntl(fd, F_SETFD, FD_CLOEXEC);
  const int yes = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  if (bind_loopback(fd, port) && ::listen(fd, k_backlog) == 0) return fd;
  ::close(fd);
  return -1;
}

// Out of descriptors, say: trying again at once would only burn the processor.
void wait_after_failed_accept() {
  if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

// The user is asked for last: the kernel need not be, for what the head rules out.
HeadFilter guard_of(int fd, bool guards_users) {
  return [=](std::string_view head) {
    return guard_admits(head, local_port(fd)) && !(guards_users && peer_is_other_user(fd));
  };
}

void serve_on_own_thread(int fd, Site& site) {
  try {
    std::thread([fd, &site] { handle_connection(fd, site); }).detach();
  } catch (const std::exception&) {
    ::close(fd);
  }
}

}  // namespace

std::optional<Listener> listen_on_free_port(int first_port) {
  for (int i = 0; i < k_ports_to_try; ++i) {
    if (first_port < 0 || first_port > k_last_port - i) break;
    const int fd = listen_on(first_port + i);
    if (fd >= 0) return Listener{fd, first_port + i};
  }
  return std::nullopt;
}

int port_from_argument(const char* argument) {
  return truncate_to<int>(static_cast<double>(std::strtol(argument, nullptr, 10)));
}

void serve(int listener, Site& site) {
  for (;;) {
    const int fd = accept_connection(listener);
    if (fd >= 0) {
      serve_on_own_thread(fd, site);
    } else {
      wait_after_failed_accept();
    }
  }
}

void handle_connection(int fd, Site& site) noexcept {
  try {
    const auto answer = [&site](const Request& request) { return route(request, site); };
    route_request(fd, answer, site.guarded ? guard_of(fd, site.guards_users) : nullptr);
    return;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "[handle] exception: %s\n", error.what());
  } catch (...) {
    std::fprintf(stderr, "[handle] unknown exception\n");
  }
  ::close(fd);
}

void launch_browser(int port) {
  const std::string address = "http://127.0.0.1:" + std::to_string(port) + "/";
  const std::string command = "(sleep 1 && " + std::string(browser_command()) + " '" + address +
                              "') </dev/null >/dev/null 2>&1 &";
  // The shell ends at once and is waited for; the opener then belongs to the system.
  // When that fails the banner still shows the address.
  [[maybe_unused]] const int status =
      std::system(command.c_str());  // NOLINT(concurrency-mt-unsafe): start-up has one thread
}

}  // namespace tvn
