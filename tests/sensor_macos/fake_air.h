// What the fakes of the framework's classes have around them: an adapter, a strap, a nameless
// device. C++ only, so that tests need no Objective-C. Everything happens on the queue that the
// program made for its central manager.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/sensor_scenarios/strap_world.h"

namespace tvn::fake {

inline constexpr const char* k_strap_uuid = "6F1C2A3B-1111-2222-3333-0A0B0C0D0E0F";

// CBManagerState's documented numbers.
enum class ManagerState { unauthorized = 3, powered_off = 4, powered_on = 5 };

// A fresh world, before the program makes its central manager.
void begin_air(ManagerState state, const StrapBehaviour& behaviour);
void change_state(ManagerState state);
// scanForPeripheralsWithServices throws, with this reason.
void throw_at_scans(const std::string& reason);
// stopScan throws, with this reason; connectPeripheral and cancelPeripheralConnection likewise.
void throw_at_stop_scan(const std::string& reason);
void throw_at_connect(const std::string& reason);
void throw_at_cancel(const std::string& reason);  // "" no more
// No connection comes about, for this reason; "" no more.
void refuse_connections(const std::string& message);
void refuse_connections_without_a_reason();
// The adapter goes off while the program stops a scan, as it does before it begins one.
void turn_off_at_stop_scan();
// How many scans the system was asked for.
int scans_begun();
// The system takes so long over the end of a connection.
void end_connections_after(double seconds);
// A device's name cannot be had outside the queue.
void throw_at_names(const std::string& reason);
// Everything that a connection makes the framework tell, of a device that nobody asked for.
void tell_of_a_stranger();
// Nothing is told for so long; requests meanwhile are answered after it.
void hold_queue(double seconds);
void bring_devices();
void take_devices_away();
// Each scan sees the strap twice, the second time with this name.
void rename_strap_in_mid_scan(const std::string& name);
void know_strap();
void drop_link();
void send_value(const std::string& characteristic_uuid, const std::vector<std::uint8_t>& value);
// In hex; a write without response has "?" before it.
std::vector<std::string> written();
// Services that were asked for, characteristics that were subscribed to, in order.
std::vector<std::string> asked();
// The label that the program gave its queue.
std::string queue_label();

}  // namespace tvn::fake
