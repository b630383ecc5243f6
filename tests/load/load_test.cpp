// Ten thousand requests, a third of them malformed, from 16 clients, while 64 pages listen to the
// event stream and 200 connections begin a request and never end it: the status comes at once
// throughout, and nothing is left of all that. TVN_LOAD_REQUESTS changes their number.
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "tests/api/program.h"
#include "tests/load/bare_server.h"
#include "tests/load/load_requests.h"
#include "tests/wait_until.h"

namespace tvn {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

constexpr int k_clients = 16;
constexpr int k_streams = 64;
constexpr int k_unfinished = 200;
constexpr std::chrono::milliseconds k_between_probes{10};
// Seconds that the program may take for a status. Sanitizers and builds without optimisation are
// slow; there the load looks for faults.
#ifdef TVN_RELEASE_BUILD
constexpr double k_status_limit = 0.1;
#else
constexpr double k_status_limit = 10.0;
#endif

std::uint64_t request_count() {
  const char* count = getenv("TVN_LOAD_REQUESTS");
  return count == nullptr ? 10000 : std::stoull(count);
}

std::ptrdiff_t entries_in(pid_t process, const std::string& folder) {
  const std::filesystem::directory_iterator entries("/proc/" + std::to_string(process) + "/" +
                                                    folder);
  return std::distance(begin(entries), end(entries));
}

struct Times {
  double of_99_percent, slowest;  // seconds
};

Times times_of(std::vector<double> seconds, const char* what) {
  std::sort(seconds.begin(), seconds.end());
  const Times times{seconds[seconds.size() * 99 / 100], seconds.back()};
  std::printf("%s: median %.1f ms, 99 %% within %.1f ms, slowest %.1f ms, of %zu\n", what,
              1e3 * seconds[seconds.size() / 2], 1e3 * times.of_99_percent, 1e3 * times.slowest,
              seconds.size());
  return times;
}

// Connections that are only held, and read so that the other end can go on writing.
class HeldConnections {
 public:
  explicit HeldConnections(int port) : port_(port) {}
  HeldConnections(const HeldConnections&) = delete;
  HeldConnections& operator=(const HeldConnections&) = delete;
  ~HeldConnections() {
    over_ = true;
    if (reader_.joinable()) reader_.join();
    for (const pollfd& held : held_) ::close(held.fd);
  }

  void open(const std::string& bytes) {
    const int fd = connect_to(port_);
    ASSERT_GE(fd, 0);
    send_text(fd, bytes);
    held_.push_back({fd, POLLIN, 0});
  }
  void start_reading() {
    reader_ = std::thread([this] {
      while (!over_) read_what_came();
    });
  }
  std::size_t bytes_read() const { return bytes_read_; }

 private:
  void read_what_came() {
    ::poll(held_.data(), held_.size(), 50);
    for (pollfd& held : held_) {
      const ssize_t got = held.revents != 0 ? ::recv(held.fd, piece_.data(), piece_.size(), 0) : 1;
      if (got <= 0) held.events = 0;
      if (held.revents != 0 && got > 0) bytes_read_ += static_cast<std::size_t>(got);
    }
  }

  int port_;
  std::vector<pollfd> held_;
  std::array<char, 262144> piece_;
  std::atomic<std::size_t> bytes_read_{0};
  std::atomic<bool> over_{false};
  std::thread reader_;
};

class LoadTest : public testing::Test {
 protected:
  LoadTest() {
    EXPECT_TRUE(read_file(program_.folder() + "/sample_data/Sample 1.txt", recording_));
  }

  std::string get(const std::string& target) const {
    const int port = program_.port();
    return send_request(port, "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" +
                                  std::to_string(port) + "\r\n\r\n");
  }

