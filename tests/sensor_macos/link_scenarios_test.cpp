// The scenarios of all platforms, played by fakes of the Mac's Bluetooth framework to the very
// sources that are built on a Mac; and what only that framework does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <memory>

#include "base/clock.h"
#include "sensor/macos/mac_ble.h"
#include "sensor/sensor_log.h"
#include "tests/sensor_macos/fake_air.h"
#include "tests/sensor_scenarios/scenarios.h"

namespace tvn {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using Lines = std::vector<std::string>;
constexpr const char* k_data = "FB005C82-02E7-F387-1CAD-8ACD2D8DF0C8";

class MacWorld : public StrapWorld {
 public:
  SensorDriver& driver() override { return *driver_; }
  std::string strap_identifier() const override { return fake::k_strap_uuid; }
  std::string unknown_identifier() const override { return "6F1C2A3B-0000-2222-3333-0A0B0C0D0E0F"; }

  void begin(Adapter adapter, const StrapBehaviour& behaviour) override {
    using State = fake::ManagerState;
    const State state = adapter == Adapter::on    ? State::powered_on
                        : adapter == Adapter::off ? State::powered_off
                                                  : State::unauthorized;
    fake::begin_air(state, behaviour);
    // Never destroyed: the framework's delegate lives as long as the process.
    driver_ = new MacBle(DriverWaits{20, 0.02, 0.6});
    EXPECT_TRUE(wait_until([this] { return !log().lines().empty(); }));
  }
  void turn_adapter(bool on) override {
    fake::change_state(on ? fake::ManagerState::powered_on : fake::ManagerState::powered_off);
  }
  void refuse_scans(const std::string& message) override { fake::throw_at_scans(message); }
  void bring_devices() override { fake::bring_devices(); }
  void remember_strap() override { fake::know_strap(); }
  void drop_link() override { fake::drop_link(); }
  void send_frame(const std::vector<std::uint8_t>& frame) override {
    fake::send_value(k_data, frame);
  }
  std::vector<std::string> writes() override { return fake::written(); }
  void leave() { driver_->leave(); }
  void settle() override { std::this_thread::sleep_for(std::chrono::milliseconds(100)); }

 private:
  MacBle* driver_ = nullptr;
};

class LinkScenarios : public testing::TestWithParam<Scenario> {};

TEST_P(LinkScenarios, GoAsOnEveryPlatform) {
  MacWorld world;
  check_scenario(GetParam(), world);
}

INSTANTIATE_TEST_SUITE_P(Mac, LinkScenarios, testing::ValuesIn(scenarios()),
                         [](const auto& tested) { return tested.param.name; });

class MacBleTest : public testing::Test {
 protected:
  MacBleTest() { world_.begin(StrapWorld::Adapter::on, {}); }
  MacWorld world_;
};

TEST_F(MacBleTest, AsksForTheStrapsServicesAndSubscribesBeforeItWrites) {
  EXPECT_EQ(fake::queue_label(), "tvn.ble");
  world_.remember_strap();
  world_.start(world_.strap_identifier());
  ASSERT_TRUE(world_.wait_for_status("Streaming ECG…"));
  EXPECT_THAT(fake::asked(), ElementsAre("FB005C80-02E7-F387-1CAD-8ACD2D8DF0C8", "180D", "2A37",
                                         "FB005C82-02E7-F387-1CAD-8ACD2D8DF0C8",
                                         "FB005C81-02E7-F387-1CAD-8ACD2D8DF0C8"));
  world_.driver().stop();
}

TEST_F(MacBleTest, OnlyTheDataCharacteristicIsDecoded) {
  world_.remember_strap();
  world_.start(world_.strap_identifier());
  ASSERT_TRUE(world_.wait_for_status("Streaming ECG…"));
  const std::vector<std::uint8_t> frame = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0};
  fake::send_value("2A37", frame);
  fake::send_value("FB005C81-02E7-F387-1CAD-8ACD2D8DF0C8", frame);
  fake::send_value(k_data, {});
  fake::send_value(k_data, std::vector<std::uint8_t>(12, 0));
  fake::send_value(k_data, frame);
  EXPECT_EQ(world_.samples(), std::vector<double>{1.0});
  world_.driver().stop();
  fake::send_value(k_data, frame);
  EXPECT_EQ(world_.samples().size(), 1u);
}

// The answer to the last run's stop command comes when the next run has begun.
TEST_F(MacBleTest, ANewRunOnTheHeelsOfTheLastIsStartedAsWell) {
  world_.remember_strap();
  world_.start(world_.strap_identifier());
  ASSERT_TRUE(wait_until([&] { return world_.writes().size() == 2; }));
  world_.settle();
  fake::hold_queue(0.2);
  world_.driver().stop();
  world_.start(world_.strap_identifier());
  const std::string start = "02000001820001010E00";
  const Lines expected = {"0100", start, "0300", "0100", start};
  EXPECT_TRUE(wait_until([&] { return world_.writes() == expected; }));
  EXPECT_EQ(world_.writes(), expected);
  EXPECT_EQ(world_.statuses().back(), "Streaming ECG…");
  EXPECT_THAT(world_.statuses(), Not(Contains("Disconnected.")));  // that of the last run
  world_.driver().stop();
}

