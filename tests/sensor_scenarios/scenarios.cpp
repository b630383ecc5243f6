#include "tests/sensor_scenarios/scenarios.h"

#include <gtest/gtest.h>

namespace tvn {
namespace {

using Adapter = StrapWorld::Adapter;

const std::string k_connecting = "Connecting…";
const std::string k_connected = "Connected. Discovering services…";
const std::string k_streaming = "Streaming ECG…";
const std::string k_disconnected = "Disconnected.";
const std::string k_off = "Bluetooth is turned off.";
const std::string k_state_on = "centralManagerDidUpdateState: 5 poweredOn=1";
const std::string k_state_off = "centralManagerDidUpdateState: 4 poweredOn=0";
const std::string k_stop = "MacBle::stop() enter";
const std::string k_scan = "MacBle::scan() enter";
const std::string k_start_scan = "startScan (poweredOn=1, isScanning=0)";
const std::string k_found_one = "MacBle::scan() done, 1 device(s)";
const std::string k_connect = "connectToAddress: <strap>";
const std::string k_did_connect = "didConnectPeripheral";

const std::string k_settings_bytes = "0100";
const std::string k_start_bytes =
    "0200000182000101"
    "0E00";
const std::string k_stop_bytes = "0300";

// Two samples, +5 and -2 microvolts.
const std::vector<std::uint8_t> k_frame = {0, 1, 2, 3, 4, 5, 6, 7, 8, 0, 5, 0, 0, 0xFE, 0xFF, 0xFF};

void find_strap(StrapWorld& world) {
  world.bring_devices();
  const ScanResult found = world.driver().scan();
  EXPECT_EQ(found.error, "");
  ASSERT_EQ(found.devices.size(), 1u);
  EXPECT_EQ(found.devices[0].identifier, world.strap_identifier());
  EXPECT_EQ(found.devices[0].name, "Polar H10 12345678");
}

void find_and_stream(StrapWorld& world) {
  find_strap(world);
  world.start(world.strap_identifier());
  EXPECT_TRUE(world.wait_for_status(k_streaming));
  EXPECT_TRUE(wait_until([&] { return world.writes().back() == k_start_bytes; }));
  world.settle();
}

void stop(StrapWorld& world) {
  world.driver().stop();
  world.settle();
}

void stream_and_stop(StrapWorld& world) {
  find_and_stream(world);
  world.send_frame(k_frame);
  EXPECT_TRUE(wait_until([&] { return world.samples().size() == 2; }));
  EXPECT_EQ(world.samples(), (std::vector<double>{5, -2}));
  stop(world);
}

void stream_twice(StrapWorld& world) {
  find_and_stream(world);
  stop(world);
  world.start(world.strap_identifier());
  EXPECT_TRUE(wait_until([&] { return world.statuses().size() == 6; }));
  EXPECT_TRUE(wait_until([&] { return world.writes().size() == 5; }));
  stop(world);
}

void scan_without_adapter(StrapWorld& world) {
  const ScanResult found = world.driver().scan();
  EXPECT_EQ(found.error, "Bluetooth is off or not available. Turn Bluetooth on and try again.");
  EXPECT_TRUE(found.devices.empty());
}

void start_unknown(StrapWorld& world) {
  EXPECT_TRUE(world.wait_for_log(k_state_on));
  world.start(world.unknown_identifier());
  EXPECT_TRUE(wait_until([&] { return !world.statuses().empty(); }));
  stop(world);
}

void start_remembered(StrapWorld& world) {
  world.remember_strap();
  world.start(world.strap_identifier());
  EXPECT_TRUE(world.wait_for_status(k_streaming));
  EXPECT_TRUE(wait_until([&] { return world.writes().size() == 2; }));
  world.settle();
  stop(world);
}

void start_and_wait(StrapWorld& world, const std::string& status) {
  find_strap(world);
  world.start(world.strap_identifier());
  EXPECT_TRUE(world.wait_for_status(status));
  world.settle();
  stop(world);
}

void fail_to_connect(StrapWorld& world) {
  start_and_wait(world, "Connection failed: le-connection-abort-by-local");
}

void connect_to_old_firmware(StrapWorld& world) {
  start_and_wait(world, k_connected);
}

void stream_with_a_refusing_strap(StrapWorld& world) {
  find_and_stream(world);
  stop(world);
}

void lose_strap(StrapWorld& world) {
  find_and_stream(world);
  world.drop_link();
  EXPECT_TRUE(world.wait_for_status(k_disconnected));
  world.settle();
  stop(world);
}

// Without a stop in between.
void lose_strap_and_start(StrapWorld& world) {
  find_and_stream(world);
  world.drop_link();
  EXPECT_TRUE(world.wait_for_status(k_disconnected));
  world.start(world.strap_identifier());
  EXPECT_TRUE(wait_until([&] { return world.statuses().size() == 7; }));
  EXPECT_TRUE(wait_until([&] { return world.writes().size() == 4; }));
  world.settle();
  stop(world);
}

void lose_strap_and_scan(StrapWorld& world) {
  find_and_stream(world);
  world.drop_link();
  EXPECT_TRUE(world.wait_for_status(k_disconnected));
  EXPECT_EQ(world.driver().scan().devices.size(), 1u);
}

void scan_during_a_run(StrapWorld& world) {
  find_and_stream(world);
  world.driver().scan();
  EXPECT_TRUE(world.wait_for_status(k_disconnected));
}

void turn_adapter_off_in_a_run(StrapWorld& world) {
  find_and_stream(world);
  world.turn_adapter(false);
  EXPECT_TRUE(world.wait_for_status(k_off));
  stop(world);
}

void start_with_adapter_off(StrapWorld& world) {
  world.start(world.unknown_identifier());
  EXPECT_TRUE(world.wait_for_status(k_off));
  stop(world);
}

void start_without_permission(StrapWorld& world) {
  world.start(world.unknown_identifier());
  EXPECT_TRUE(wait_until([&] { return world.statuses().size() >= 2; }));
  stop(world);
}

void scan_refused(StrapWorld& world) {
  world.bring_devices();
  world.refuse_scans("Operation not allowed");
  const ScanResult found = world.driver().scan();
  EXPECT_EQ(found.error, "");
  EXPECT_TRUE(found.devices.empty());
}

void scan_when_turned_on(StrapWorld& world) {
  EXPECT_TRUE(world.wait_for_log(k_state_off));
  world.bring_devices();
  world.turn_adapter(true);
  EXPECT_TRUE(world.wait_for_log(k_state_on));
  EXPECT_EQ(world.driver().scan().devices.size(), 1u);
}

std::vector<Scenario> make_scenarios() {
  const StrapBehaviour good;
  const std::string unauthorized = "centralManagerDidUpdateState: 3 poweredOn=0";
  const std::string denied =
      "Bluetooth permission denied. Enable it in System Settings › Privacy › Bluetooth.";
  const std::string not_found = "Device not found. Try scanning again.";
  const std::string stray = "connectToAddress: <stray>";
  return {
      {"ScanAndStream",
       Adapter::on,
       good,
       stream_and_stop,
       {k_state_on, k_scan, k_start_scan, k_found_one, k_connect, k_did_connect, k_stop},
       {k_connecting, k_connected, k_streaming},
       {k_settings_bytes, k_start_bytes, k_stop_bytes}},
      {"StreamTwice",
       Adapter::on,
       good,
       stream_twice,
       {k_state_on, k_scan, k_start_scan, k_found_one, k_connect, k_did_connect, k_stop, k_connect,
        k_did_connect, k_stop},
       {k_connecting, k_connected, k_streaming, k_connecting, k_connected, k_streaming},
       {k_settings_bytes, k_start_bytes, k_stop_bytes, k_settings_bytes, k_start_bytes,
        k_stop_bytes}},
      {"ScanWithAdapterOff",
       Adapter::off,
       good,
       scan_without_adapter,
       {k_state_off, k_scan, "scan: not poweredOn"},
       {},
       {}},
      {"ScanWithoutPermission",
       Adapter::denied,
       good,
       scan_without_adapter,
       {unauthorized, k_scan, "scan: not poweredOn"},
       {},
       {}},
      {"ScanRefused",
       Adapter::on,
       good,
       scan_refused,
       {k_state_on, k_scan, k_start_scan, "startScan EXCEPTION: Operation not allowed",
        "MacBle::scan() done, 0 device(s)"},
       {},
       {}},
      {"ScanWhenTurnedOn",
       Adapter::off,
       good,
       scan_when_turned_on,
       {k_state_off, k_state_on, k_scan, k_start_scan, k_found_one},
       {},
       {}},
      {"StartUnknown",
       Adapter::on,
       good,
       start_unknown,
       {k_state_on, stray, k_stop},
       {not_found},
       {}},
      {"StartRemembered",
       Adapter::on,
       good,
       start_remembered,
       {k_state_on, k_connect, k_did_connect, k_stop},
       {k_connecting, k_connected, k_streaming},
       {k_settings_bytes, k_start_bytes, k_stop_bytes}},
      {"StartWithAdapterOff",
       Adapter::off,
       good,
       start_with_adapter_off,
       {k_state_off, stray, k_stop},
       {not_found, k_off},
       {}},
      {"StartWithoutPermission",
       Adapter::denied,
       good,
       start_without_permission,
       {unauthorized, stray, k_stop},
       {not_found, denied},
       {}},
      {"FailToConnect",
       Adapter::on,
       {true, "le-connection-abort-by-local", "", ""},
       fail_to_connect,
       {k_state_on, k_scan, k_start_scan, k_found_one, k_connect, k_stop},
       {k_connecting, "Connection failed: le-connection-abort-by-local"},
       {}},
      {"OldFirmware",
       Adapter::on,
       {false, "", "", ""},
       connect_to_old_firmware,
       {k_state_on, k_scan, k_start_scan, k_found_one, k_connect, k_did_connect, k_stop},
       {k_connecting, k_connected},
       {}},
      {"WritesRefused",
       Adapter::on,
       {true, "", "", "Operation failed with ATT error: 0x05"},
       stream_with_a_refusing_strap,
       {k_state_on, k_scan, k_start_scan, k_found_one, k_connect, k_did_connect,
        "write refused: Operation failed with ATT error: 0x05",
        "write refused: Operation failed with ATT error: 0x05", k_stop,
        "write refused: Operation failed with ATT error: 0x05"},
       {k_connecting, k_connected, k_streaming},
       {k_settings_bytes, k_start_bytes, k_stop_bytes}},
      {"NotificationsRefused",
       Adapter::on,
       {true, "", "Not paired", ""},
       stream_with_a_refusing_strap,
       {k_state_on, k_scan, k_start_scan, k_found_one, k_connect, k_did_connect,
        "notifications refused: Not paired", "notifications refused: Not paired",
        "notifications refused: Not paired", k_stop},
       {k_connecting, k_connected, k_streaming},
       {k_settings_bytes, k_start_bytes, k_stop_bytes}},
      {"LoseStrap",
       Adapter::on,
       good,
       lose_strap,
       {k_state_on, k_scan, k_start_scan, k_found_one, k_connect, k_did_connect, k_stop},
       {k_connecting, k_connected, k_streaming, k_disconnected},
       {k_settings_bytes, k_start_bytes}},
      {"LoseStrapAndStart",
       Adapter::on,
       good,
       lose_strap_and_start,
       {k_state_on, k_scan, k_start_scan, k_found_one, k_connect, k_did_connect, k_connect,
        k_did_connect, k_stop},
       {k_connecting, k_connected, k_streaming, k_disconnected, k_connecting, k_connected,
        k_streaming},
       {k_settings_bytes, k_start_bytes, k_settings_bytes, k_start_bytes, k_stop_bytes}},
      {"LoseStrapAndScan",
       Adapter::on,
       good,
       lose_strap_and_scan,
       {k_state_on, k_scan, k_start_scan, k_found_one, k_connect, k_did_connect, k_scan,
        k_start_scan, "startScan: cancelling leftover peripheral", k_found_one},
       {k_connecting, k_connected, k_streaming, k_disconnected},
       {k_settings_bytes, k_start_bytes}},
      {"ScanDuringARun",
       Adapter::on,
       good,
       scan_during_a_run,
       {k_state_on, k_scan, k_start_scan, k_found_one, k_connect, k_did_connect, k_scan,
        k_start_scan, "startScan: cancelling leftover peripheral", k_found_one},
       {k_connecting, k_connected, k_streaming, k_disconnected},
       {k_settings_bytes, k_start_bytes}},
      {"AdapterOffInARun",
       Adapter::on,
       good,
       turn_adapter_off_in_a_run,
       {k_state_on, k_scan, k_start_scan, k_found_one, k_connect, k_did_connect, k_state_off,
        k_stop},
       {k_connecting, k_connected, k_streaming, k_disconnected, k_off},
       {k_settings_bytes, k_start_bytes}},
  };
}

std::vector<std::string> log_of(StrapWorld& world) {
  std::vector<std::string> lines = world.log().lines();
  for (std::string& line : lines) {
    for (const auto& [identifier, shown] : {std::pair{world.strap_identifier(), "<strap>"},
                                            std::pair{world.unknown_identifier(), "<stray>"}}) {
      const std::size_t at = line.find(identifier);
      if (at != std::string::npos) line.replace(at, identifier.size(), shown);
    }
  }
  return lines;
}

}  // namespace

const std::vector<Scenario>& scenarios() {
  static const std::vector<Scenario> all = make_scenarios();
  return all;
}

void check_scenario(const Scenario& scenario, StrapWorld& world) {
  world.begin(scenario.adapter, scenario.behaviour);
  scenario.play(world);
  // All that is expected, and after a moment nothing more.
  wait_until([&] {
    return world.log().lines().size() >= scenario.log.size() &&
           world.statuses().size() >= scenario.statuses.size() &&
           world.writes().size() >= scenario.writes.size();
  });
  world.settle();
  EXPECT_EQ(log_of(world), scenario.log);
  EXPECT_EQ(world.statuses(), scenario.statuses);
  EXPECT_EQ(world.writes(), scenario.writes);
}

}  // namespace tvn
