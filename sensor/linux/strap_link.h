// One connection to a strap, from finding it to its ECG: connect, learn its characteristics, ask
// for notifications, ask for the ECG settings, start the ECG. Lives on the bus thread; tells what
// happens through the callback slot and the log.
//
// bluetoothd forgets a device half a minute after it was last seen. One that was scanned a minute
// ago is therefore searched for again before it is connected.
#pragma once

#include <memory>
#include <string>

#include "sensor/linux/bluez_bus.h"
#include "sensor/linux/bluez_objects.h"
#include "sensor/linux/discovery.h"
#include "sensor/linux/gatt_queue.h"

namespace tvn {

// What a link works with; all of it outlives the link.
struct LinkSurroundings {
  BusLoop& loop;
  BluezBus& bus;
  Discovery& discovery;
  const ManagedObjects& objects;  // kept up to date by the owner, before it tells the link
};

class StrapLink : public std::enable_shared_from_this<StrapLink> {
 public:
  StrapLink(const LinkSurroundings& surroundings, std::string address);

  // Begins, once an earlier connection to the same strap is down.
  void connect();
  // Gives up without any sign: the owner ends the connection, if there is one.
  void abandon();

  // Forwarded by the owner.
  void objects_changed(const std::string& path);
  void properties_changed(const std::string& path, const std::string& interface,
                          const Properties& changed);
  void discovery_refused(const std::string& why);
  void adapter_lost();

  const std::string& address() const { return address_; }
  const std::string& device_path() const { return path_; }
  // Where commands are written; empty until it is known, and after the connection has ended.
  std::string control_point() const { return phase_ == Phase::connected ? control_point_ : ""; }
  std::shared_ptr<GattQueue> gatt() const { return gatt_; }
  bool is_waiting() const { return phase_ == Phase::waiting; }
  // Whether there is a connection, or a wish for one.
  bool is_open() const { return phase_ != Phase::over; }

 private:
  // `found`: again, and not yet asked to connect, as the search for it has to end first.
  enum class Phase { waiting, finding, found, connecting, connected, over };

  void find_again();
  void found_again();
  void call_connect();
  void connect_refused(const BusError& error);
  void connected();
  void disconnected();
  void fail(const std::string& status);
  void use_characteristics();
  void subscribe(StrapRole role);
  void use_control_point(const std::string& path);
  void settings_answered();
  bool is_device(const std::string& path) const { return !path_.empty() && path == path_; }

  LinkSurroundings with_;
  std::string address_;
  std::string path_;
  std::string control_point_;
  std::shared_ptr<GattQueue> gatt_;
  Phase phase_ = Phase::waiting;
  bool searched_again_ = false;
  bool went_down_ = false;  // before bluetoothd answered that the link is up
  bool ecg_started_ = false;
  bool uses_data_ = false;
  bool uses_heart_rate_ = false;
  Timer search_limit_;
};

}  // namespace tvn
