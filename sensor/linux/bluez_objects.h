// bluetoothd's objects (adapters, devices, characteristics) as the program has been told of them,
// and the questions that the link asks of them. Names as in BlueZ's published D-Bus interfaces.
#pragma once

#include <string>
#include <vector>

#include "sensor/linux/bus_reader.h"
#include "sensor/pmd.h"

namespace tvn {

inline constexpr const char* k_adapter_interface = "org.bluez.Adapter1";
inline constexpr const char* k_device_interface = "org.bluez.Device1";
inline constexpr const char* k_characteristic_interface = "org.bluez.GattCharacteristic1";

// Keep the picture up to date with the signals of the same names.
void add_interfaces(ManagedObjects& objects, const std::string& path, const Interfaces& added);
void remove_interfaces(ManagedObjects& objects, const std::string& path,
                       const std::vector<std::string>& removed);
void change_properties(ManagedObjects& objects, const std::string& path,
                       const std::string& interface, const Properties& changed,
                       const std::vector<std::string>& invalidated);

// The interface of an object; null when it has none of that name.
const Properties* find_interface(const ManagedObjects& objects, const std::string& path,
                                 const std::string& interface);

// The adapter in use: the first that is on, else the first; empty without one.
std::string current_adapter(const ManagedObjects& objects);

// The device with this address, on the adapter in use when several know it; empty when none does.
std::string find_device(const ManagedObjects& objects, const std::string& address);

// Whether the device at `path` has a connection; false when there is no such device.
bool is_connected(const ManagedObjects& objects, const std::string& path);

// The characteristic of the device at `device_path` that has the role; empty when none has.
std::string find_characteristic(const ManagedObjects& objects, const std::string& device_path,
                                StrapRole role);

}  // namespace tvn
