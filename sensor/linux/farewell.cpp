#include "sensor/linux/farewell.h"

#include <utility>

#include "sensor/link_texts.h"
#include "sensor/pmd.h"
#include "sensor/sensor_log.h"

namespace tvn {
namespace {

// A strap in reach answers within a tenth of a second; one out of reach is not waited for.
constexpr double k_stop_answer_seconds = 1.0;
// bluetoothd takes 2 to 2.7 s; a link that is still up after this is not going to end.
constexpr double k_down_seconds = 5.0;

}  // namespace

Farewell::Farewell(const LinkSurroundings& surroundings, StrapLink& link, Manner manner)
    : with_(surroundings),
      address_(link.address()),
      path_(link.device_path()),
      control_point_(manner == Manner::stop_first ? link.control_point() : ""),
      gatt_(link.gatt()) {
  link.abandon();
}

void Farewell::begin(std::function<void()> down) {
  when_down_ = std::move(down);
  down_limit_ = with_.loop.after(k_down_seconds, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (self == nullptr) return;
    self->called_off_ = false;
    self->finish();
  });
  called_off_ = !is_connected(with_.objects, path_);
  if (find_interface(with_.objects, path_, k_device_interface) == nullptr) return finish();
  if (control_point_.empty() || called_off_) return ask_to_disconnect();
  stop_limit_ = with_.loop.after(k_stop_answer_seconds, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->ask_to_disconnect();
  });
  gatt_->write(control_point_, k_stop_ecg,
               [weak = weak_from_this()](const std::optional<BusError>& error) {
                 if (error) sensor_log(write_refused_line(error->message));
                 if (const auto self = weak.lock()) self->ask_to_disconnect();
               });
}

void Farewell::ask_to_disconnect() {
  if (asked_ || down_) return;
  asked_ = true;
  stop_limit_.cancel();
  gatt_->abandon();
  with_.bus.call({path_, k_device_interface, "Disconnect"},
                 [weak = weak_from_this()](const std::optional<BusError>&) {
                   const auto self = weak.lock();
                   if (self == nullptr) return;
                   self->answered_ = true;
                   self->check();
                 });
}

void Farewell::device_changed(const std::string& path) {
  if (path != path_) return;
  if (down_ && called_off_ && is_connected(with_.objects, path_)) {
    with_.bus.call({path_, k_device_interface, "Disconnect"}, [](const auto&) {});
  }
  check();
}

void Farewell::bluez_vanished() {
  finish();
}

void Farewell::check() {
  if (answered_ && !is_connected(with_.objects, path_)) finish();
}

void Farewell::finish() {
  if (down_) return;
  down_ = true;
  stop_limit_.cancel();
  gatt_->abandon();
  if (when_down_) std::exchange(when_down_, nullptr)();
}

}  // namespace tvn
