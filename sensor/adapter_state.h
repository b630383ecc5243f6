// What the computer's Bluetooth adapter is in. The numbers are those of the macOS framework
// (CBManagerState); the Linux link uses the same, so that the logs of both read alike.
#pragma once

namespace tvn {

enum class AdapterState : long {
  unknown = 0,       // not heard of yet
  resetting = 1,     // the system's Bluetooth service has gone away
  unsupported = 2,   // no adapter, or no Bluetooth service
  unauthorized = 3,  // the system lets this program not use it
  powered_off = 4,   // switched off, in the settings or by a hardware switch
  powered_on = 5,
};

// Logs the state and shows its text, for the states that have one.
void announce_adapter_state(AdapterState state);

// Shows the text of a state that has one: a run that begins with the adapter off must say so.
void report_adapter_state(AdapterState state);

}  // namespace tvn
