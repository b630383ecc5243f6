// Eight clients that start, stop, seek, mark, save and ask at the same time, with a strap that
// sends on while its run is being stopped. Meant to run with a sanitizer; TVN_STORM_SECONDS makes
// it longer than the few seconds of an ordinary test run.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <random>
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
    "/start_live?address=A0:9E:1A:12:34:56",
    "/start_live?address=A0:9E:1A:12:34:56",
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
  return strap;
}
#endif

double storm_seconds() {
  const char* seconds = getenv("TVN_STORM_SECONDS");
  return seconds == nullptr ? 5.0 : atof(seconds);
}

void storm(int port, unsigned seed, double deadline, std::atomic<int>& answered) {
  std::mt19937 random(seed);
  while (monotonic_seconds() < deadline) {
    const std::string target = k_requests[random() % std::size(k_requests)];
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

TEST(Storm, LeavesTheProgramAnswering) {
#ifdef __linux__
  const PrivateBus bus;
  fake::Bluetoothd bluetoothd(bus.address());
  bluetoothd.add_strap(busy_strap(), true);
  const std::string address = bus.address();
#else
  const std::string address;
#endif
  Program program({std::to_string(test_port()), {{"DBUS_SYSTEM_BUS_ADDRESS", address}}, false});
  std::atomic<int> answered = 0;
  const double deadline = monotonic_seconds() + storm_seconds();
  std::vector<std::thread> clients;
  for (unsigned seed = 1; seed <= 8; ++seed) {
    clients.emplace_back([&, seed] { storm(program.port(), seed, deadline, answered); });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_GT(answered, 50);
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

}  // namespace
}  // namespace tvn
