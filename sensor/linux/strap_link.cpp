#include "sensor/linux/strap_link.h"

#include <utility>

#include "sensor/callback_slot.h"
#include "sensor/link_texts.h"
#include "sensor/pmd.h"
#include "sensor/sensor_log.h"

namespace tvn {
namespace {

// As long as a scan: a strap that is worn and free is heard in that time.
constexpr double k_search_seconds = 10.0;

// What a call to an object that is not there gives, in newer and older versions of bluetoothd.
constexpr const char* k_unknown_object = "org.freedesktop.DBus.Error.UnknownObject";
constexpr const char* k_unknown_method = "org.freedesktop.DBus.Error.UnknownMethod";

void log_refused_notifications(const std::optional<BusError>& error) {
  if (error) sensor_log(notify_refused_line(error->message));
}

void log_refused_write(const std::optional<BusError>& error) {
  if (error) sensor_log(write_refused_line(error->message));
}

}  // namespace

StrapLink::StrapLink(const LinkSurroundings& surroundings, std::string address)
    : with_(surroundings),
      address_(std::move(address)),
      gatt_(std::make_shared<GattQueue>(surroundings.bus)) {}

void StrapLink::connect() {
  path_ = find_device(with_.objects, address_);
  if (path_.empty()) {
    find_again();
  } else {
    call_connect();
  }
}

void StrapLink::abandon() {
  if (phase_ == Phase::finding) with_.discovery.wish_for_link(false);
  gatt_->abandon();
  search_limit_.cancel();
  phase_ = Phase::over;
}

void StrapLink::find_again() {
  searched_again_ = true;
  phase_ = Phase::finding;
  search_limit_ = with_.loop.after(k_search_seconds, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->fail(k_status_not_found);
  });
  with_.discovery.wish_for_link(true);
}

void StrapLink::found_again() {
  search_limit_.cancel();
  path_ = find_device(with_.objects, address_);
  phase_ = Phase::found;
  with_.discovery.wish_for_link(false);
  with_.discovery.when_quiet([weak = weak_from_this()] {
    const auto self = weak.lock();
    if (self != nullptr && self->phase_ == Phase::found) self->call_connect();
  });
}

void StrapLink::call_connect() {
  phase_ = Phase::connecting;
  went_down_ = false;
  const BusCall call{path_, k_device_interface, "Connect", {}, true};
  with_.bus.call(call, [weak = weak_from_this()](const std::optional<BusError>& error) {
    const auto self = weak.lock();
    if (self == nullptr || self->phase_ != Phase::connecting) return;
    if (error) {
      self->connect_refused(*error);
    } else {
      self->connected();
    }
  });
}

// A device that expires on the very moment is searched for like one that expired before, once.
void StrapLink::connect_refused(const BusError& error) {
  const bool is_unknown = error.name == k_unknown_object || error.name == k_unknown_method;
  if (is_unknown && !searched_again_ && find_device(with_.objects, address_).empty()) {
    return find_again();
  }
  fail(connection_failed_text(error.message));
}

void StrapLink::fail(const std::string& status) {
  abandon();
  report_status(status);
}

void StrapLink::connected() {
  phase_ = Phase::connected;
  sensor_log(k_log_connected);
  report_status(k_status_connected);
  if (went_down_) return disconnected();
  use_characteristics();
}

void StrapLink::disconnected() {
  fail(k_status_disconnected);
}

// The characteristics are complete once bluetoothd says so. Some versions say so a little early:
// what is announced later is used when it comes.
void StrapLink::use_characteristics() {
  const Properties* device = find_interface(with_.objects, path_, k_device_interface);
  if (device == nullptr || !flag_of(*device, "ServicesResolved")) return;
  if (!uses_data_) subscribe(StrapRole::data);
  if (!uses_heart_rate_) subscribe(StrapRole::heart_rate);
  if (!control_point_.empty()) return;
  // Last: without the strap's answers and the ECG subscribed to, a command is of no use.
  const std::string control = find_characteristic(with_.objects, path_, StrapRole::control_point);
  if (!control.empty()) use_control_point(control);
}

void StrapLink::subscribe(StrapRole role) {
  const std::string path = find_characteristic(with_.objects, path_, role);
  if (path.empty()) return;
  (role == StrapRole::data ? uses_data_ : uses_heart_rate_) = true;
  gatt_->subscribe(path, log_refused_notifications);
}

void StrapLink::use_control_point(const std::string& path) {
  control_point_ = path;
  gatt_->subscribe(path, log_refused_notifications);
  gatt_->write(path, k_request_ecg_settings,
               [weak = weak_from_this()](const std::optional<BusError>& error) {
                 log_refused_write(error);
                 if (const auto self = weak.lock()) self->settings_answered();
               });
}

// Whatever the answer was: the settings are known, and a strap that still streams from an earlier
// run refuses nothing that matters.
void StrapLink::settings_answered() {
  if (ecg_started_ || phase_ != Phase::connected) return;
  ecg_started_ = true;
  gatt_->write(control_point_, k_start_ecg, log_refused_write);
  report_status(k_status_streaming);
}

void StrapLink::objects_changed(const std::string& path) {
  if (phase_ == Phase::finding && !find_device(with_.objects, address_).empty()) found_again();
  if (phase_ != Phase::connected) return;
  if (is_device(path) && find_interface(with_.objects, path, k_device_interface) == nullptr) {
    disconnected();
  } else {
    use_characteristics();
  }
}

void StrapLink::properties_changed(const std::string& path, const std::string& interface,
                                   const Properties& changed) {
  if (phase_ == Phase::connecting && is_device(path) && changed.contains("Connected")) {
    went_down_ = !flag_of(changed, "Connected");
  }
  // Frames of a connection that is on its way out arrive in other phases, and are dropped.
  if (phase_ != Phase::connected) return;
  if (interface == k_characteristic_interface) {
    const auto value = changed.find("Value");
    const auto* bytes = value == changed.end() ? nullptr : std::get_if<Bytes>(&value->second);
    if (bytes == nullptr || !path.starts_with(path_ + "/")) return;
    const Properties* properties = find_interface(with_.objects, path, interface);
    if (properties == nullptr || strap_role(text_of(*properties, "UUID")) != StrapRole::data) {
      return;
    }
    hand_on_samples(decode_ecg_frame(*bytes));
  } else if (interface == k_device_interface && is_device(path)) {
    if (changed.contains("Connected") && !flag_of(changed, "Connected")) return disconnected();
    if (flag_of(changed, "ServicesResolved")) use_characteristics();
  }
}

void StrapLink::discovery_refused(const std::string& why) {
  if (phase_ == Phase::finding) fail(connection_failed_text(why));
}

// A call to connect that is under way is answered by the bus itself.
void StrapLink::adapter_lost() {
  if (phase_ == Phase::connected) {
    disconnected();
  } else if (phase_ != Phase::connecting && phase_ != Phase::over) {
    fail(connection_failed_text(""));
  }
}

}  // namespace tvn
