#include "web/http/connection.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>
#include <thread>

#include "base/clock.h"

namespace tvn {
namespace {

constexpr std::chrono::milliseconds k_between_events{50};
constexpr std::size_t k_most_drained_bytes = std::size_t{16} << 20;
constexpr double k_longest_drain = 1.0;  // seconds

std::size_t receive_some(int fd, char* buffer, std::size_t size) {
  for (;;) {
    const ssize_t got = ::recv(fd, buffer, size, 0);
    if (got < 0 && errno == EINTR) continue;
    return got > 0 ? static_cast<std::size_t>(got) : 0;
  }
}

// Each event goes out in one send call. A peer that reads slowly delays only this thread; the
// event was made before, so no lock is held meanwhile.
void send_events(int fd, const EventFunction& next_event) {
  for (;;) {
    const std::string event = next_event();
    if (::send(fd, event.data(), event.size(), 0) <= 0) return;
    std::this_thread::sleep_for(k_between_events);
  }
}

}  // namespace

void route_request(int fd, const AnswerFunction& answer, const HeadFilter& admits) {
  auto request = read_request(
      [fd](char* buffer, std::size_t size) { return receive_some(fd, buffer, size); }, admits);
  if (!request) {
    ::close(fd);
    return;
  }
  const Reply reply = answer(*request);
  request.reset();
  send_all(fd, reply.bytes);
  if (reply.next_event) {
    send_events(fd, reply.next_event);
    ::close(fd);
  } else {
    finish_connection(fd);
  }
}

void send_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(fd, bytes.data(), bytes.size(), 0);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void finish_connection(int fd) {
  ::shutdown(fd, SHUT_WR);
  const double deadline = monotonic_seconds() + k_longest_drain;
  std::array<char, 65536> discarded;
  std::size_t drained = 0;
  while (drained < k_most_drained_bytes) {
    const double left = deadline - monotonic_seconds();
    pollfd waiting{fd, POLLIN, 0};
    if (left <= 0.0 || ::poll(&waiting, 1, static_cast<int>(left * 1000.0) + 1) <= 0) break;
    const std::size_t got = receive_some(fd, discarded.data(), discarded.size());
    if (got == 0) break;
    drained += got;
  }
  ::close(fd);
}

}  // namespace tvn
