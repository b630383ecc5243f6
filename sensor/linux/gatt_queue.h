// Calls to the characteristics of one connection, one at a time: bluetoothd refuses a write to a
// characteristic while another is under way, and some versions a subscription likewise.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "sensor/linux/bluez_bus.h"

namespace tvn {

class GattQueue : public std::enable_shared_from_this<GattQueue> {
 public:
  explicit GattQueue(BluezBus& bus) : bus_(bus) {}

  // Switches notifications (or indications) of a characteristic on.
  void subscribe(const std::string& characteristic, ReplyHandler handler);
  // Writes with response; the handler runs when the strap has answered.
  void write(const std::string& characteristic, std::span<const std::uint8_t> bytes,
             ReplyHandler handler);
  // Drops what has not been sent; no handler of it, nor of the call under way, is run.
  void abandon();

 private:
  void push(BusCall call, ReplyHandler handler);
  void send_next();

  BluezBus& bus_;
  std::deque<std::pair<BusCall, ReplyHandler>> waiting_;
  ReplyHandler current_;
  bool busy_ = false;
};

}  // namespace tvn
