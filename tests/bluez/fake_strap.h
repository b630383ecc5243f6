// What a strap of the fake bluetoothd is and does: its name, its ECG, and what goes wrong with it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tvn::fake {

struct BluezError {
  std::string name;  // after "org.bluez.Error."
  std::string message;
};

struct Strap {
  std::string address;                 // "A0:9E:1A:00:00:01"
  std::optional<std::string> name;     // none: a device that does not tell
  bool advertises = true;              // worn, free and in reach
  bool name_comes_late = false;        // after the first sighting
  bool has_measurements = true;        // the PMD service; very old firmware has another
  bool is_streaming_already = false;   // left so by a program that vanished
  bool resolves_early = false;         // bluetoothd calls the services complete before they are
  bool connect_hangs = false;          // until somebody disconnects
  bool comes_up_all_the_same = false;  // a connection that was called off comes up later
  bool drops_at_once = false;          // the link, before bluetoothd has answered Connect
  bool falls_silent_on_write = false;  // never answers a write
  double disconnect_seconds = 0.1;     // how long bluetoothd takes over Disconnect (really 2)
  double connect_seconds = 0.02;
  double answer_seconds = 0.005;  // a round trip to the strap
  std::optional<BluezError> connect_error;
  std::vector<std::string> expired_errors;  // of the next calls of Connect: it has just expired
  std::optional<BluezError> notify_error;
  std::optional<BluezError> write_error;

  std::vector<std::int32_t> ecg;   // microvolts at 130 a second
  double speed = 1.0;              // relative to real time
  bool frames_after_stop = false;  // sends on until the link is down
};

}  // namespace tvn::fake
