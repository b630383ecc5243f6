#include "tests/bluez/bus_objects.h"

#include <stdexcept>

namespace tvn::fake {
namespace {

void require(int result) {
  if (result < 0) throw std::runtime_error("the fake's message is malformed");
}

struct Appender {
  sd_bus_message* message;
  void operator()(bool value) const {
    require(sd_bus_message_append(message, "v", "b", static_cast<int>(value)));
  }
  void operator()(const std::string& value) const {
    require(sd_bus_message_append(message, "v", "s", value.c_str()));
  }
  void operator()(const ObjectPath& value) const {
    require(sd_bus_message_append(message, "v", "o", value.path.c_str()));
  }
  void operator()(std::int16_t value) const {
    require(sd_bus_message_append(message, "v", "n", static_cast<int>(value)));
  }
  void operator()(const std::vector<std::string>& value) const {
    require(sd_bus_message_open_container(message, 'v', "as"));
    require(sd_bus_message_open_container(message, 'a', "s"));
    for (const std::string& text : value) {
      require(sd_bus_message_append(message, "s", text.c_str()));
    }
    require(sd_bus_message_close_container(message));
    require(sd_bus_message_close_container(message));
  }
  void operator()(const Bytes& value) const {
    require(sd_bus_message_open_container(message, 'v', "ay"));
    require(sd_bus_message_append_array(message, 'y', value.data(), value.size()));
    require(sd_bus_message_close_container(message));
  }
};

// An array of dictionary entries whose inside `append_value` completes.
template <typename Map, typename AppendValue>
void append_map(sd_bus_message* message, char key, const char* value_type, const Map& map,
                AppendValue append_value) {
  const std::string entry = key + std::string(value_type);
  require(sd_bus_message_open_container(message, 'a', ("{" + entry + "}").c_str()));
  for (const auto& [name, value] : map) {
    require(sd_bus_message_open_container(message, 'e', entry.c_str()));
    require(sd_bus_message_append_basic(message, key, name.c_str()));
    append_value(value);
    require(sd_bus_message_close_container(message));
  }
  require(sd_bus_message_close_container(message));
}

sd_bus_message* new_signal(sd_bus* bus, const std::string& path, const char* interface,
                           const char* member) {
  sd_bus_message* message = nullptr;
  require(sd_bus_message_new_signal(bus, &message, path.c_str(), interface, member));
  return message;
}

void append_texts(sd_bus_message* message, const std::vector<std::string>& texts) {
  require(sd_bus_message_open_container(message, 'a', "s"));
  for (const std::string& text : texts) require(sd_bus_message_append(message, "s", text.c_str()));
  require(sd_bus_message_close_container(message));
}

void send(sd_bus* bus, sd_bus_message* message) {
  sd_bus_send(bus, message, nullptr);
  sd_bus_message_unref(message);
}

}  // namespace

void append(sd_bus_message* message, const Properties& properties) {
  append_map(message, 's', "v", properties,
             [&](const Value& value) { std::visit(Appender{message}, value); });
}

void append(sd_bus_message* message, const Interfaces& interfaces) {
  append_map(message, 's', "a{sv}", interfaces,
             [&](const Properties& properties) { append(message, properties); });
}

void append(sd_bus_message* message, const Objects& objects) {
  append_map(message, 'o', "a{sa{sv}}", objects,
             [&](const Interfaces& interfaces) { append(message, interfaces); });
}

void send_added(sd_bus* bus, const std::string& path, const Interfaces& interfaces) {
  sd_bus_message* message =
      new_signal(bus, "/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded");
  require(sd_bus_message_append(message, "o", path.c_str()));
  append(message, interfaces);
  send(bus, message);
}

void send_removed(sd_bus* bus, const std::string& path,
                  const std::vector<std::string>& interfaces) {
  sd_bus_message* message =
      new_signal(bus, "/", "org.freedesktop.DBus.ObjectManager", "InterfacesRemoved");
  require(sd_bus_message_append(message, "o", path.c_str()));
  append_texts(message, interfaces);
  send(bus, message);
}

void send_changed(sd_bus* bus, const std::string& path, const std::string& interface,
                  const Properties& changed, const std::vector<std::string>& invalidated) {
  sd_bus_message* message =
      new_signal(bus, path, "org.freedesktop.DBus.Properties", "PropertiesChanged");
  require(sd_bus_message_append(message, "s", interface.c_str()));
  append(message, changed);
  append_texts(message, invalidated);
  send(bus, message);
}

}  // namespace tvn::fake
