// bluetoothd's search for devices, on behalf of a scan and of a connection that has to find its
// device again. bluetoothd answers a start that comes during a stop with an error, so that only
// one of the two is ever under way and the newest wish is seen to after it.
#pragma once

#include <functional>
#include <string>

#include "sensor/linux/bluez_bus.h"

namespace tvn {

class Discovery {
 public:
  // `adapter` gives the path of the adapter to search with. `refused` is told why a search could
  // not begin; nobody's wish is open then.
  Discovery(BluezBus& bus, std::function<std::string()> adapter,
            std::function<void(const std::string& why)> refused);

  // Who wants a search. It runs while anybody does.
  void wish_for_scan(bool wanted);
  void wish_for_link(bool wanted);
  // Runs `task` once no search runs for a connection any more. A newer task replaces it.
  void when_quiet(std::function<void()> task);
  // bluetoothd or its adapter has gone, and every search with it.
  void forget();

 private:
  void pursue();
  void set_filter();
  void start();
  void stop();
  void refuse(const std::string& why);
  void settle(bool active);

  BluezBus& bus_;
  std::function<std::string()> adapter_;
  std::function<void(const std::string&)> refused_;
  std::function<void()> when_quiet_;
  std::string searching_adapter_;
  bool for_scan_ = false;
  bool for_link_ = false;
  bool active_ = false;
  bool busy_ = false;        // a start or a stop is under way
  unsigned generation_ = 0;  // replies from before forget() are not heard
};

}  // namespace tvn
