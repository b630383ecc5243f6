// Eight clients that start, stop, seek, mark, save and ask at the same time, with a strap that
// sends on while its run is being stopped. Meant to run with a sanitizer; TVN_STORM_SECONDS makes
// it longer than the few seconds of an ordinary test run.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <random>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "tests/api/program.h"
#ifdef __linux__
#include "tests/bluez/fake_bluetoothd.h"
#include "tests/bluez/private_bus.h"
#endif

namespace tvn {
namespace {

const char* const k_requests[] = {
    "/start_replay?file=Sample%201.txt&speed=200",
    "/start_replay?file=Sample%202.txt&speed=8&name=b",
    "/start_live?address=AA:BB",
    "/stop",
    "/seek?frac=0.3",
    "/seek?frac=0.9",
    "/mark?key=3",
    "/save",
    "/status",
    "/status",
    "/recordings",
    "/tfr",
    "/tfr_images",
    "/export",
    "/export_status",
    "/batch_new",
    "/batch_status",
    "/start_replay?file=none",
    "/nothing?x=%zz",
};

#ifdef __linux__
fake::Strap busy_strap() {
  fake::Strap strap;
  strap.address = "A0:9E:1A:12:34:56";
  strap.name = "Polar H10 12345678";
  strap.ecg.assign(std::size_t{130} * 3600, 100);
  strap.speed = 50.0;
  strap.frames_after_stop = true;
  strap.disconnect_seconds = 0.05;
  return strap;
}
#endif

double storm_seconds() {
  const char* seconds = getenv("TVN_STORM_SECONDS");
  return seconds == nullptr ? 5.0 : atof(seconds);
}

void storm(int port, unsigned seed, double deadline, std::span<const char* const> requests,
           std::atomic<int>& answered) {
  std::mt19937 random(seed);
  while (monotonic_seconds() < deadline) {
    const std::string target = requests[random() % requests.size()];
    if (random() % 16 == 0) {  // a stream whose reader goes away
      const int fd = connect_to(port);
      send_text(fd, "GET /stream HTTP/1.1\r\n\r\n");
      receive_all(fd, 0.2);
      close(fd);
    } else if (fetch(port, target) != "(no reply)") {
      ++answered;
    }
  }
}

void expect_quiet_end(const Program& program) {
  EXPECT_TRUE(program.is_alive());
  EXPECT_EQ(fetch(program.port(), "/stop"), R"({"ok":true})");
  EXPECT_EQ(member(fetch(program.port(), "/status"), "running"), "false");
  std::string errors = program.error_output();
  const std::string expected = "[handle] exception: malformed percent escape\n";
  for (std::size_t at; (at = errors.find(expected)) != std::string::npos;) {
    errors.erase(at, expected.size());
  }
  EXPECT_EQ(errors, "");  // a sanitizer's report would stand here
}

TEST(Storm, LeavesTheProgramAnswering) {
#ifdef __linux__
  // With an adapter, so that no start waits two seconds for one.
  const PrivateBus bus;
  const fake::Bluetoothd bluetoothd(bus.address());
  const std::string address = bus.address();
#else
  const std::string address;
#endif
  Program program({std::to_string(test_port()), {{"DBUS_SYSTEM_BUS_ADDRESS", address}}, false});
  std::atomic<int> answered = 0;
  const double deadline = monotonic_seconds() + storm_seconds();
  std::vector<std::thread> clients;
  for (unsigned seed = 1; seed <= 8; ++seed) {
    clients.emplace_back(
        [&, seed] { storm(program.port(), seed, deadline, k_requests, answered); });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_GT(answered, 50);
  expect_quiet_end(program);
}

#ifdef __linux__
// One client starts and stops live runs, slowly enough for some to stream, while others ask.
TEST(Storm, SurvivesAStrapThatSendsWhileItsRunIsStopped) {
  constexpr const char* k_questions[] = {
      "/status", "/mark?key=3", "/save", "/seek?frac=0.5", "/tfr", "/tfr_images", "/export_status"};
  const PrivateBus bus;
  fake::Bluetoothd bluetoothd(bus.address());
  bluetoothd.add_strap(busy_strap(), true);
  Program program(
      {std::to_string(test_port()), {{"DBUS_SYSTEM_BUS_ADDRESS", bus.address()}}, false});
  std::atomic<int> answered = 0;
  const double deadline = monotonic_seconds() + storm_seconds();
  std::thread wearer([&] {
    std::mt19937 random(5);
    while (monotonic_seconds() < deadline) {
      fetch(program.port(), "/start_live?address=A0:9E:1A:12:34:56");
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 700));
      fetch(program.port(), random() % 2 == 0 ? "/stop" : "/start_replay?file=Sample%201.txt");
    }
  });
  std::thread asker([&] { storm(program.port(), 7, deadline, k_questions, answered); });
  std::thread stopper([&] {
    while (monotonic_seconds() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(900));
      fetch(program.port(), "/stop");
    }
  });
  wearer.join();
  asker.join();
  stopper.join();
  EXPECT_GT(bluetoothd.samples_sent("A0:9E:1A:12:34:56"), 130u);
  const std::vector<std::string> writes = bluetoothd.writes();
  EXPECT_GT(std::count(writes.begin(), writes.end(), "0300 request"), 0);
  expect_quiet_end(program);
}
#endif

}  // namespace
}  // namespace tvn
