#include "sensor/linux/bluez_bus.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <system_error>
#include <utility>

#include "base/clock.h"

namespace tvn {
namespace {

constexpr const char* k_bluez = "org.bluez";
constexpr const char* k_object_manager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* k_access_denied = "org.freedesktop.DBus.Error.AccessDenied";
constexpr double k_between_probes_seconds = 0.5;
constexpr std::uint64_t k_default_timeout = 0;
constexpr std::uint64_t k_no_timeout = UINT64_MAX;

struct ReleaseMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, ReleaseMessage>;

BusError error_from(int result) {
  const bool denied = result == -EACCES || result == -EPERM;
  return {denied ? k_access_denied : "org.freedesktop.DBus.Error.Failed",
          std::generic_category().message(-result)};
}

std::optional<BusError> error_of(sd_bus_message* reply) {
  const sd_bus_error* error = sd_bus_message_get_error(reply);
  if (error == nullptr) return std::nullopt;
  const bool has_message = error->message != nullptr && *error->message != '\0';
  return BusError{error->name, has_message ? error->message : error->name};
}

int make_call(sd_bus* bus, const BusCall& call, Message& out) {
  sd_bus_message* message = nullptr;
  const int result = sd_bus_message_new_method_call(bus, &message, k_bluez, call.path.c_str(),
                                                    call.interface.c_str(), call.method.c_str());
  out.reset(message);
  if (result < 0) return result;
  sd_bus_message_set_auto_start(message, 0);
  return call.arguments ? call.arguments(message) : 0;
}

int on_reply(sd_bus_message* reply, void* handler, sd_bus_error*) {
  try {
    (*static_cast<ReplyHandler*>(handler))(error_of(reply));
  } catch (...) {  // nothing may unwind through the bus library
  }
  return 0;
}

// Sends the call; the handler belongs to the bus from then on, until it was called or the bus goes.
int send_call(sd_bus* bus, const BusCall& call, std::unique_ptr<ReplyHandler>& handler) {
  Message message;
  int result = make_call(bus, call, message);
  if (result < 0) return result;
  sd_bus_slot* slot = nullptr;
  const std::uint64_t timeout = call.may_take_forever ? k_no_timeout : k_default_timeout;
  result = sd_bus_call_async(bus, &slot, message.get(), on_reply, handler.get(), timeout);
  if (result < 0) return result;
  sd_bus_slot_set_destroy_callback(slot, [](void* h) { delete static_cast<ReplyHandler*>(h); });
  static_cast<void>(handler.release());  // the bus deletes it
  sd_bus_slot_set_floating(slot, 1);
  sd_bus_slot_unref(slot);
  return 0;
}

}  // namespace

BluezBus::BluezBus(BusLoop& loop, BluezListener& listener) : loop_(loop), listener_(listener) {}

BluezBus::~BluezBus() = default;

void BluezBus::close() {
  bus_.reset();
}

int BluezBus::open() {
  sd_bus* bus = nullptr;
  int result = sd_bus_open_system_with_description(&bus, "talvern-live");
  bus_.reset(bus);
  if (result >= 0) result = sd_bus_attach_event(bus, loop_.event(), SD_EVENT_PRIORITY_NORMAL);
  if (result >= 0) result = add_matches();
  return result;
}

int BluezBus::add_matches() {
  const struct {
    const char* rule;
    sd_bus_message_handler_t handler;
  } matches[] = {
      {"type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
       "member='NameOwnerChanged',arg0='org.bluez'",
       on_owner_changed},
      {"type='signal',sender='org.bluez',interface='org.freedesktop.DBus.ObjectManager',"
       "member='InterfacesAdded'",
       on_interfaces_added},
      {"type='signal',sender='org.bluez',interface='org.freedesktop.DBus.ObjectManager',"
       "member='InterfacesRemoved'",
       on_interfaces_removed},
      {"type='signal',sender='org.bluez',interface='org.freedesktop.DBus.Properties',"
       "member='PropertiesChanged',path_namespace='/org/bluez'",
       on_properties_changed},
      {"type='signal',sender='org.freedesktop.DBus.Local',path='/org/freedesktop/DBus/Local',"
       "interface='org.freedesktop.DBus.Local',member='Disconnected'",
       on_disconnected},
  };
  for (const auto& match : matches) {
    const int result =
        sd_bus_add_match_async(bus_.get(), nullptr, match.rule, match.handler, nullptr, this);
    if (result < 0) return result;
  }
  return 0;
}

void BluezBus::probe() {
  const double now = monotonic_seconds();
  if (!owner_.empty() || probing_ || now - last_probe_ < k_between_probes_seconds) return;
  last_probe_ = now;
  const int result = bus_ == nullptr ? open() : 0;
  if (result < 0) {
    bus_.reset();
    listener_.bluez_unavailable(error_from(result));
    return;
  }
  request_objects();
}

void BluezBus::request_objects() {
  Message message;
  int result = make_call(bus_.get(), {"/", k_object_manager, "GetManagedObjects"}, message);
  if (result >= 0) {
    result =
        sd_bus_call_async(bus_.get(), nullptr, message.get(), on_objects, this, k_default_timeout);
  }
  probing_ = result >= 0;
  if (result < 0) listener_.bluez_unavailable(error_from(result));
}

int BluezBus::on_objects(sd_bus_message* reply, void* self, sd_bus_error*) {
  auto& bus = *static_cast<BluezBus*>(self);
  bus.probing_ = false;
  try {
    if (const auto error = error_of(reply)) {
      bus.listener_.bluez_unavailable(*error);
      return 0;
    }
    ManagedObjects objects;
    read_objects(reply, objects);
    const char* sender = sd_bus_message_get_sender(reply);
    bus.owner_ = sender == nullptr ? "" : sender;
    bus.listener_.bluez_appeared(std::move(objects));
  } catch (...) {
  }
  return 0;
}

int BluezBus::on_owner_changed(sd_bus_message* signal, void* self, sd_bus_error*) {
  auto& bus = *static_cast<BluezBus*>(self);
  const char* name = nullptr;
  const char* old_owner = nullptr;
  const char* new_owner = nullptr;
  if (sd_bus_message_read(signal, "sss", &name, &old_owner, &new_owner) < 0) return 0;
  if (bus.owner_ == new_owner && !bus.owner_.empty()) return 0;
  try {
    bus.lose_bluez();
    if (*new_owner != '\0') bus.request_objects();
  } catch (...) {
  }
  return 0;
}

void BluezBus::lose_bluez() {
  if (owner_.empty()) return;
  owner_.clear();
  listener_.bluez_vanished();
}

int BluezBus::on_disconnected(sd_bus_message*, void* self, sd_bus_error*) {
  auto& bus = *static_cast<BluezBus*>(self);
  // Not from within: the bus is still busy telling. The next probe opens it again.
  bus.loop_.post([&bus] {
    if (bus.bus_ != nullptr && sd_bus_is_open(bus.bus_.get()) > 0) return;
    bus.bus_.reset();
    bus.probing_ = false;
    bus.lose_bluez();
  });
  return 0;
}

bool BluezBus::is_from_bluez(sd_bus_message* message) const {
  const char* sender = sd_bus_message_get_sender(message);
  return sender != nullptr && owner_ == sender;
}

int BluezBus::on_interfaces_added(sd_bus_message* signal, void* self, sd_bus_error*) {
  auto& bus = *static_cast<BluezBus*>(self);
  if (!bus.is_from_bluez(signal)) return 0;
  try {
    const char* path = nullptr;
    Interfaces added;
    if (sd_bus_message_read_basic(signal, 'o', &path) <= 0) return 0;
    if (read_interfaces(signal, added) >= 0) bus.listener_.interfaces_added(path, added);
  } catch (...) {
  }
  return 0;
}

int BluezBus::on_interfaces_removed(sd_bus_message* signal, void* self, sd_bus_error*) {
  auto& bus = *static_cast<BluezBus*>(self);
  if (!bus.is_from_bluez(signal)) return 0;
  try {
    const char* path = nullptr;
    std::vector<std::string> removed;
    if (sd_bus_message_read_basic(signal, 'o', &path) <= 0) return 0;
    if (read_texts(signal, removed) >= 0) bus.listener_.interfaces_removed(path, removed);
  } catch (...) {
  }
  return 0;
}

int BluezBus::on_properties_changed(sd_bus_message* signal, void* self, sd_bus_error*) {
  auto& bus = *static_cast<BluezBus*>(self);
  if (!bus.is_from_bluez(signal)) return 0;
  try {
    const char* interface = nullptr;
    Properties changed;
    std::vector<std::string> invalidated;
    if (sd_bus_message_read_basic(signal, 's', &interface) <= 0) return 0;
    if (read_properties(signal, changed) < 0 || read_texts(signal, invalidated) < 0) return 0;
    bus.listener_.properties_changed(sd_bus_message_get_path(signal), interface, changed,
                                     invalidated);
  } catch (...) {
  }
  return 0;
}

void BluezBus::call(const BusCall& call, ReplyHandler handler) {
  auto owned = std::make_unique<ReplyHandler>(std::move(handler));
  const int result = bus_ == nullptr ? -ENOTCONN : send_call(bus_.get(), call, owned);
  if (result >= 0) return;
  const std::shared_ptr<ReplyHandler> later = std::move(owned);
  loop_.post([later, result] { (*later)(error_from(result)); });
}

}  // namespace tvn
