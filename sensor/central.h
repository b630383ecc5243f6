// A platform's Bluetooth Low Energy central as the driver sees it: the part that finds devices and
// talks to the strap. It works on a thread of its own and tells what happens through the callback
// slot and the log; none of these operations waits for that thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sensor/sensor_driver.h"

namespace tvn {

// Why the platform refused an operation; nothing when it did not.
using Refusal = std::optional<std::string>;

class Central {
 public:
  virtual ~Central() = default;

  // Whether the adapter is there, allowed and on.
  virtual bool powered_on() = 0;
  // Forgets earlier sightings, ends a connection left from earlier, and begins to look for
  // devices. Does nothing while the adapter is off.
  virtual Refusal start_scan() = 0;
  // Ends a scan; what was seen is kept, so that connecting works afterwards.
  virtual Refusal stop_scan() = 0;
  // Puts the devices with a name that were seen since the last start of a scan into `devices`.
  virtual Refusal discovered(std::vector<SensorDevice>& devices) = 0;
  // Begins to connect to a device that was seen or that the platform knows; the conversation that
  // starts the ECG follows by itself.
  virtual Refusal connect_to(const std::string& identifier) = 0;
  // Tells the strap to stop, ends the connection and forgets the device.
  virtual Refusal disconnect() = 0;
  // Shows why the adapter cannot be used, where there is a text for it.
  virtual void explain_adapter() = 0;
  // For the end of the program: waits until a strap that was connected has been told to stop, for
  // a few seconds at most. No operation has any effect afterwards.
  virtual void leave() = 0;
};

}  // namespace tvn
