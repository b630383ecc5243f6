// Reading what bluetoothd sends into plain values. Kinds of value that the link has no use for
// are noted as present and skipped.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace tvn {

using Bytes = std::vector<std::uint8_t>;
using PropertyValue = std::variant<std::monostate, bool, std::string, Bytes>;
using Properties = std::map<std::string, PropertyValue>;   // by name
using Interfaces = std::map<std::string, Properties>;      // by interface
using ManagedObjects = std::map<std::string, Interfaces>;  // by object path

// Each reads the next value of `message` into `out` and returns a negative number, with `out`
// holding what was read so far, when the message does not have that shape.
int read_properties(sd_bus_message* message, Properties& out);           // a{sv}
int read_interfaces(sd_bus_message* message, Interfaces& out);           // a{sa{sv}}
int read_objects(sd_bus_message* message, ManagedObjects& out);          // a{oa{sa{sv}}}
int read_texts(sd_bus_message* message, std::vector<std::string>& out);  // as

// A property by name: the text, empty when there is none of that kind; the flag, else false.
std::string text_of(const Properties& properties, const std::string& name);
bool flag_of(const Properties& properties, const std::string& name);

}  // namespace tvn
