// A computer's Bluetooth with one strap and its neighbours, as a platform's tests play it behind
// that platform's driver, and a record of what the driver told.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "sensor/ble_driver.h"
#include "sensor/callback_slot.h"
#include "tests/sensor/log_folder.h"
#include "tests/wait_until.h"

namespace tvn {

// How the strap behaves; errors are the messages that the platform gives the program.
struct StrapBehaviour {
  bool has_measurements = true;
  std::string connect_error;
  std::string notify_error;
  std::string write_error;
};

class StrapWorld {
 public:
  // A run that the test did not stop must not tell this world what the next one's driver does.
  virtual ~StrapWorld() { remove_callbacks(); }

  virtual SensorDriver& driver() = 0;
  // What start() takes for the strap, and for a device nobody has heard of.
  virtual std::string strap_identifier() const = 0;
  virtual std::string unknown_identifier() const = 0;

  enum class Adapter { on, off, denied };
  // Before the first use of driver(): what the adapter is in when the program starts.
  virtual void begin(Adapter adapter, const StrapBehaviour& behaviour) = 0;
  virtual void turn_adapter(bool on) = 0;
  // The platform refuses to begin a scan, with this message.
  virtual void refuse_scans(const std::string& message) = 0;
  // The strap (named "Polar H10 12345678") and a nameless device come into reach.
  virtual void bring_devices() = 0;
  // The platform knows the strap from an earlier day; no scan has seen it.
  virtual void remember_strap() = 0;
  virtual void drop_link() = 0;
  // A notification of the strap's data characteristic.
  virtual void send_frame(const std::vector<std::uint8_t>& frame) = 0;
  // What was written to the control point, in hex, in order.
  virtual std::vector<std::string> writes() = 0;
  // Lets everything that is on its way arrive.
  virtual void settle() = 0;

  void start(const std::string& identifier) {
    driver().start(
        identifier,
        [this](const std::vector<double>& batch) {
          const std::lock_guard hold(mutex_);
          samples_.insert(samples_.end(), batch.begin(), batch.end());
        },
        [this](const std::string& text) {
          const std::lock_guard hold(mutex_);
          statuses_.push_back(text);
        });
  }
  std::vector<std::string> statuses() {
    const std::lock_guard hold(mutex_);
    return statuses_;
  }
  std::vector<double> samples() {
    const std::lock_guard hold(mutex_);
    return samples_;
  }
  bool wait_for_status(const std::string& text) {
    return wait_until([&] { return !statuses().empty() && statuses().back() == text; });
  }
  bool wait_for_log(const std::string& line) {
    return wait_until([&] {
      for (const std::string& logged : log_.lines()) {
        if (logged == line) return true;
      }
      return false;
    });
  }
  const LogFolder& log() const { return log_; }

 private:
  std::mutex mutex_;
  std::vector<std::string> statuses_;
  std::vector<double> samples_;
  LogFolder log_;
};

}  // namespace tvn
