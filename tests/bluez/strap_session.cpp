#include "tests/bluez/strap_session.h"

#include <algorithm>
#include <utility>

namespace tvn::fake {
namespace {

constexpr const char* k_device_interface = "org.bluez.Device1";
constexpr const char* k_service_interface = "org.bluez.GattService1";
constexpr const char* k_characteristic_interface = "org.bluez.GattCharacteristic1";
constexpr std::size_t k_samples_per_frame = 73;
constexpr double k_frame_seconds = 73.0 / 130.0;
// Between the answer to Disconnect and the end of the link.
constexpr double k_last_breath_seconds = 0.05;

struct Described {
  const char* name;
  const char* place;  // below the device
  const char* uuid;
};
// In the order of the strap's handles: the control point comes before the data.
constexpr Described k_characteristics[] = {
    {"heart_rate", "/service000a/char000b", "00002a37-0000-1000-8000-00805f9b34fb"},
    {"control", "/service0010/char0011", "fb005c81-02e7-f387-1cad-8acd2d8df0c8"},
    {"data", "/service0010/char0014", "fb005c82-02e7-f387-1cad-8acd2d8df0c8"},
    {"manufacturer", "/service0020/char0021", "00002a29-0000-1000-8000-00805f9b34fb"},
};
constexpr Described k_services[] = {
    {"heart_rate", "/service000a", "0000180d-0000-1000-8000-00805f9b34fb"},
    {"measurements", "/service0010", "fb005c80-02e7-f387-1cad-8acd2d8df0c8"},
    {"information", "/service0020", "0000180a-0000-1000-8000-00805f9b34fb"},
};

std::string hex(const Bytes& bytes) {
  constexpr const char* k_digits = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += k_digits[byte >> 4];
    text += k_digits[byte & 15];
  }
  return text;
}

// A frame as the strap sends it: type, clock, frame type, 24-bit little-endian microvolts.
Bytes frame_of(const std::vector<std::int32_t>& ecg, std::size_t from, std::size_t count) {
  Bytes frame = {0x00, 0xF8, 0x26, 0xCA, 0x89, 0x8F, 0x54, 0x52, 0x08, 0x00};
  for (std::size_t i = from; i < from + count; ++i) {
    for (int shift = 0; shift < 24; shift += 8) {
      frame.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(ecg[i]) >> shift));
    }
  }
  return frame;
}

// The bytes of a write and the value of its "type" option.
std::pair<Bytes, std::string> read_write(sd_bus_message* message) {
  const void* data = nullptr;
  std::size_t size = 0;
  sd_bus_message_read_array(message, 'y', &data, &size);
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  std::string kind = "(none)";
  sd_bus_message_enter_container(message, 'a', "{sv}");
  while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
    const char* key = nullptr;
    const char* value = nullptr;
    sd_bus_message_read(message, "s", &key);
    if (std::string(key) == "type" && sd_bus_message_read(message, "v", "s", &value) > 0) {
      kind = value;
    } else {
      sd_bus_message_skip(message, "v");
    }
    sd_bus_message_exit_container(message);
  }
  return {Bytes(bytes, bytes + size), kind};
}

}  // namespace

void Call::reply(const std::function<void(sd_bus_message*)>& append_to) const {
  sd_bus_message* answer = nullptr;
  if (sd_bus_message_new_method_return(message, &answer) < 0) return;
  if (append_to) append_to(answer);
  sd_bus_send(nullptr, answer, nullptr);
  sd_bus_message_unref(answer);
}

void Call::fail(const std::string& name, const std::string& text) const {
  sd_bus_reply_method_errorf(message, name.c_str(), "%s", text.c_str());
}

StrapSession::StrapSession(const StrapSurroundings& with, Strap its_strap)
    : strap(std::move(its_strap)), with_(with) {}

std::string StrapSession::path() const {
  std::string name = strap.address;
  std::replace(name.begin(), name.end(), ':', '_');
  return with_.adapter + "/dev_" + name;
}

