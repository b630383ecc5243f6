#include "sensor/linux/bluez_objects.h"

namespace tvn {

void add_interfaces(ManagedObjects& objects, const std::string& path, const Interfaces& added) {
  for (const auto& [name, properties] : added) objects[path][name] = properties;
}

void remove_interfaces(ManagedObjects& objects, const std::string& path,
                       const std::vector<std::string>& removed) {
  const auto object = objects.find(path);
  if (object == objects.end()) return;
  for (const std::string& name : removed) object->second.erase(name);
  if (object->second.empty()) objects.erase(object);
}

void change_properties(ManagedObjects& objects, const std::string& path,
                       const std::string& interface, const Properties& changed,
                       const std::vector<std::string>& invalidated) {
  const auto object = objects.find(path);
  if (object == objects.end()) return;
  const auto properties = object->second.find(interface);
  if (properties == object->second.end()) return;
  for (const auto& [name, value] : changed) properties->second[name] = value;
  for (const std::string& name : invalidated) properties->second.erase(name);
}

const Properties* find_interface(const ManagedObjects& objects, const std::string& path,
                                 const std::string& interface) {
  const auto object = objects.find(path);
  if (object == objects.end()) return nullptr;
  const auto found = object->second.find(interface);
  return found == object->second.end() ? nullptr : &found->second;
}

std::string current_adapter(const ManagedObjects& objects) {
  std::string first;
  for (const auto& [path, interfaces] : objects) {
    const auto adapter = interfaces.find(k_adapter_interface);
    if (adapter == interfaces.end()) continue;
    if (flag_of(adapter->second, "Powered")) return path;
    if (first.empty()) first = path;
  }
  return first;
}

std::string find_device(const ManagedObjects& objects, const std::string& address) {
  const std::string preferred = current_adapter(objects);
  std::string found;
  for (const auto& [path, interfaces] : objects) {
    const auto device = interfaces.find(k_device_interface);
    if (device == interfaces.end() || text_of(device->second, "Address") != address) continue;
    if (found.empty() || text_of(device->second, "Adapter") == preferred) found = path;
  }
  return found;
}

bool is_connected(const ManagedObjects& objects, const std::string& path) {
  const Properties* device = find_interface(objects, path, k_device_interface);
  return device != nullptr && flag_of(*device, "Connected");
}

std::string find_characteristic(const ManagedObjects& objects, const std::string& device_path,
                                StrapRole role) {
  const std::string below = device_path + "/";
  for (auto object = objects.lower_bound(below); object != objects.end(); ++object) {
    if (!object->first.starts_with(below)) break;
    const auto found = object->second.find(k_characteristic_interface);
    if (found == object->second.end()) continue;
    if (strap_role(text_of(found->second, "UUID")) == role) return object->first;
  }
  return "";
}

}  // namespace tvn
