// What of BlueZ can be missing or go away: the bus, bluetoothd, the adapter.
#include <sys/resource.h>

#include "base/clock.h"
#include "tests/sensor_linux/bluez_fixture.h"

namespace tvn {
namespace {

using testing::Contains;

using BluezAwayTest = BluezCentralTest;

double cpu_seconds() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
         static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec) * 1e-6;
}

TEST_F(BluezAwayTest, BluetoothdRestartingInMidRunDisconnects) {
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  bluetoothd().die();
  EXPECT_TRUE(world_.wait_for_status(k_disconnected));
  EXPECT_TRUE(world_.wait_for_log("centralManagerDidUpdateState: 1 poweredOn=0"));
  bluetoothd().come_back();
  EXPECT_TRUE(wait_until([this] {
    return world_.log().lines().back() == "centralManagerDidUpdateState: 5 poweredOn=1";
  }));
  stop();
  EXPECT_EQ(scan().devices.size(), 1u);
  EXPECT_TRUE(stream());
}

TEST_F(BluezAwayTest, BluetoothdDyingWhileConnectingFailsTheConnection) {
  world_.strap().connect_hangs = true;
  begin();
  world_.remember_strap();
  world_.start(k_strap);
  ASSERT_TRUE(wait_for_call(connect_call_));
  bluetoothd().die();
  EXPECT_TRUE(
      wait_until([this] { return world_.statuses().back().starts_with("Connection failed: "); }));
  EXPECT_NE(world_.statuses().back(), "Connection failed: ");
}

TEST_F(BluezAwayTest, BluetoothdDyingDuringAScanSaysSo) {
  begin();
  std::thread dying([this] {
    wait_until([this] { return bluetoothd().is_discovering(); });
    bluetoothd().die();
  });
  EXPECT_EQ(scan().error, "Bluetooth scan failed: the Bluetooth service stopped");
  dying.join();
  EXPECT_EQ(scan().error, k_scan_error);
  bluetoothd().come_back();
  EXPECT_EQ(scan().error, "");
}

TEST_F(BluezAwayTest, TheBusGoingAwayIsSurvived) {
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  world_.bus().stop();
  EXPECT_TRUE(world_.wait_for_status(k_disconnected));
  stop();
  EXPECT_EQ(scan().error, k_scan_error);
  bluetoothd().die();
  world_.bus().start();
  bluetoothd().come_back();
  // The computer's bus came back: the next scan looks for it, throttled to twice a second.
  EXPECT_TRUE(wait_until([this] { return scan().error.empty(); }));
}

TEST_F(BluezAwayTest, WithoutAnAdapterAKnownStrapCannotBeConnected) {
  begin();
  world_.bring_devices();
  scan();
  bluetoothd().remove_adapter();
  EXPECT_TRUE(world_.wait_for_log("centralManagerDidUpdateState: 2 poweredOn=0"));
  world_.start(k_strap);
  EXPECT_TRUE(world_.wait_for_status("Connection failed: no Bluetooth adapter"));
  EXPECT_EQ(world_.statuses().front(), "Connecting…");
}

TEST_F(BluezAwayTest, AnAdapterThatIsPulledOutIsMissed) {
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  bluetoothd().remove_adapter();
  EXPECT_TRUE(world_.wait_for_status(k_disconnected));
  EXPECT_TRUE(world_.wait_for_log("centralManagerDidUpdateState: 2 poweredOn=0"));
  stop();
  EXPECT_EQ(scan().error, k_scan_error);
  bluetoothd().add_adapter();
  EXPECT_EQ(scan().error, "");
}

// A computer without the bus, or with a bus and no bluetoothd on it.
class WithoutBluez : public testing::Test {
 protected:
  void expect_texts(const std::string& state) {
    LinuxBle driver({20, 0.02, 0.1});
    EXPECT_EQ(driver.scan().error, k_scan_error);
    EXPECT_TRUE(driver.available());
    Lines statuses;
    std::mutex mutex;
    driver.start(k_strap, nullptr, [&](const std::string& text) {
      const std::lock_guard hold(mutex);
      statuses.push_back(text);
    });
    EXPECT_TRUE(wait_until([&] {
      const std::lock_guard hold(mutex);
      return !statuses.empty();
    }));
    const double before = cpu_seconds();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_LT(cpu_seconds() - before, 0.1);  // nothing spins
    driver.stop();
    EXPECT_EQ(statuses, Lines{"Device not found. Try scanning again."});
    EXPECT_THAT(log_.lines(), Contains(state));
  }
  LogFolder log_;
};

TEST_F(WithoutBluez, NoBus) {
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/socket", 1);
  expect_texts("centralManagerDidUpdateState: 2 poweredOn=0");
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

TEST_F(WithoutBluez, NoBluetoothd) {
  PrivateBus bus;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
  expect_texts("centralManagerDidUpdateState: 2 poweredOn=0");
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

TEST_F(BluezAwayTest, BluetoothdThatComesLateIsNoticed) {
  PrivateBus bus;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
  LinuxBle driver({20, 0.02, 0.3});
  EXPECT_EQ(driver.scan().error, k_scan_error);
  fake::Bluetoothd late(bus.address());
  EXPECT_EQ(driver.scan().error, "");
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

}  // namespace
}  // namespace tvn
