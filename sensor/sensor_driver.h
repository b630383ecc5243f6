// What the session needs of an ECG strap, whatever the platform's Bluetooth looks like.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tvn {

struct SensorDevice {
  std::string identifier;  // what start() takes
  std::string name;        // what the user sees
};

struct ScanResult {
  std::vector<SensorDevice> devices;
  std::string error;  // why no scan could be made; empty when one was made
};

// Receives ECG samples in microvolts at 130 samples per second, in the order of measurement.
using SamplesCallback = std::function<void(const std::vector<double>&)>;
// Receives a short status text for the user.
using StatusCallback = std::function<void(const std::string&)>;

// One driver lives from start-up to exit. Its operations are called from request threads; the
// callbacks come from a thread of the driver's own, with the mutex of its callback slot held.
// Lock order: callback slot, then session.
class SensorDriver {
 public:
  virtual ~SensorDriver() = default;
  // Whether the platform has Bluetooth support; the adapter may still be off.
  virtual bool available() = 0;
  // Looks for devices; blocks for the length of a scan (about 10 s).
  virtual ScanResult scan() = 0;
  // Installs the callbacks and begins to connect; waits 2 s at most for the adapter.
  virtual void start(const std::string& identifier, SamplesCallback samples,
                     StatusCallback status) = 0;
  // Ends the connection and removes the callbacks: none runs after it has returned.
  virtual void stop() = 0;
};

}  // namespace tvn
