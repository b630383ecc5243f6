// The central on Linux: BlueZ's bluetoothd, over the system bus. Mirrors adapters and devices,
// remembers which devices a scan has seen, and holds the link to the strap. All of that happens on
// one thread, "tvn.ble"; the operations hand it tasks.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "sensor/adapter_state.h"
#include "sensor/central.h"
#include "sensor/linux/bluez_bus.h"
#include "sensor/linux/bluez_objects.h"
#include "sensor/linux/bus_loop.h"
#include "sensor/linux/discovery.h"
#include "sensor/linux/farewell.h"
#include "sensor/linux/strap_link.h"

namespace tvn {

class BluezCentral : public Central, private BluezListener {
 public:
  // Starts the thread and looks for bluetoothd. Throws std::system_error without a thread; a
  // missing bus, bluetoothd or adapter is no error and shows in powered_on().
  BluezCentral();
  // Leaves, when that was not done.
  ~BluezCentral() override;

  // Also looks again for a bus or a bluetoothd that was missing; nothing else does, so that a
  // computer without Bluetooth is left in peace.
  bool powered_on() override;
  Refusal start_scan() override TVN_EXCLUDES(mutex_);
  Refusal stop_scan() override TVN_EXCLUDES(mutex_);
  // Ordered by address.
  Refusal discovered(std::vector<SensorDevice>& devices) override TVN_EXCLUDES(mutex_);
  Refusal connect_to(const std::string& identifier) override;
  Refusal disconnect() override;
  void explain_adapter() override;
  void leave() override;

 private:
  void bluez_appeared(ManagedObjects objects) override;
  void bluez_vanished() override;
  void bluez_unavailable(const BusError& why) override;
  void interfaces_added(const std::string& path, const Interfaces& added) override;
  void interfaces_removed(const std::string& path,
                          const std::vector<std::string>& removed) override;
  void properties_changed(const std::string& path, const std::string& interface,
                          const Properties& changed,
                          const std::vector<std::string>& invalidated) override;

  void set_state(AdapterState state);
  void update_state();
  void begin_scan();
  void lose_scan(const std::string& why) TVN_EXCLUDES(mutex_);
  void refuse_discovery(const std::string& why);
  void note_sighting(const std::string& path) TVN_EXCLUDES(mutex_);
  void note_connected(const std::string& path);
  bool is_ours(const std::string& path) const;
  void begin_link(const std::string& address);
  void end_link(Farewell::Manner manner);
  void link_is_down(const std::string& address, bool tell);
  void connect_waiting_link(const std::string& address);
  bool was_discovered(const std::string& address) TVN_EXCLUDES(mutex_);
  void tell_of_device(const std::string& path);
  void shut_down();
  void wait_to_leave(int rounds);

  // What other threads read.
  std::atomic<AdapterState> state_{AdapterState::unknown};
  std::atomic<bool> scanning_{false};
  Mutex mutex_;
  std::map<std::string, std::string> discovered_ TVN_GUARDED_BY(mutex_);  // name by address
  Refusal scan_lost_ TVN_GUARDED_BY(mutex_);

  // What only the thread touches.
  BusLoop loop_;
  BluezBus bus_;
  ManagedObjects objects_;
  Discovery discovery_;
  std::set<std::string> seen_;  // paths, in this scan
  std::shared_ptr<StrapLink> link_;
  std::vector<std::shared_ptr<Farewell>> farewells_;
  Timer shut_down_;
};

}  // namespace tvn
