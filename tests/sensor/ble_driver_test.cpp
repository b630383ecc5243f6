#include "sensor/ble_driver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "base/clock.h"
#include "sensor/adapter_state.h"
#include "sensor/callback_slot.h"
#include "tests/sensor/log_folder.h"

namespace tvn {
namespace {

// A central that notes what it is asked and answers what a test tells it to.
struct ScriptedCentral : Central {
  bool powered_on() override {
    ++power_checks;
    return power_checks > off_for_checks;
  }
  Refusal start_scan() override { return note("start_scan"), start_scan_refusal; }
  Refusal stop_scan() override { return note("stop_scan"), stop_scan_refusal; }
  Refusal discovered(std::vector<SensorDevice>& found) override {
    found = devices;
    return discovered_refusal;
  }
  Refusal connect_to(const std::string& identifier) override {
    return note("connect_to " + identifier), connect_refusal;
  }
  Refusal disconnect() override { return note("disconnect"), std::nullopt; }
  void explain_adapter() override { report_adapter_state(AdapterState::powered_off); }

  void leave() override { note("leave"); }

  void note(const std::string& call) {
    const std::lock_guard hold(mutex);
    calls.push_back(call);
  }

  std::mutex mutex;
  std::vector<std::string> calls;
  std::vector<SensorDevice> devices;
  Refusal start_scan_refusal, stop_scan_refusal, discovered_refusal, connect_refusal;
  std::atomic<int> power_checks = 0;
  std::atomic<int> off_for_checks = 0;
};

class BleDriverTest : public testing::Test {
 protected:
  std::vector<std::string> texts_;
  void start(BleDriver& driver) {
    driver.start("AA:BB", nullptr, [this](const std::string& text) { texts_.push_back(text); });
  }
  const DriverWaits quick_{20, 0.001, 0.01};
  ScriptedCentral* central_ = new ScriptedCentral;  // owned by the driver
  BleDriver driver_{std::unique_ptr<Central>(central_), quick_};
  LogFolder log_;
};

using Lines = std::vector<std::string>;

TEST_F(BleDriverTest, AScanStopsStartsWaitsAndStops) {
  central_->devices = {{"AA:BB", "Polar H10 1234"}};
  const ScanResult result = driver_.scan();
  EXPECT_EQ(result.error, "");
  ASSERT_EQ(result.devices.size(), 1u);
  EXPECT_EQ(result.devices[0].identifier, "AA:BB");
  EXPECT_EQ(central_->calls, (Lines{"stop_scan", "start_scan", "stop_scan"}));
  EXPECT_EQ(log_.lines(), (Lines{"MacBle::scan() enter", "MacBle::scan() done, 1 device(s)"}));
  EXPECT_TRUE(driver_.available());
}

TEST(BleDriverWaits, AScanWithoutAdapterAnswersAfterTwoSeconds) {
  const LogFolder log;
  auto central = std::make_unique<ScriptedCentral>();
  central->off_for_checks = 1000;
  BleDriver driver(std::move(central));
  const double begun = monotonic_seconds();
  EXPECT_EQ(driver.scan().error,
            "Bluetooth is off or not available. Turn Bluetooth on and try again.");
  EXPECT_GE(monotonic_seconds() - begun, 2.0);
  EXPECT_LT(monotonic_seconds() - begun, 4.0);
  EXPECT_EQ(log.lines(), (Lines{"MacBle::scan() enter", "scan: not poweredOn"}));
}

TEST_F(BleDriverTest, AnAdapterThatWakesIsWaitedFor) {
  central_->off_for_checks = 10;
  EXPECT_EQ(driver_.scan().error, "");
}

TEST_F(BleDriverTest, ARefusedScanSaysWhy) {
  central_->stop_scan_refusal = "the service stopped";
  EXPECT_EQ(driver_.scan().error, "Bluetooth scan failed: the service stopped");
  EXPECT_EQ(log_.lines().back(), "MacBle::scan() EXCEPTION: the service stopped");
  central_->stop_scan_refusal.reset();
  central_->discovered_refusal = "no list";
  EXPECT_EQ(driver_.scan().error, "Bluetooth scan failed: no list");
}

TEST_F(BleDriverTest, AStartWaitsForTheAdapterAndConnectsAnyway) {
  central_->off_for_checks = 1000;
  start(driver_);
  EXPECT_EQ(central_->calls, Lines{"connect_to AA:BB"});
  EXPECT_GE(central_->power_checks, 20);
  EXPECT_EQ(texts_, Lines{"Bluetooth is turned off."});
  driver_.stop();
}

TEST_F(BleDriverTest, ARefusedStartSaysWhy) {
  central_->connect_refusal = "no radio";
  start(driver_);
  EXPECT_EQ(texts_, Lines{"Connect failed: no radio"});
  driver_.stop();
  EXPECT_EQ(central_->calls, (Lines{"connect_to AA:BB", "stop_scan", "disconnect"}));
  EXPECT_EQ(log_.lines(), Lines{"MacBle::stop() enter"});
  report_status("after the end");
  EXPECT_EQ(texts_.size(), 1u);
}

TEST_F(BleDriverTest, AStopDuringTheWaitOfAStartIsNotLost) {
  central_->off_for_checks = 15;
  std::thread starting([this] { start(driver_); });
  while (central_->power_checks < 3) std::this_thread::yield();
  driver_.stop();
  starting.join();
  EXPECT_EQ(central_->calls, (Lines{"connect_to AA:BB", "stop_scan", "disconnect"}));
}

TEST_F(BleDriverTest, OnlyOneScanAtATime) {
  std::thread other([this] { driver_.scan(); });
  driver_.scan();
  other.join();
  EXPECT_EQ(central_->calls, (Lines{"stop_scan", "start_scan", "stop_scan",  //
                                    "stop_scan", "start_scan", "stop_scan"}));
}

// Numbers and texts of the macOS framework's states, which the Linux link shares.
TEST(AdapterStates, AreLoggedAndTwoOfThemHaveTexts) {
  const LogFolder log;
  Lines texts;
  install_callbacks(nullptr, [&](const std::string& text) { texts.push_back(text); });
  for (const AdapterState state :
       {AdapterState::unknown, AdapterState::resetting, AdapterState::unsupported,
        AdapterState::unauthorized, AdapterState::powered_off, AdapterState::powered_on}) {
    announce_adapter_state(state);
  }
  remove_callbacks();
  EXPECT_EQ(texts, (Lines{"Bluetooth permission denied. Enable it in System Settings › Privacy › "
                          "Bluetooth.",
                          "Bluetooth is turned off."}));
  EXPECT_EQ(log.lines(), (Lines{"centralManagerDidUpdateState: 0 poweredOn=0",
                                "centralManagerDidUpdateState: 1 poweredOn=0",
                                "centralManagerDidUpdateState: 2 poweredOn=0",
                                "centralManagerDidUpdateState: 3 poweredOn=0",
                                "centralManagerDidUpdateState: 4 poweredOn=0",
                                "centralManagerDidUpdateState: 5 poweredOn=1"}));
}

}  // namespace
}  // namespace tvn
