#include "sensor/linux/bluez_central.h"

#include <algorithm>
#include <utility>

#include "sensor/callback_slot.h"
#include "sensor/link_texts.h"
#include "sensor/sensor_log.h"

namespace tvn {
namespace {

// At the end of the program the strap's answer to the stop command is waited for, 3 s at most.
constexpr int k_shut_down_rounds = 150;
constexpr double k_shut_down_round_seconds = 0.02;

constexpr const char* k_access_denied = "org.freedesktop.DBus.Error.AccessDenied";
constexpr const char* k_service_stopped = "the Bluetooth service stopped";

}  // namespace

BluezCentral::BluezCentral()
    : loop_("tvn.ble"),
      bus_(loop_, *this),
      discovery_(
          bus_, [this] { return current_adapter(objects_); },
          [this](const std::string& why) { refuse_discovery(why); }) {
  loop_.post([this] { bus_.probe(); });
}

BluezCentral::~BluezCentral() {
  BluezCentral::leave();
}

void BluezCentral::leave() {
  loop_.post([this] { shut_down(); });
  loop_.join();
}

void BluezCentral::shut_down() {
  end_link(Farewell::Manner::stop_first);
  wait_to_leave(k_shut_down_rounds);
}

void BluezCentral::wait_to_leave(int rounds) {
  const bool all_asked = std::all_of(
      farewells_.begin(), farewells_.end(),
      [](const auto& farewell) { return farewell->is_down() || farewell->has_asked(); });
  if (all_asked || rounds == 0) return loop_.quit();
  shut_down_ =
      loop_.after(k_shut_down_round_seconds, [this, rounds] { wait_to_leave(rounds - 1); });
}

bool BluezCentral::powered_on() {
  if (state_ == AdapterState::powered_on) return true;
  loop_.post([this] { bus_.probe(); });
  return false;
}

void BluezCentral::explain_adapter() {
  loop_.post([this] { report_adapter_state(state_); });
}

// --- Scanning

Refusal BluezCentral::start_scan() {
  const bool on = state_ == AdapterState::powered_on;
  sensor_log(start_scan_line(on, scanning_));
  if (!on) return std::nullopt;
  {
    const MutexLock<Mutex> hold(mutex_);
    discovered_.clear();
    scan_lost_.reset();
  }
  scanning_ = true;
  loop_.post([this] { begin_scan(); });
  return std::nullopt;
}

void BluezCentral::begin_scan() {
  if (link_ != nullptr) {
    sensor_log(k_log_leftover);
    end_link(Farewell::Manner::cut_off);
  }
  seen_.clear();
  for (const auto& [path, interfaces] : objects_) note_connected(path);
  discovery_.wish_for_scan(scanning_);
}

Refusal BluezCentral::stop_scan() {
  scanning_ = false;
  loop_.post([this] { discovery_.wish_for_scan(scanning_); });
  const MutexLock<Mutex> hold(mutex_);
  return std::exchange(scan_lost_, std::nullopt);
}

Refusal BluezCentral::discovered(std::vector<SensorDevice>& devices) {
  const MutexLock<Mutex> hold(mutex_);
  devices.clear();
  for (const auto& [address, name] : discovered_) devices.push_back({address, name});
  return std::nullopt;
}

// A device counts as seen when bluetoothd announces it or its signal strength during the scan, or
// when it is connected: bluetoothd lists devices of earlier days as well. Nameless ones are never
// offered; their "Alias" is only the address in another shape.
void BluezCentral::note_sighting(const std::string& path) {
  const Properties* device = find_interface(objects_, path, k_device_interface);
  if (device == nullptr || !seen_.contains(path)) return;
  const std::string address = text_of(*device, "Address");
  const std::string name = text_of(*device, "Name");
  if (address.empty() || name.empty()) return;
  const MutexLock<Mutex> hold(mutex_);
  if (scanning_) discovered_[address] = name;
}

// A strap that is connected already, by the desktop's panel or by a program that was killed, is
// announced by nobody: it has stopped advertising. A link of our own that is being ended says
// nothing; when it is down the strap speaks for itself.
void BluezCentral::note_connected(const std::string& path) {
  if (!scanning_ || !is_connected(objects_, path) || is_ours(path)) return;
  seen_.insert(path);
  note_sighting(path);
}

bool BluezCentral::is_ours(const std::string& path) const {
  const Properties* device = find_interface(objects_, path, k_device_interface);
  const std::string address = device == nullptr ? "" : text_of(*device, "Address");
  return (link_ != nullptr && link_->address() == address) ||
         std::any_of(farewells_.begin(), farewells_.end(), [&](const auto& farewell) {
           return farewell->address() == address && !farewell->is_over();
         });
}

bool BluezCentral::was_discovered(const std::string& address) {
  const MutexLock<Mutex> hold(mutex_);
  return discovered_.contains(address);
}

void BluezCentral::lose_scan(const std::string& why) {
  if (!scanning_) return;
  const MutexLock<Mutex> hold(mutex_);
  scan_lost_ = why;
}

void BluezCentral::refuse_discovery(const std::string& why) {
  if (scanning_) sensor_log(start_scan_exception_line(why));
  if (link_ != nullptr) link_->discovery_refused(why);
}

// --- The link

Refusal BluezCentral::connect_to(const std::string& identifier) {
  sensor_log(connect_line(identifier));
  loop_.post([this, identifier] { begin_link(identifier); });
  return std::nullopt;
}

void BluezCentral::begin_link(const std::string& address) {
  if (!was_discovered(address) && find_device(objects_, address).empty()) {
    report_status(k_status_not_found);
    return;
  }
  end_link(Farewell::Manner::stop_first);
  link_ = std::make_shared<StrapLink>(LinkSurroundings{loop_, bus_, discovery_, objects_}, address);
  report_status(k_status_connecting);
  // The driver explains these two itself.
  const AdapterState state = state_;
  if (state == AdapterState::powered_off || state == AdapterState::unauthorized) {
    return link_->abandon();
  }
  const bool old_one_is_up = std::any_of(
      farewells_.begin(), farewells_.end(),
      [&](const auto& farewell) { return farewell->address() == address && !farewell->is_down(); });
  if (!old_one_is_up) connect_waiting_link(address);
}

Refusal BluezCentral::disconnect() {
  loop_.post([this] { end_link(Farewell::Manner::stop_first); });
  return std::nullopt;
}

void BluezCentral::end_link(Farewell::Manner manner) {
  if (link_ == nullptr) return;
  const auto link = std::exchange(link_, nullptr);
  if (!link->is_open() && !is_connected(objects_, link->device_path())) return;
  const auto farewell = std::make_shared<Farewell>(
      LinkSurroundings{loop_, bus_, discovery_, objects_}, *link, manner);
  std::erase_if(farewells_, [](const auto& old) { return old->is_over(); });
  farewells_.push_back(farewell);
  // The run that a scan cuts off goes on, and is told that nothing will come any more.
  const bool tell = manner == Farewell::Manner::cut_off;
  farewell->begin([this, tell, address = link->address()] { link_is_down(address, tell); });
}

void BluezCentral::link_is_down(const std::string& address, bool tell) {
  // A newer run has statuses of its own.
  if (tell && link_ == nullptr) report_status(k_status_disconnected);
  connect_waiting_link(address);
}

void BluezCentral::connect_waiting_link(const std::string& address) {
  if (link_ == nullptr || link_->address() != address || !link_->is_waiting()) return;
  // From here on the device is wanted again.
  std::erase_if(farewells_, [&](const auto& old) { return old->address() == address; });
  link_->connect();
}

// --- What bluetoothd tells

void BluezCentral::set_state(AdapterState state) {
  if (state_.exchange(state) != state) announce_adapter_state(state);
}

void BluezCentral::update_state() {
  const std::string adapter = current_adapter(objects_);
  const Properties* properties = find_interface(objects_, adapter, k_adapter_interface);
  const bool on = properties != nullptr && flag_of(*properties, "Powered");
  if (!on) {
    discovery_.forget();
    if (link_ != nullptr) link_->adapter_lost();
  }
  if (properties == nullptr) return set_state(AdapterState::unsupported);
  set_state(on ? AdapterState::powered_on : AdapterState::powered_off);
}

void BluezCentral::bluez_appeared(ManagedObjects objects) {
  objects_ = std::move(objects);
  update_state();
}

void BluezCentral::bluez_vanished() {
  objects_.clear();
  seen_.clear();
  discovery_.forget();
  lose_scan(k_service_stopped);
  if (link_ != nullptr) link_->adapter_lost();
  for (const auto& farewell : std::vector(farewells_)) farewell->bluez_vanished();
  set_state(AdapterState::resetting);
}

void BluezCentral::bluez_unavailable(const BusError& why) {
  const bool denied = why.name == k_access_denied;
  set_state(denied ? AdapterState::unauthorized : AdapterState::unsupported);
}

void BluezCentral::interfaces_added(const std::string& path, const Interfaces& added) {
  add_interfaces(objects_, path, added);
  if (added.contains(k_adapter_interface)) update_state();
  if (added.contains(k_device_interface)) {
    if (scanning_) seen_.insert(path);
    note_sighting(path);
  }
  tell_of_device(path);
}

void BluezCentral::interfaces_removed(const std::string& path,
                                      const std::vector<std::string>& removed) {
  remove_interfaces(objects_, path, removed);
  tell_of_device(path);
  update_state();
}

void BluezCentral::properties_changed(const std::string& path, const std::string& interface,
                                      const Properties& changed,
                                      const std::vector<std::string>& invalidated) {
  change_properties(objects_, path, interface, changed, invalidated);
  if (link_ != nullptr) link_->properties_changed(path, interface, changed);
  if (interface == k_device_interface) {
    if (scanning_ && changed.contains("RSSI")) seen_.insert(path);
    note_sighting(path);
    if (changed.contains("Connected")) {
      note_connected(path);
      for (const auto& farewell : std::vector(farewells_)) farewell->device_changed(path);
    }
  }
  if (interface == k_adapter_interface) update_state();
}

void BluezCentral::tell_of_device(const std::string& path) {
  if (link_ != nullptr) link_->objects_changed(path);
  for (const auto& farewell : std::vector(farewells_)) farewell->device_changed(path);
}

}  // namespace tvn