TEST_F(MacBleTest, WhatADeviceTellsThatNobodyAskedForIsForNobody) {
  world_.remember_strap();
  world_.start(world_.strap_identifier());
  ASSERT_TRUE(world_.wait_for_status("Streaming ECG…"));
  const Lines statuses = world_.statuses(), log = world_.log().lines(), writes = world_.writes();
  fake::tell_of_a_stranger();
  world_.settle();
  EXPECT_EQ(world_.statuses(), statuses);
  EXPECT_EQ(world_.log().lines(), log);
  EXPECT_EQ(world_.writes(), writes);
  EXPECT_TRUE(world_.samples().empty());
  fake::drop_link();
  EXPECT_TRUE(world_.wait_for_status("Disconnected."));
  world_.driver().stop();
}

// The system tells nothing of the end of a connection that never came up.
TEST_F(MacBleTest, ALinkThatDropsIsToldAfterARunThatNeverConnected) {
  world_.remember_strap();
  fake::refuse_connections("too far");
  world_.start(world_.strap_identifier());
  ASSERT_TRUE(world_.wait_for_status("Connection failed: too far"));
  world_.driver().stop();
  fake::refuse_connections("");
  world_.start(world_.strap_identifier());
  ASSERT_TRUE(world_.wait_for_status("Streaming ECG…"));
  fake::drop_link();
  EXPECT_TRUE(world_.wait_for_status("Disconnected."));
  world_.driver().stop();
}

TEST_F(MacBleTest, ALinkThatDropsAfterANewRunBeganIsTold) {
  world_.remember_strap();
  for (int run = 0; run < 2; ++run) {
    world_.start(world_.strap_identifier());
    ASSERT_TRUE(world_.wait_for_status("Streaming ECG…"));
    if (run == 0) world_.driver().stop();
  }
  fake::drop_link();
  EXPECT_TRUE(world_.wait_for_status("Disconnected."));
  world_.driver().stop();
}

TEST_F(MacBleTest, LeavingWaitsForTheStrapsAnswerToTheStop) {
  world_.remember_strap();
  world_.start(world_.strap_identifier());
  ASSERT_TRUE(world_.wait_for_status("Streaming ECG…"));
  world_.writes();  // what was asked for is answered
  fake::end_connections_after(2.0);
  fake::hold_queue(0.4);
  const double begun = monotonic_seconds();
  world_.driver().stop();
  EXPECT_LT(monotonic_seconds() - begun, 0.2);
  world_.leave();
  EXPECT_GE(monotonic_seconds() - begun, 0.38);
  EXPECT_LT(monotonic_seconds() - begun, 1.5);  // not for the end of the link
  EXPECT_EQ(world_.writes().back(), "0300");
  const double again = monotonic_seconds();
  world_.leave();
  EXPECT_LT(monotonic_seconds() - again, 0.2);
}

TEST_F(MacBleTest, LeavingGivesUpOnAStrapThatNeverAnswers) {
  world_.remember_strap();
  world_.start(world_.strap_identifier());
  ASSERT_TRUE(world_.wait_for_status("Streaming ECG…"));
  world_.writes();
  fake::hold_queue(6.0);
  const double begun = monotonic_seconds();
  world_.driver().stop();
  world_.leave();
  EXPECT_GE(monotonic_seconds() - begun, 2.9);
  EXPECT_LT(monotonic_seconds() - begun, 5.0);
}

// The last run's link goes on for a moment: its frames do not belong to the run that connects.
void expect_frames_of_the_next_run_alone(MacWorld& world, const std::function<void()>& end_run) {
  const std::vector<std::uint8_t> frame = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0};
  world.remember_strap();
  world.start(world.strap_identifier());
  ASSERT_TRUE(world.wait_for_status("Streaming ECG…"));
  end_run();
  fake::hold_queue(0.2);
  world.start(world.strap_identifier());
  fake::send_value(k_data, frame);
  EXPECT_TRUE(world.samples().empty());
  ASSERT_TRUE(world.wait_for_status("Streaming ECG…"));
  fake::send_value(k_data, frame);
  EXPECT_EQ(world.samples(), std::vector<double>{1.0});
  world.driver().stop();
}

TEST_F(MacBleTest, FramesCountOnceTheirRunHasFoundTheControlPoint) {
  expect_frames_of_the_next_run_alone(world_, [&] { world_.driver().stop(); });
}

TEST_F(MacBleTest, ARunEndsEvenWhenTheFrameworkThrowsAtItsEnd) {
  world_.remember_strap();
  world_.start(world_.strap_identifier());
  ASSERT_TRUE(wait_until([&] { return world_.writes().size() == 2; }));
  fake::throw_at_cancel("no such link");
  world_.driver().stop();
  fake::throw_at_cancel("");
  world_.driver().scan();
  for (const std::string& line : world_.log().lines()) {
    EXPECT_EQ(line.find("leftover"), std::string::npos) << line;
  }
  world_.start(world_.strap_identifier());
  const std::string start = "02000001820001010E00";
  const Lines expected = {"0100", start, "0300", "0100", start};
  EXPECT_TRUE(wait_until([&] { return world_.writes() == expected; }));
  EXPECT_EQ(world_.writes(), expected);
  world_.driver().stop();
}

