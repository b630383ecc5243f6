// Every text that the sensor link shows or logs, once for both platforms, so that one guide reads
// the log of either.
#pragma once

#include <cstddef>
#include <string>

namespace tvn {

// Shown to the user as the status of a live run.
inline constexpr const char* k_status_connecting = "Connecting…";
inline constexpr const char* k_status_connected = "Connected. Discovering services…";
inline constexpr const char* k_status_streaming = "Streaming ECG…";
inline constexpr const char* k_status_disconnected = "Disconnected.";
inline constexpr const char* k_status_not_found = "Device not found. Try scanning again.";
inline constexpr const char* k_status_turned_off = "Bluetooth is turned off.";
inline constexpr const char* k_status_denied =
    "Bluetooth permission denied. Enable it in System Settings › Privacy › Bluetooth.";
// `reason` is the platform's description of the error; empty becomes "unknown".
std::string connection_failed_text(const std::string& reason);
std::string connect_failed_text(const std::string& reason);

// Why no scan could be made.
inline constexpr const char* k_scan_not_powered =
    "Bluetooth is off or not available. Turn Bluetooth on and try again.";
std::string scan_failed_text(const std::string& reason);

// Lines of the log.
inline constexpr const char* k_log_scan_enter = "MacBle::scan() enter";
inline constexpr const char* k_log_scan_not_powered = "scan: not poweredOn";
inline constexpr const char* k_log_stop_enter = "MacBle::stop() enter";
inline constexpr const char* k_log_leftover = "startScan: cancelling leftover peripheral";
inline constexpr const char* k_log_connected = "didConnectPeripheral";
std::string scan_done_line(std::size_t devices);
std::string scan_exception_line(const std::string& reason);
std::string start_scan_line(bool powered_on, bool is_scanning);
std::string start_scan_exception_line(const std::string& reason);
std::string connect_line(const std::string& identifier);
std::string adapter_state_line(long state, bool powered_on);
// A write or a subscription that the strap or the platform refused; the conversation goes on.
std::string write_refused_line(const std::string& reason);
std::string notify_refused_line(const std::string& reason);

}  // namespace tvn