  // Sends one request; whether it was answered as a request is.
  bool send_one(const LoadRequest& request) const {
    const int fd = connect_to(program_.port());
    send_text(fd, request.bytes);
    std::string reply;
    if (!request.hangs_up) {
      if (request.is_malformed) ::shutdown(fd, SHUT_WR);
      reply = receive_all(fd, 60.0);
    }
    ::close(fd);
    return reply.starts_with("HTTP/1.1 ");
  }

  void send_share(std::uint64_t count) {
    for (std::uint64_t number; (number = next_request_++) < count;) {
      const LoadRequest request = load_request(number, program_.port(), recording_);
      if (!send_one(request) && !request.is_malformed) ++unanswered_;
    }
  }

  void probe_status() {
    while (!over_) {
      double begun = monotonic_seconds();
      const std::string reply = get("/status");
      probes_.push_back(monotonic_seconds() - begun);
      if (!reply.ends_with("}")) ++unanswered_;
      std::this_thread::sleep_for(k_between_probes);
      begun = monotonic_seconds();
      send_request(bare_server_.port(), "GET / HTTP/1.1\r\n\r\n");
      bare_probes_.push_back(monotonic_seconds() - begun);
      std::this_thread::sleep_for(k_between_probes);
    }
  }

  void send_load(std::uint64_t count) {
    std::thread prober([this] { probe_status(); });
    std::vector<std::thread> clients;
    for (int i = 0; i < k_clients; ++i) clients.emplace_back([=, this] { send_share(count); });
    for (std::thread& client : clients) client.join();
    over_ = true;
    prober.join();
  }

  // On a machine that has other work every thread waits for a processor, which a bare server tells:
  // the limit is what the program itself may add.
  void expect_quick_answers() {
    const Times status = times_of(probes_, "/status"), bare = times_of(bare_probes_, "bare");
    EXPECT_LT(status.of_99_percent, k_status_limit + 2 * bare.of_99_percent);
    EXPECT_LT(status.slowest, k_status_limit + 2 * bare.slowest);
    EXPECT_EQ(unanswered_, 0);
  }

  Program program_{{std::to_string(test_port()), {{"TVN_GUARD", "1"}}, false}};
  std::string recording_;
  std::atomic<std::uint64_t> next_request_{0};
  std::atomic<int> unanswered_{0};
  std::atomic<bool> over_{false};
  BareServer bare_server_;
  std::vector<double> probes_, bare_probes_;  // seconds
};

TEST_F(LoadTest, TheStatusComesAtOnceAndNothingIsLeft) {
  const pid_t process = program_.process();
  get("/status");
  program_.wait_for_opener();
  const std::ptrdiff_t threads = entries_in(process, "task"), files = entries_in(process, "fd");
  {
    HeldConnections held(program_.port());
    for (int i = 0; i < k_streams; ++i) held.open("GET /stream HTTP/1.1\r\n\r\n");
    for (int i = 0; i < k_unfinished; ++i) held.open(unfinished_request(std::uint64_t(i)));
    held.start_reading();
    ASSERT_TRUE(wait_until(
        [&] { return entries_in(process, "task") == threads + k_streams + k_unfinished; }));
    send_load(request_count());
    EXPECT_GT(held.bytes_read(), std::size_t{k_streams} * 10000);
    EXPECT_GE(entries_in(process, "task"), threads + k_streams + k_unfinished);
  }
  expect_quick_answers();
  get("/stop");
  EXPECT_TRUE(wait_until([&] { return entries_in(process, "task") == threads; }, 60.0))
      << entries_in(process, "task") << " threads, " << threads << " before";
  EXPECT_TRUE(wait_until([&] { return entries_in(process, "fd") == files; }, 10.0))
      << entries_in(process, "fd") << " descriptors, " << files << " before";
  EXPECT_TRUE(program_.is_alive());
  EXPECT_THAT(program_.error_output(),
              Not(AnyOf(HasSubstr("Sanitizer"), HasSubstr("runtime error"))));
}

}  // namespace
}  // namespace tvn
