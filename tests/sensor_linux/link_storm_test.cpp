// Threads that scan, start and stop as they please, with a strap that sends on while its run is
// being stopped, a link that is lost now and then, and a bluetoothd that crashes. Meant to run with
// a thread sanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "base/clock.h"
#include "tests/sensor_linux/bluez_world.h"

namespace tvn {
namespace {

constexpr double k_storm_seconds = 4.0;

TEST(LinkStorm, LeavesALinkThatWorks) {
  BluezWorld world;
  world.strap().ecg.assign(std::size_t{130} * 3600, 7);
  world.strap().speed = 100.0;
  world.strap().frames_after_stop = true;
  world.strap().disconnect_seconds = 0.02;
  world.begin(StrapWorld::Adapter::on, {});
  world.remember_strap();
  std::atomic<std::size_t> received = 0;
  std::atomic<bool> running = false;
  std::atomic<int> strays = 0;
  std::mutex control;  // the session's: a start and a stop are each one whole
  const auto start = [&] {
    const std::lock_guard whole(control);
    running = true;
    world.driver().start(
        k_strap,
        [&](const std::vector<double>& batch) {
          received += batch.size();
          if (!running) ++strays;
        },
        [](const std::string&) {});
  };
  const auto stop = [&] {
    const std::lock_guard whole(control);
    world.driver().stop();
    running = false;
  };
  const double deadline = monotonic_seconds() + k_storm_seconds;
  const auto storm = [&](unsigned seed) {
    std::mt19937 random(seed);
    while (monotonic_seconds() < deadline) {
      // A connection takes a fifth of a second: some runs get that far, some do not.
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 400));
      const unsigned action = random() % 16;
      if (action < 6) start();
      if (action >= 6 && action < 11) stop();
      if (action == 11) world.driver().scan();
      if (action == 12) world.drop_link();
      if (action == 13) world.turn_adapter(random() % 4 != 0);
      if (action > 13) world.turn_adapter(true);
    }
  };
  std::thread first(storm, 1U);
  std::thread second(storm, 2U);
  std::thread third(storm, 3U);
  first.join();
  second.join();
  third.join();
  EXPECT_GT(received, 0u);
  EXPECT_EQ(strays, 0);  // nothing comes once a stop has returned
  stop();
  world.turn_adapter(true);
  world.settle();
  EXPECT_EQ(world.driver().scan().devices.size(), 1u);
  received = 0;
  start();
  EXPECT_TRUE(wait_until([&] { return received > 0; }));
  stop();
}

}  // namespace
}  // namespace tvn