void StrapSession::make_object() {
  std::string alias = strap.address;
  std::replace(alias.begin(), alias.end(), ':', '-');
  Properties device = {{"Address", strap.address},
                       {"AddressType", std::string("random")},
                       {"Alias", strap.name.value_or(alias)},
                       {"Adapter", ObjectPath{with_.adapter}},
                       {"Paired", false},
                       {"Trusted", false},
                       {"Blocked", false},
                       {"Connected", false},
                       {"ServicesResolved", false},
                       {"UUIDs", std::vector<std::string>{k_services[0].uuid}}};
  if (strap.name && !strap.name_comes_late) device["Name"] = *strap.name;
  with_.objects[path()] = {{k_device_interface, device}};
}

void StrapSession::remove_objects() {
  std::vector<std::string> gone;
  for (const auto& [object, interfaces] : with_.objects) {
    if (object.starts_with(path())) gone.push_back(object);
  }
  for (auto object = gone.rbegin(); object != gone.rend(); ++object) {
    send_removed(with_.bus, *object, {with_.objects[*object].begin()->first});
    with_.objects.erase(*object);
  }
}

void StrapSession::set(const Properties& changed) {
  if (!with_.objects.contains(path())) return;
  for (const auto& [name, value] : changed) {
    with_.objects[path()][k_device_interface][name] = value;
  }
  send_changed(with_.bus, path(), k_device_interface, changed);
}

void StrapSession::advertise() {
  if (!strap.advertises || connected_) return;
  constexpr std::int16_t k_signal = -58;
  if (!with_.objects.contains(path())) {
    make_object();
    with_.objects[path()][k_device_interface]["RSSI"] = k_signal;
    return send_added(with_.bus, path(), with_.objects[path()]);
  }
  set({{"RSSI", k_signal}});
  if (strap.name && strap.name_comes_late && !std::exchange(name_told_, true)) {
    set({{"Name", *strap.name}, {"Alias", *strap.name}});
  }
}

void StrapSession::forget_signal_strength() {
  const auto object = with_.objects.find(path());
  if (object == with_.objects.end()) return;
  if (object->second[k_device_interface].erase("RSSI") == 0) return;
  send_changed(with_.bus, path(), k_device_interface, {}, {"RSSI"});
}

void StrapSession::adapter_is_off() {
  if (connected_) {
    drop_link();
  } else {
    remove_objects();
  }
  if (pending_connect_ != nullptr) {
    std::exchange(pending_connect_, nullptr)->fail("org.bluez.Error.Failed", "Input/output error");
  }
}

void StrapSession::drop_link() {
  if (!connected_) return;
  end_link();
  set({{"ServicesResolved", false}, {"Connected", false}});
}

void StrapSession::link_is_gone() {
  end_link();
  notifying_.clear();
  pending_connect_ = nullptr;
  std::erase_if(with_.objects, [this](const auto& o) { return o.first.starts_with(path()); });
}

void StrapSession::end_link() {
  connected_ = streaming_ = writing_ = false;
  next_frame_ = Timer();
  unanswered_.clear();
  ++link_;
}

void StrapSession::answer(const CallPointer& call, const std::string& path,
                          const std::string& member) {
  const std::string characteristic = characteristic_at(path);
  if (member != "WriteValue") {
    with_.calls.push_back(member + " " + (characteristic.empty() ? strap.address : characteristic));
  }
  if (member == "Connect") return answer_connect(call);
  if (member == "Disconnect") return answer_disconnect(call);
  if (!connected_) return call->fail("org.bluez.Error.Failed", "Not connected");
  if (member == "StartNotify") return answer_start_notify(call, characteristic);
  if (member == "WriteValue") return answer_write(call, characteristic);
  call->fail("org.freedesktop.DBus.Error.UnknownMethod", "no such method");
}

