// A fake bluetoothd, a strap and the driver on Linux, and what the tests of its central ask of
// them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/sensor_linux/bluez_world.h"

namespace tvn {

using Lines = std::vector<std::string>;

inline constexpr const char* k_streaming = "Streaming ECG…";
inline constexpr const char* k_disconnected = "Disconnected.";
inline constexpr const char* k_scan_error =
    "Bluetooth is off or not available. Turn Bluetooth on and try again.";

class BluezCentralTest : public testing::Test {
 protected:
  void begin() { world_.begin(StrapWorld::Adapter::on, {}); }
  fake::Bluetoothd& bluetoothd() { return world_.bluetoothd(); }
  bool stream() {
    const std::size_t before = world_.statuses().size();
    world_.start(k_strap);
    return wait_until([&] {
      const Lines statuses = world_.statuses();
      return statuses.size() > before && statuses.back() == k_streaming;
    });
  }
  ScanResult scan() { return world_.driver().scan(); }
  void stop() { world_.driver().stop(); }
  bool wait_for_call(const std::string& call) {
    return wait_until([&] {
      const Lines calls = bluetoothd().calls();
      return std::find(calls.begin(), calls.end(), call) != calls.end();
    });
  }
  // A driver does not wait for the end of its scan; until then a device that expires comes back.
  bool search_has_ended() {
    return wait_until([this] { return !bluetoothd().is_discovering(); });
  }
  const std::string connect_call_ = std::string("Connect ") + k_strap;
  const std::string disconnect_call_ = std::string("Disconnect ") + k_strap;
  BluezWorld world_;
};

}  // namespace tvn