TEST_F(MacBleTest, AScanEndsARunEvenWhenTheFrameworkThrowsAtItsEnd) {
  world_.remember_strap();
  world_.start(world_.strap_identifier());
  ASSERT_TRUE(world_.wait_for_status("Streaming ECG…"));
  fake::throw_at_cancel("no such link");
  EXPECT_EQ(world_.driver().scan().error, "");
  fake::throw_at_cancel("");
  EXPECT_EQ(world_.driver().scan().error, "");
  std::size_t told = 0;
  for (const std::string& line : world_.log().lines()) {
    told += line.find("leftover") != std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(told, 1u);  // it was forgotten
}

TEST_F(MacBleTest, AfterAScanCutARunOffTheNextOneBeginsAfresh) {
  expect_frames_of_the_next_run_alone(world_, [&] { world_.driver().scan(); });
}

TEST_F(MacBleTest, AScanListsWhatItHasSeenItselfByTheLatestName) {
  fake::bring_devices();
  fake::rename_strap_in_mid_scan("Polar H10 Anna");
  std::vector<SensorDevice> devices = world_.driver().scan().devices;
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].name, "Polar H10 Anna");
  EXPECT_EQ(devices[0].identifier, world_.strap_identifier());
  fake::take_devices_away();
  EXPECT_TRUE(world_.driver().scan().devices.empty());
}

TEST_F(MacBleTest, AnAdapterThatGoesOffBeforeAScanIsNotAskedForOne) {
  fake::turn_off_at_stop_scan();
  EXPECT_TRUE(world_.driver().scan().devices.empty());
  EXPECT_EQ(fake::scans_begun(), 0);
}

TEST_F(MacBleTest, AConnectionThatFailsWithoutAReasonIsTold) {
  world_.remember_strap();
  fake::refuse_connections_without_a_reason();
  world_.start(world_.strap_identifier());
  EXPECT_TRUE(world_.wait_for_status("Connection failed: unknown"));
  world_.driver().stop();
}

// The framework looks at the time zone as a process begins: this is run by the next test, as one.
TEST(SensorLogOnMac, DISABLED_LogsALine) {
  sensor_log("x");
}

// In a zone where it is three in the afternoon; GNUstep takes it from a variable of its own.
TEST(SensorLogOnMac, GoesToTheSystemLogTooAndStampsWith24HoursOfLocalTime) {
  const long hours = 15 - std::time(nullptr) / 3600 % 24;  // ahead of UTC, from -8 to 15
  const std::string zone = hours > 12  ? "Etc/GMT+" + std::to_string(24 - hours)
                           : hours < 0 ? "Etc/GMT+" + std::to_string(-hours)
                                       : "Etc/GMT-" + std::to_string(hours);
  const LogFolder log;
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
  const std::string command = "unset GTEST_TOTAL_SHARDS GTEST_SHARD_INDEX; GNUSTEP_TZ=" + zone +
                              " '" + program +
                              "' --gtest_also_run_disabled_tests "
                              "--gtest_filter=SensorLogOnMac.DISABLED_LogsALine >/dev/null 2>'" +
                              log.path() + "/system_log'";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(log.text().substr(0, 3), "15:") << zone;
  std::string system_log;  // without one, what is meant for it goes to standard error
  EXPECT_TRUE(read_file(log.path() + "/system_log", system_log));
  EXPECT_TRUE(system_log.ends_with("[TVN-BLE] x\n")) << system_log;
}

TEST_F(MacBleTest, WhatTheFrameworkThrowsIsShown) {
  fake::bring_devices();
  fake::throw_at_names("no names today");
  EXPECT_EQ(world_.driver().scan().error, "Bluetooth scan failed: no names today");
  fake::throw_at_names("");
  fake::throw_at_stop_scan("the queue is gone");
  EXPECT_EQ(world_.driver().scan().error, "Bluetooth scan failed: the queue is gone");
  EXPECT_EQ(world_.log().lines().back(), "MacBle::scan() EXCEPTION: the queue is gone");
  world_.remember_strap();
  fake::throw_at_connect("not now");
  world_.start(world_.strap_identifier());
  EXPECT_EQ(world_.statuses(), (Lines{"Connecting…", "Connect failed: not now"}));
  world_.driver().stop();
}

TEST_F(MacBleTest, OddIdentifiersAreNotFound) {
  for (const char* identifier : {"", "AA:BB", "\xFF\xFE", "6f1c2a3b"}) {
    world_.start(identifier);
    EXPECT_EQ(world_.statuses().back(), "Device not found. Try scanning again.");
    world_.driver().stop();
  }
  EXPECT_EQ(world_.statuses().size(), 4u);
}

}  // namespace
}  // namespace tvn
