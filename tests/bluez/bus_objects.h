// Objects with properties as a D-Bus service exports them: the values, and the standard signals
// that tell of them.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace tvn::fake {

struct ObjectPath {
  std::string path;
};
using Bytes = std::vector<std::uint8_t>;
using Value =
    std::variant<bool, std::string, ObjectPath, std::int16_t, std::vector<std::string>, Bytes>;
using Properties = std::map<std::string, Value>;
using Interfaces = std::map<std::string, Properties>;
using Objects = std::map<std::string, Interfaces>;

// Append to a message: a{sv}, a{sa{sv}} and a{oa{sa{sv}}}.
void append(sd_bus_message* message, const Properties& properties);
void append(sd_bus_message* message, const Interfaces& interfaces);
void append(sd_bus_message* message, const Objects& objects);

void send_added(sd_bus* bus, const std::string& path, const Interfaces& interfaces);
void send_removed(sd_bus* bus, const std::string& path, const std::vector<std::string>& interfaces);
void send_changed(sd_bus* bus, const std::string& path, const std::string& interface,
                  const Properties& changed, const std::vector<std::string>& invalidated = {});

}  // namespace tvn::fake
