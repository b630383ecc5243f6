#include "sensor/linux/discovery.h"

#include <utility>

#include "sensor/linux/bluez_objects.h"

namespace tvn {
namespace {

constexpr const char* k_no_adapter = "no Bluetooth adapter";

// Low energy only: a search that includes classic Bluetooth takes turns and hears half as much.
int append_filter(sd_bus_message* message) {
  return sd_bus_message_append(message, "a{sv}", 2, "Transport", "s", "le", "DuplicateData", "b",
                               0);
}

}  // namespace

Discovery::Discovery(BluezBus& bus, std::function<std::string()> adapter,
                     std::function<void(const std::string&)> refused)
    : bus_(bus), adapter_(std::move(adapter)), refused_(std::move(refused)) {}

void Discovery::wish_for_scan(bool wanted) {
  for_scan_ = wanted;
  pursue();
}

void Discovery::wish_for_link(bool wanted) {
  for_link_ = wanted;
  pursue();
}

void Discovery::when_quiet(std::function<void()> task) {
  when_quiet_ = std::move(task);
  pursue();
}

void Discovery::forget() {
  ++generation_;
  for_scan_ = for_link_ = active_ = busy_ = false;
  when_quiet_ = nullptr;
}

void Discovery::pursue() {
  if (busy_) return;
  const bool wanted = for_scan_ || for_link_;
  if (wanted != active_) {
    busy_ = true;
    if (wanted) {
      set_filter();
    } else {
      stop();
    }
    return;
  }
  // A person's scan goes on during a connection.
  if (when_quiet_ && !for_link_) std::exchange(when_quiet_, nullptr)();
}

void Discovery::set_filter() {
  searching_adapter_ = adapter_();
  if (searching_adapter_.empty()) return refuse(k_no_adapter);
  const unsigned generation = generation_;
  const BusCall call{searching_adapter_, k_adapter_interface, "SetDiscoveryFilter", append_filter};
  bus_.call(call, [this, generation](const std::optional<BusError>& error) {
    if (generation != generation_) return;
    if (error) return refuse(error->message);
    start();
  });
}

void Discovery::start() {
  const unsigned generation = generation_;
  bus_.call({searching_adapter_, k_adapter_interface, "StartDiscovery"},
            [this, generation](const std::optional<BusError>& error) {
              if (generation != generation_) return;
              if (error) return refuse(error->message);
              settle(true);
            });
}

void Discovery::refuse(const std::string& why) {
  for_scan_ = for_link_ = false;
  settle(false);
  refused_(why);
}

void Discovery::stop() {
  const unsigned generation = generation_;
  bus_.call({searching_adapter_, k_adapter_interface, "StopDiscovery"},
            [this, generation](const std::optional<BusError>&) {
              // Refused only when none runs any more.
              if (generation == generation_) settle(false);
            });
}

void Discovery::settle(bool active) {
  busy_ = false;
  active_ = active;
  pursue();
}

}  // namespace tvn