void StrapSession::answer_connect(const CallPointer& call) {
  if (connected_) return call->reply();
  if (pending_connect_ != nullptr) {
    return call->fail("org.bluez.Error.InProgress", "Operation already in progress");
  }
  if (!strap.expired_errors.empty()) {
    const std::string name = strap.expired_errors.front();
    strap.expired_errors.erase(strap.expired_errors.begin());
    remove_objects();
    return call->fail("org.freedesktop.DBus.Error." + name, "it has just gone");
  }
  pending_connect_ = call;
  if (strap.connect_hangs || !strap.advertises) return;
  with_.later(strap.connect_seconds, [this, call] {
    if (pending_connect_ != call) return;
    pending_connect_ = nullptr;
    if (strap.connect_error) {
      return call->fail("org.bluez.Error." + strap.connect_error->name,
                        strap.connect_error->message);
    }
    come_up(call);
  });
}

void StrapSession::come_up(const CallPointer& call) {
  connected_ = true;
  streaming_ = strap.is_streaming_already;
  const unsigned link = ++link_;
  set({{"Connected", true}});
  if (streaming_) stream();
  if (strap.drops_at_once) with_.later(0.01, [this] { drop_link(); });
  with_.later(0.02, [this, call, link] {
    call->reply();
    if (link == link_) announce_services();
  });
}

void StrapSession::connect_for_another() {
  connected_ = true;
  ++link_;
  set({{"Connected", true}});
  announce_services();
}

void StrapSession::announce_services() {
  if (strap.resolves_early) resolve();
  const unsigned link = link_;
  double at = 0.01;
  for (const auto& [object, interfaces] : services()) {
    if (with_.objects.contains(object)) continue;  // known from the last time: not told again
    with_.later(at, [this, link, object = object, interfaces = interfaces] {
      if (link != link_) return;
      with_.objects[object] = interfaces;
      send_added(with_.bus, object, interfaces);
    });
    at += 0.005;
  }
  if (strap.resolves_early) return;
  with_.later(at + 0.01, [this, link] {
    if (link == link_) resolve();
  });
}

void StrapSession::resolve() {
  std::vector<std::string> uuids;
  for (const Described& service : k_services) uuids.emplace_back(service.uuid);
  set({{"UUIDs", uuids}, {"ServicesResolved", true}});
}

std::vector<std::pair<std::string, Interfaces>> StrapSession::services() const {
  std::vector<std::pair<std::string, Interfaces>> result;
  for (const Described& service : k_services) {
    if (!strap.has_measurements && std::string(service.name) == "measurements") continue;
    const std::string place = path() + service.place;
    result.push_back({place,
                      {{k_service_interface,
                        {{"UUID", std::string(service.uuid)},
                         {"Device", ObjectPath{path()}},
                         {"Primary", true}}}}});
    for (const Described& characteristic : k_characteristics) {
      if (!std::string(characteristic.place).starts_with(service.place)) continue;
      result.push_back({path() + characteristic.place,
                        {{k_characteristic_interface,
                          {{"UUID", std::string(characteristic.uuid)},
                           {"Service", ObjectPath{place}},
                           {"Value", Bytes{}},
                           {"Notifying", false}}}}});
    }
  }
  return result;
}

std::string StrapSession::characteristic_at(const std::string& object) const {
  for (const Described& characteristic : k_characteristics) {
    if (object == path() + characteristic.place) return characteristic.name;
  }
  return "";
}

void StrapSession::answer_disconnect(const CallPointer& call) {
  if (pending_connect_ != nullptr) {
    const CallPointer connect = std::exchange(pending_connect_, nullptr);
    call->reply();
    connect->fail("org.bluez.Error.Failed", "br-connection-canceled");
    if (!strap.comes_up_all_the_same) return;
    return with_.later(strap.connect_seconds, [this] {
      connected_ = true;
      ++link_;
      set({{"Connected", true}});
    });
  }
  if (!connected_) return call->reply();
  const unsigned link = link_;
  with_.later(strap.disconnect_seconds, [this, call, link] {
    if (link != link_) return call->reply();
    set({{"ServicesResolved", false}});
    call->reply();
    with_.later(k_last_breath_seconds, [this, link] {
      if (link != link_) return;
      end_link();
      set({{"Connected", false}});
    });
  });
}

