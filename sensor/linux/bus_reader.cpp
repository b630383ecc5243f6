#include "sensor/linux/bus_reader.h"

#include <string_view>

namespace tvn {
namespace {

// Reads an array of dictionary entries; `read_entry` reads the inside of one.
template <typename ReadEntry>
int read_dictionary(sd_bus_message* message, const char* entry_types, ReadEntry read_entry) {
  const std::string array_of = "{" + std::string(entry_types) + "}";
  int result = sd_bus_message_enter_container(message, 'a', array_of.c_str());
  while (result >= 0 && (result = sd_bus_message_enter_container(message, 'e', entry_types)) > 0) {
    result = read_entry();
    if (result >= 0) result = sd_bus_message_exit_container(message);
  }
  return result < 0 ? result : sd_bus_message_exit_container(message);
}

int read_text(sd_bus_message* message, char type, std::string& out) {
  const char* text = nullptr;
  const int result = sd_bus_message_read_basic(message, type, &text);
  if (result > 0) out = text;
  return result;
}

int read_flag(sd_bus_message* message, PropertyValue& out) {
  int flag = 0;
  const int result = sd_bus_message_read_basic(message, 'b', &flag);
  if (result > 0) out = flag != 0;
  return result;
}

int read_bytes(sd_bus_message* message, PropertyValue& out) {
  const void* data = nullptr;
  std::size_t size = 0;
  const int result = sd_bus_message_read_array(message, 'y', &data, &size);
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  if (result >= 0) out = size == 0 ? Bytes() : Bytes(bytes, bytes + size);
  return result;
}

int read_contents(sd_bus_message* message, std::string_view contents, PropertyValue& out) {
  if (contents == "b") return read_flag(message, out);
  if (contents == "ay") return read_bytes(message, out);
  if (contents == "s" || contents == "o") {
    std::string text;
    const int result = read_text(message, contents[0], text);
    out = std::move(text);
    return result;
  }
  return sd_bus_message_skip(message, std::string(contents).c_str());
}

int read_variant(sd_bus_message* message, PropertyValue& out) {
  char type = 0;
  const char* contents = nullptr;
  int result = sd_bus_message_peek_type(message, &type, &contents);
  if (result <= 0 || type != 'v') return result < 0 ? result : -EBADMSG;
  result = sd_bus_message_enter_container(message, 'v', contents);
  if (result >= 0) result = read_contents(message, contents, out);
  return result < 0 ? result : sd_bus_message_exit_container(message);
}

}  // namespace

int read_properties(sd_bus_message* message, Properties& out) {
  return read_dictionary(message, "sv", [&] {
    std::string name;
    const int result = read_text(message, 's', name);
    return result < 0 ? result : read_variant(message, out[name]);
  });
}

int read_interfaces(sd_bus_message* message, Interfaces& out) {
  return read_dictionary(message, "sa{sv}", [&] {
    std::string name;
    const int result = read_text(message, 's', name);
    return result < 0 ? result : read_properties(message, out[name]);
  });
}

int read_objects(sd_bus_message* message, ManagedObjects& out) {
  return read_dictionary(message, "oa{sa{sv}}", [&] {
    std::string path;
    const int result = read_text(message, 'o', path);
    return result < 0 ? result : read_interfaces(message, out[path]);
  });
}

int read_texts(sd_bus_message* message, std::vector<std::string>& out) {
  int result = sd_bus_message_enter_container(message, 'a', "s");
  std::string text;
  while (result >= 0 && (result = read_text(message, 's', text)) > 0) out.push_back(text);
  return result < 0 ? result : sd_bus_message_exit_container(message);
}

std::string text_of(const Properties& properties, const std::string& name) {
  const auto found = properties.find(name);
  const auto* text = found == properties.end() ? nullptr : std::get_if<std::string>(&found->second);
  return text == nullptr ? "" : *text;
}

bool flag_of(const Properties& properties, const std::string& name) {
  const auto found = properties.find(name);
  const auto* flag = found == properties.end() ? nullptr : std::get_if<bool>(&found->second);
  return flag != nullptr && *flag;
}

}  // namespace tvn
