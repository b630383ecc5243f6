// The end of a connection: the strap is told to stop, then disconnected. bluetoothd keeps a link
// up for two more seconds after it was asked to end it, frames still come, and a connection made
// in that time dies with the old link. So an end takes its time, beside what comes next.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "sensor/linux/strap_link.h"

namespace tvn {

class Farewell : public std::enable_shared_from_this<Farewell> {
 public:
  // Takes over from `link`, which is abandoned. A connection that a scan cuts off is not told to
  // stop first.
  enum class Manner { stop_first, cut_off };
  Farewell(const LinkSurroundings& surroundings, StrapLink& link, Manner manner);
  // Begins; `down` is called once, when the link is down or has had 5 s for it.
  void begin(std::function<void()> down);

  // Forwarded by the owner: something about the device at this path has changed.
  void device_changed(const std::string& path);
  // bluetoothd has gone, and every link with it.
  void bluez_vanished();

  const std::string& address() const { return address_; }
  bool is_down() const { return down_; }
  // Whether there is nothing left to watch for: a connection that was called off may still come up.
  bool is_over() const { return down_ && !called_off_; }
  // Whether bluetoothd has been asked to disconnect, so that the program may leave.
  bool has_asked() const { return asked_; }

 private:
  void ask_to_disconnect();
  void check();
  void finish();

  LinkSurroundings with_;
  std::string address_;
  std::string path_;
  std::string control_point_;
  std::shared_ptr<GattQueue> gatt_;
  std::function<void()> when_down_;
  bool asked_ = false;
  bool answered_ = false;
  bool down_ = false;
  bool called_off_ = false;  // ended before it was up, and may still come up
  Timer stop_limit_;
  Timer down_limit_;
};

}  // namespace tvn
