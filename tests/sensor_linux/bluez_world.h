// The driver on Linux, with the fake bluetoothd on a bus of its own behind it.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "sensor/linux/linux_ble.h"
#include "tests/bluez/fake_bluetoothd.h"
#include "tests/bluez/private_bus.h"
#include "tests/sensor_scenarios/strap_world.h"

namespace tvn {

inline constexpr const char* k_strap = "A0:9E:1A:12:34:56";

class BluezWorld : public StrapWorld {
 public:
  ~BluezWorld() override {
    driver_.reset();
    bluetoothd_.reset();
    bus_.reset();
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  }

  SensorDriver& driver() override { return *driver_; }
  std::string strap_identifier() const override { return k_strap; }
  std::string unknown_identifier() const override { return "11:22:33:44:55:66"; }

  void begin(Adapter adapter, const StrapBehaviour& behaviour) override {
    bus_ = std::make_unique<PrivateBus>(
        adapter == Adapter::denied ? BusPolicy::nobody_may_call_bluez : BusPolicy::open);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus_->address().c_str(), 1);
    bluetoothd_ = std::make_unique<fake::Bluetoothd>(bus_->address());
    if (adapter == Adapter::off) bluetoothd_->set_powered(false);
    strap_.address = k_strap;
    strap_.name = "Polar H10 12345678";
    strap_.has_measurements = behaviour.has_measurements;
    if (!behaviour.connect_error.empty()) strap_.connect_error = error(behaviour.connect_error);
    if (!behaviour.notify_error.empty()) strap_.notify_error = error(behaviour.notify_error);
    if (!behaviour.write_error.empty()) strap_.write_error = error(behaviour.write_error);
    driver_ = std::make_unique<LinuxBle>(DriverWaits{20, 0.02, 0.6});
    EXPECT_TRUE(wait_until([this] { return !log().lines().empty(); }));
  }
  void turn_adapter(bool on) override { bluetoothd_->set_powered(on); }
  void refuse_scans(const std::string& message) override {
    bluetoothd_->refuse_discovery(error(message));
  }
  void bring_devices() override {
    bluetoothd_->add_strap(strap_);
    fake::Strap nameless;
    nameless.address = "C8:0F:10:00:00:01";
    bluetoothd_->add_strap(nameless);
  }
  void remember_strap() override { bluetoothd_->add_strap(strap_, true); }
  void drop_link() override { bluetoothd_->drop_link(k_strap); }
  void send_frame(const std::vector<std::uint8_t>& frame) override {
    bluetoothd_->notify(k_strap, "data", frame);
  }
  std::vector<std::string> writes() override {
    std::vector<std::string> bytes;
    for (const std::string& write : bluetoothd_->writes()) {
      EXPECT_TRUE(write.ends_with(" request")) << write;
      bytes.push_back(write.substr(0, write.find(' ')));
    }
    return bytes;
  }
  // Answers take 5 ms each, an end 0.1 s.
  void settle() override { std::this_thread::sleep_for(std::chrono::milliseconds(250)); }

  // As a program's end does, run or no run.
  void end_driver() { driver_.reset(); }

  // What only BlueZ has.
  fake::Bluetoothd& bluetoothd() { return *bluetoothd_; }
  PrivateBus& bus() { return *bus_; }
  fake::Strap& strap() { return strap_; }  // to be changed before it comes into reach

 private:
  static fake::BluezError error(const std::string& message) { return {"Failed", message}; }

  std::unique_ptr<PrivateBus> bus_;
  std::unique_ptr<fake::Bluetoothd> bluetoothd_;
  std::unique_ptr<LinuxBle> driver_;
  fake::Strap strap_;
};

}  // namespace tvn
