#include "sensor/linux/gatt_queue.h"

#include "sensor/linux/bluez_objects.h"

namespace tvn {
namespace {

// A write with response: the strap's control point offers no other.
int append_write(sd_bus_message* message, const Bytes& bytes) {
  const int result = sd_bus_message_append_array(message, 'y', bytes.data(), bytes.size());
  return result < 0 ? result : sd_bus_message_append(message, "a{sv}", 1, "type", "s", "request");
}

}  // namespace

void GattQueue::subscribe(const std::string& characteristic, ReplyHandler handler) {
  push({characteristic, k_characteristic_interface, "StartNotify"}, std::move(handler));
}

void GattQueue::write(const std::string& characteristic, std::span<const std::uint8_t> bytes,
                      ReplyHandler handler) {
  auto arguments = [value = Bytes(bytes.begin(), bytes.end())](sd_bus_message* message) {
    return append_write(message, value);
  };
  push({characteristic, k_characteristic_interface, "WriteValue", std::move(arguments)},
       std::move(handler));
}

void GattQueue::abandon() {
  waiting_.clear();
  current_ = nullptr;
}

void GattQueue::push(BusCall call, ReplyHandler handler) {
  waiting_.emplace_back(std::move(call), std::move(handler));
  send_next();
}

void GattQueue::send_next() {
  if (busy_ || waiting_.empty()) return;
  busy_ = true;
  BusCall call = std::move(waiting_.front().first);
  current_ = std::move(waiting_.front().second);
  waiting_.pop_front();
  bus_.call(call, [self = shared_from_this()](const std::optional<BusError>& error) {
    self->busy_ = false;
    const ReplyHandler handler = std::exchange(self->current_, nullptr);
    if (handler) handler(error);
    self->send_next();
  });
}

}  // namespace tvn
