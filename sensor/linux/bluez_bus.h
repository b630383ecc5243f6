// The connection to the system bus and, over it, to bluetoothd: calls out, signals in. Everything
// here happens on the loop's thread. bluetoothd is never started by a call: it may have been
// switched off on purpose, and a crashing one would be started again and again.
#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sensor/linux/bus_loop.h"
#include "sensor/linux/bus_reader.h"

namespace tvn {

struct BusError {
  std::string name;     // such as "org.bluez.Error.NotReady"
  std::string message;  // for people; never empty
};

// What is told of bluetoothd.
class BluezListener {
 public:
  virtual ~BluezListener() = default;
  virtual void bluez_appeared(ManagedObjects objects) = 0;
  virtual void bluez_vanished() = 0;                        // after it had appeared
  virtual void bluez_unavailable(const BusError& why) = 0;  // a probe failed
  virtual void interfaces_added(const std::string& path, const Interfaces& added) = 0;
  virtual void interfaces_removed(const std::string& path,
                                  const std::vector<std::string>& removed) = 0;
  virtual void properties_changed(const std::string& path, const std::string& interface,
                                  const Properties& changed,
                                  const std::vector<std::string>& invalidated) = 0;
};

struct BusCall {
  std::string path;
  std::string interface;
  std::string method;
  // Appends the arguments; none when empty. Negative when it could not.
  std::function<int(sd_bus_message*)> arguments = {};
  // Connecting takes bluetoothd up to 41 s, longer than the bus library would wait.
  bool may_take_forever = false;
};

// Called once, with the error when there was one.
using ReplyHandler = std::function<void(const std::optional<BusError>&)>;

class BluezBus {
 public:
  BluezBus(BusLoop& loop, BluezListener& listener);
  ~BluezBus();
  BluezBus(const BluezBus&) = delete;
  BluezBus& operator=(const BluezBus&) = delete;

  // Sees whether bluetoothd can be reached, opening the bus when it is not open; the listener is
  // told. Does nothing while bluetoothd is known to be there, while a probe is under way, and
  // right after one: a driver that waits for its adapter asks ten times a second.
  void probe();
  // Calls a method of bluetoothd. The handler runs later, also when there is no bus.
  void call(const BusCall& call, ReplyHandler handler);
  // Sends what has not been sent and leaves the bus.
  void close();

 private:
  struct Release {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
  };
  int open();
  int add_matches();
  void request_objects();
  void lose_bluez();
  bool is_from_bluez(sd_bus_message* message) const;

  static int on_objects(sd_bus_message* reply, void* self, sd_bus_error*);
  static int on_owner_changed(sd_bus_message* signal, void* self, sd_bus_error*);
  static int on_interfaces_added(sd_bus_message* signal, void* self, sd_bus_error*);
  static int on_interfaces_removed(sd_bus_message* signal, void* self, sd_bus_error*);
  static int on_properties_changed(sd_bus_message* signal, void* self, sd_bus_error*);
  static int on_disconnected(sd_bus_message* signal, void* self, sd_bus_error*);

  BusLoop& loop_;
  BluezListener& listener_;
  std::unique_ptr<sd_bus, Release> bus_;
  std::string owner_;         // bluetoothd's unique name; empty while it is not known to be there
  double last_probe_ = -1e9;  // seconds of the monotonic clock
  bool probing_ = false;      // a request for the objects is under way
};

}  // namespace tvn
