// A message bus of a test's own: dbus-daemon in a temporary folder, so that tests neither need nor
// disturb the computer's system bus.
#pragma once

#include <sys/types.h>

#include <string>

#include "tests/temporary_folder.h"

namespace tvn {

enum class BusPolicy { open, nobody_may_call_bluez };

class PrivateBus {
 public:
  explicit PrivateBus(BusPolicy policy = BusPolicy::open);
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;
  ~PrivateBus();

  // As DBUS_SYSTEM_BUS_ADDRESS takes it.
  const std::string& address() const { return address_; }
  // Ends the daemon; connections are closed. Starts it again at the same address.
  void stop();
  void start();

 private:
  TemporaryFolder folder_;
  std::string address_;
  pid_t pid_ = -1;
};

}  // namespace tvn
