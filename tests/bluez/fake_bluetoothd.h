// bluetoothd as a client meets it, for tests: the objects, properties, signals, errors and delays
// that version 5.66 was seen to have, on a bus of the test's own, with straps that a test puts in
// reach, lets fail and takes away. Noted are all calls of clients, in order.
#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sensor/linux/bus_loop.h"
#include "tests/bluez/bus_objects.h"
#include "tests/bluez/fake_strap.h"

namespace tvn::fake {

class Bluetoothd {
 public:
  // Comes up with one adapter that is on.
  explicit Bluetoothd(std::string bus_address);
  ~Bluetoothd();
  Bluetoothd(const Bluetoothd&) = delete;
  Bluetoothd& operator=(const Bluetoothd&) = delete;

  // Adds a strap; `known` makes it one that bluetoothd remembers from earlier, and returns when the
  // client has heard of it.
  void add_strap(const Strap& strap, bool known = false);
  void change_strap(const std::string& address, const std::function<void(Strap&)>& change);
  void set_powered(bool on);
  // No search can be begun, for this reason.
  void refuse_discovery(const BluezError& error);
  // How long the begin and the end of a search take.
  void answer_discovery_after(double seconds);
  void remove_adapter();
  void add_adapter();
  // Nothing heard of a device for 30 s: its objects go.
  void expire(const std::string& address);
  // Somebody else on this computer, or a program that was killed, holds the link: the strap is
  // silent, and nothing but its properties tells of it.
  void connect_elsewhere(const std::string& address);
  // The strap ends the link: out of reach, or taken off.
  void drop_link(const std::string& address);
  // A notification with any bytes on any characteristic ("data", "control", "heart_rate").
  void notify(const std::string& address, const std::string& characteristic, const Bytes& value);
  // Signals of the right names with contents that no bluetoothd sends.
  void send_nonsense(const std::string& address);
  // A crash, and the restart by the system.
  void die();
  void come_back();

  // What clients called since the start: "SetDiscoveryFilter Transport=le", "StartDiscovery",
  // "Connect <address>", "StartNotify data", "WriteValue 0100", ...
  std::vector<std::string> calls();
  // The bytes that were written to control points, in hex, and how each was meant ("request").
  std::vector<std::string> writes();
  std::size_t samples_sent(const std::string& address);
  bool is_connected(const std::string& address);
  bool is_discovering();

 private:
  struct State;
  void run(const std::function<void()>& task);
  std::unique_ptr<State> state_;
};

}  // namespace tvn::fake