void StrapSession::answer_start_notify(const CallPointer& call, const std::string& characteristic) {
  if (strap.notify_error) {
    return call->fail("org.bluez.Error." + strap.notify_error->name, strap.notify_error->message);
  }
  if (subscribing_) return call->fail("org.bluez.Error.InProgress", "In Progress");
  subscribing_ = true;
  notifying_.insert(characteristic);
  // bluetoothd may pass a value on before it answers.
  if (characteristic == "heart_rate") send_value(characteristic, {0x10, 0x48, 0x50, 0x03});
  with_.later(strap.answer_seconds, [this, call] {
    subscribing_ = false;
    call->reply();
  });
}

void StrapSession::answer_write(const CallPointer& call, const std::string& characteristic) {
  const auto [bytes, kind] = read_write(call->message);
  with_.calls.push_back("WriteValue " + hex(bytes));
  if (characteristic != "control") {
    return call->fail("org.bluez.Error.NotPermitted", "Write not permitted");
  }
  if (writing_) return call->fail("org.bluez.Error.InProgress", "In Progress");
  with_.writes.push_back(hex(bytes) + " " + kind);
  if (strap.falls_silent_on_write) return unanswered_.push_back(call);
  writing_ = true;
  with_.later(strap.answer_seconds, [this, call, bytes = bytes, link = link_] {
    if (link != link_) return call->fail("org.bluez.Error.Failed", "Not connected");
    writing_ = false;
    if (strap.write_error) {
      return call->fail("org.bluez.Error." + strap.write_error->name, strap.write_error->message);
    }
    call->reply();
    obey(bytes);
  });
}

// Answers as the maker's document has them; status 6 is "already in state".
void StrapSession::obey(const Bytes& command) {
  const Bytes start = {0x02, 0x00, 0x00, 0x01, 0x82, 0x00, 0x01, 0x01, 0x0E, 0x00};
  if (command == Bytes{0x01, 0x00}) {
    send_value("control",
               {0xF0, 0x01, 0x00, 0x00, 0x00, 0x00, 0x01, 0x82, 0x00, 0x01, 0x01, 0x0E, 0x00});
  } else if (command == start) {
    const std::uint8_t status = streaming_ ? 0x06 : 0x00;
    send_value("control", {0xF0, 0x02, 0x00, status, 0x00});
    if (!std::exchange(streaming_, true)) stream();
  } else if (command == Bytes{0x03, 0x00}) {
    send_value("control", {0xF0, 0x03, 0x00, 0x00, 0x00});
    streaming_ = strap.frames_after_stop && streaming_;
  } else {
    send_value("control", {0xF0, command.empty() ? std::uint8_t{0} : command[0], 0x00, 0x01});
  }
}

void StrapSession::send_value(const std::string& characteristic, const Bytes& value) {
  if (!connected_ || !notifying_.contains(characteristic)) return;
  for (const Described& described : k_characteristics) {
    if (characteristic == described.name) {
      send_changed(with_.bus, path() + described.place, k_characteristic_interface,
                   {{"Value", value}});
    }
  }
}

void StrapSession::stream() {
  if (!streaming_) return;
  const bool heard = notifying_.contains("data") && connected_;
  const std::size_t count = std::min(k_samples_per_frame, strap.ecg.size() - sent_);
  if (heard && count > 0) {
    send_value("data", frame_of(strap.ecg, sent_, count));
    sent_ += count;
  }
  next_frame_ = with_.loop.after(k_frame_seconds / strap.speed, [this] { stream(); });
}

}  // namespace tvn::fake
