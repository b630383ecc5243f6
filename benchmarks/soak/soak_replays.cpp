#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "benchmarks/soak/process_facts.h"
#include "benchmarks/soak/soak.h"
#include "tests/api/program.h"
#include "tests/wait_until.h"

namespace tvn::soak {
namespace {

constexpr std::size_t k_streams = 8;
constexpr double k_seconds_between_lines = 60;

// Pages that listen and draw nothing.
class Streams {
 public:
  explicit Streams(int port) {
    for (pollfd& stream : streams_) {
      stream = {connect_to(port), POLLIN, 0};
      send_text(stream.fd, "GET /stream HTTP/1.1\r\n\r\n");
    }
    reader_ = std::thread([this] {
      while (!over_) read_what_came();
    });
  }
  Streams(const Streams&) = delete;
  Streams& operator=(const Streams&) = delete;
  ~Streams() {
    over_ = true;
    reader_.join();
    for (const pollfd& stream : streams_) ::close(stream.fd);
  }

 private:
  void read_what_came() {
    ::poll(streams_.data(), streams_.size(), 100);
    for (const pollfd& stream : streams_) {
      if (stream.revents != 0) ::recv(stream.fd, piece_.data(), piece_.size(), 0);
    }
  }

  std::array<pollfd, k_streams> streams_;
  std::array<char, 65536> piece_;
  std::atomic<bool> over_{false};
  std::thread reader_;
};

bool wait_while(const Program& program, const char* path, const char* key, const char* value) {
  return wait_until([&] { return member(fetch(program.port(), path), key) != value; }, 120.0);
}

// Connections and jobs that have ended need a moment to go.
void wait_for_threads(const Program& program, std::size_t count) {
  wait_until([&] { return thread_count(program.process()) == count; }, 10.0);
}

// One recording to its end, its pictures and its export, whose files are then removed.
bool replay_once(const Program& program, std::size_t number) {
  const int port = program.port();
  const std::string sample = number % 2 == 0 ? "Sample%201.txt" : "Sample%202.txt";
  fetch(port, "/start_replay?speed=100&name=soak&file=" + sample);
  const bool ended = wait_while(program, "/status", "running", "true");
  fetch(port, "/mark?key=1");
  fetch(port, "/tfr");
  const bool drawn = wait_while(program, "/tfr_status", "status", "\"computing\"");
  const bool brought = fetch(port, "/tfr_images").find("base64") != std::string::npos;
  fetch(port, "/export");
  const bool exported = wait_while(program, "/export_status", "status", "\"exporting\"") &&
                        member(fetch(port, "/export_status"), "status") == "\"done\"";
  std::filesystem::remove_all(program.folder() + "/exports");
  for (const auto& entry : std::filesystem::directory_iterator(program.folder() + "/recordings")) {
    std::filesystem::remove(entry.path());
  }
  return ended && drawn && brought && exported;
}

void print_line(const Reading& reading, std::size_t recordings, std::size_t threads) {
  std::printf("%6.1f min  %5zu recordings  %7.2f MB  %zu threads\n", 60 * reading.hours, recordings,
              reading.megabytes, threads);
}

struct Course {
  std::vector<Reading> readings;
  std::size_t most_threads = 0;
  bool whole = true;  // each recording was drawn and exported
};

// Replays for this long; memory and threads as they are between two recordings.
Course replay_for(const Program& program, double minutes, std::size_t idle_threads) {
  Course course;
  const double begun = monotonic_seconds();
  double next_line = 0;
  for (double now = 0; now < 60 * minutes; now = monotonic_seconds() - begun) {
    course.whole = replay_once(program, course.readings.size()) && course.whole;
    wait_for_threads(program, idle_threads);
    const std::size_t threads = thread_count(program.process());
    course.most_threads = std::max(course.most_threads, threads);
    course.readings.push_back(
        {(monotonic_seconds() - begun) / 3600, resident_megabytes(program.process())});
    if (now < next_line) continue;
    next_line = now + k_seconds_between_lines;
    print_line(course.readings.back(), course.readings.size(), threads);
  }
  return course;
}

}  // namespace

bool soak_replays(double minutes) {
  std::printf("Replays at 100 times real time, pictures and exports, %zu streams\n", k_streams);
  const Program program;
  fetch(program.port(), "/status");
  program.wait_for_opener();
  const std::size_t threads_before = thread_count(program.process());
  Course course;
  {
    const Streams streams(program.port());
    course = replay_for(program, minutes, threads_before + k_streams);
  }
  wait_for_threads(program, threads_before);
  const std::size_t threads_after = thread_count(program.process());
  const double slope = slope_after_warm_up(course.readings);
  std::printf(
      "%zu recordings, %s; memory %+.2f MB an hour; %zu threads before, %zu at most between "
      "recordings, %zu after\n",
      course.readings.size(), course.whole ? "each drawn and exported" : "NOT each exported", slope,
      threads_before, course.most_threads, threads_after);
  return course.whole && slope < k_steepest_slope && threads_after == threads_before &&
         course.most_threads == threads_before + k_streams;
}

}  // namespace tvn::soak
