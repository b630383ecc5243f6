#include "tests/bluez/fake_bluetoothd.h"

#include <algorithm>
#include <future>
#include <stdexcept>

#include "tests/bluez/strap_session.h"

namespace tvn::fake {
namespace {

constexpr const char* k_adapter = "/org/bluez/hci0";
constexpr const char* k_device_interface = "org.bluez.Device1";
constexpr const char* k_adapter_interface = "org.bluez.Adapter1";
constexpr double k_advertising_seconds = 0.1;

void require(int result, const char* what) {
  if (result < 0) throw std::runtime_error(what);
}

// The options of a discovery filter, in their order: "Transport=le DuplicateData=0".
std::string read_filter(sd_bus_message* message) {
  std::string text;
  sd_bus_message_enter_container(message, 'a', "{sv}");
  while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
    const char* key = nullptr;
    const char* value = nullptr;
    int flag = 0;
    sd_bus_message_read(message, "s", &key);
    text += (text.empty() ? "" : " ") + std::string(key) + "=";
    if (sd_bus_message_read(message, "v", "s", &value) > 0) {
      text += value;
    } else if (sd_bus_message_read(message, "v", "b", &flag) > 0) {
      text += std::to_string(flag);
    } else {
      sd_bus_message_skip(message, "v");
    }
    sd_bus_message_exit_container(message);
  }
  return text;
}

}  // namespace

struct Bluetoothd::State {
  explicit State(std::string address) : bus_address(std::move(address)), loop("bluetoothd") {}

  void connect() {
    require(sd_bus_new(&bus), "bus");
    require(sd_bus_set_address(bus, bus_address.c_str()), "address");
    require(sd_bus_set_bus_client(bus, 1), "client");
    require(sd_bus_start(bus), "start");
    require(sd_bus_add_filter(bus, nullptr, on_message, this), "filter");
    require(sd_bus_request_name(bus, "org.bluez", 0), "name");
    require(sd_bus_attach_event(bus, loop.event(), 0), "event");
  }

  void disconnect() {
    searching = stopping = false;
    advertising = Timer();
    for (auto& [path, session] : sessions) session->link_is_gone();
    sd_bus_flush_close_unref(bus);
    bus = nullptr;
  }

  static int on_message(sd_bus_message* message, void* self, sd_bus_error*) {
    std::uint8_t type = 0;
    sd_bus_message_get_type(message, &type);
    if (type != SD_BUS_MESSAGE_METHOD_CALL) return 0;
    static_cast<State*>(self)->answer(std::make_shared<Call>(message));
    return 1;
  }

  void answer(const CallPointer& call) {
    const std::string path = sd_bus_message_get_path(call->message);
    const std::string interface = sd_bus_message_get_interface(call->message);
    const std::string member = sd_bus_message_get_member(call->message);
    client = sd_bus_message_get_sender(call->message);
    if (member == "GetManagedObjects") return send_objects(call);
    if (path == k_adapter && objects.contains(path)) return answer_for_adapter(call, member);
    for (auto& [device, session] : sessions) {
      if (path == device || path.starts_with(device + "/")) {
        if (!objects.contains(path)) break;
        return session->answer(call, path, member);
      }
    }
    call->fail("org.freedesktop.DBus.Error.UnknownObject",
               "Method \"" + member + "\" with signature \"\" on interface \"" + interface +
                   "\" doesn't exist\n");
  }

  void send_objects(const CallPointer& call) {
    call->reply([this](sd_bus_message* message) { append(message, objects); });
  }

  void answer_for_adapter(const CallPointer& call, const std::string& member) {
    const bool is_filter = member == "SetDiscoveryFilter";
    calls.push_back(is_filter ? member + " " + read_filter(call->message) : member);
    const bool on = std::get<bool>(objects[k_adapter][k_adapter_interface]["Powered"]);
    if (is_filter) return call->reply();
    if (!on) return call->fail("org.bluez.Error.NotReady", "Resource Not Ready");
    if (member == "StartDiscovery") return start_discovery(call);
    if (member == "StopDiscovery") return stop_discovery(call);
    call->fail("org.freedesktop.DBus.Error.UnknownMethod", "no such method");
  }

  void start_discovery(const CallPointer& call) {
    if (discovery_error) {
      return call->fail("org.bluez.Error." + discovery_error->name, discovery_error->message);
    }
    if (searching || stopping) {
      return call->fail("org.bluez.Error.InProgress", "Operation already in progress");
    }
    searching = true;
    later(discovery_answer_seconds, [this, call] {
      call->reply();
      set_adapter("Discovering", true);
      advertise();
    });
  }

  void stop_discovery(const CallPointer& call) {
    if (!searching) return call->fail("org.bluez.Error.Failed", "No discovery started");
    searching = false;
    stopping = true;
    advertising = Timer();
    later(discovery_answer_seconds, [this, call] {
      stopping = false;
      for (auto& [path, session] : sessions) session->forget_signal_strength();
      set_adapter("Discovering", false);
      call->reply();
    });
  }

  void advertise() {
    if (!searching) return;
    for (auto& [path, session] : sessions) session->advertise();
    advertising = loop.after(k_advertising_seconds, [this] { advertise(); });
  }

  void set_adapter(const std::string& name, bool value) {
    if (!objects.contains(k_adapter)) return;
    objects[k_adapter][k_adapter_interface][name] = value;
    send_changed(bus, k_adapter, k_adapter_interface, {{name, value}});
  }

  void set_powered(bool on) {
    if (!on) {
      searching = false;
      advertising = Timer();
      for (auto& [path, session] : sessions) session->adapter_is_off();
    }
    set_adapter("Powered", on);
    if (!on) set_adapter("Discovering", false);
  }

  void make_adapter() {
    objects[k_adapter] = {{k_adapter_interface,
                           {{"Address", std::string("00:AA:01:00:00:23")},
                            {"Name", std::string("test")},
                            {"Alias", std::string("test")},
                            {"Powered", true},
                            {"Discovering", false}}}};
  }

  // Messages reach a client in the order they were sent, so its answer to a ping says that it has
  // dealt with all signals before. Clients answer pings by themselves.
  void wait_until_heard() {
    if (client.empty()) return;
    require(sd_bus_call_method(bus, client.c_str(), "/", "org.freedesktop.DBus.Peer", "Ping",
                               nullptr, nullptr, ""),
            "ping");
  }

  void later(double seconds, std::function<void()> task) {
    std::erase_if(timers, [](const auto& timer) { return timer->done; });
    timers.push_back(std::make_unique<Pending>());
    Pending* pending = timers.back().get();
    pending->timer = loop.after(seconds, [pending, task = std::move(task)] {
      pending->done = true;
      task();
    });
  }

  StrapSession& session_of(const std::string& address) {
    for (auto& [path, session] : sessions) {
      if (session->strap.address == address) return *session;
    }
    throw std::runtime_error("no strap " + address);
  }

  struct Pending {
    Timer timer;
    bool done = false;
  };
  std::string bus_address;
  BusLoop loop;
  sd_bus* bus = nullptr;
  std::string client;  // who called last
  Objects objects;
  std::map<std::string, std::unique_ptr<StrapSession>> sessions;  // by device path
  std::vector<std::unique_ptr<Pending>> timers;
  Timer advertising;
  bool searching = false;
  bool stopping = false;
  std::optional<BluezError> discovery_error;
  double discovery_answer_seconds = 0.02;
  std::vector<std::string> calls;
  std::vector<std::string> writes;
};

Bluetoothd::Bluetoothd(std::string bus_address)
    : state_(std::make_unique<State>(std::move(bus_address))) {
  run([this] {
    state_->make_adapter();
    state_->connect();
  });
}

Bluetoothd::~Bluetoothd() {
  run([this] {
    if (state_->bus != nullptr) state_->disconnect();
    state_->timers.clear();
    state_->sessions.clear();
    state_->loop.quit();
  });
  state_->loop.join();
}

void Bluetoothd::run(const std::function<void()>& task) {
  std::promise<void> done;
  state_->loop.post([&] {
    try {
      task();
      done.set_value();
    } catch (...) {
      done.set_exception(std::current_exception());
    }
  });
  done.get_future().get();
}

void Bluetoothd::add_strap(const Strap& strap, bool known) {
  run([&] {
    const StrapSurroundings with{state_->bus,
                                 state_->objects,
                                 state_->calls,
                                 state_->writes,
                                 [this](double seconds, std::function<void()> task) {
                                   state_->later(seconds, std::move(task));
                                 },
                                 state_->loop,
                                 k_adapter};
    auto session = std::make_unique<StrapSession>(with, strap);
    if (known) {
      session->make_object();
      send_added(state_->bus, session->path(), state_->objects[session->path()]);
      state_->wait_until_heard();
    }
    state_->sessions[session->path()] = std::move(session);
  });
}

void Bluetoothd::change_strap(const std::string& address,
                              const std::function<void(Strap&)>& change) {
  run([&] { change(state_->session_of(address).strap); });
}

void Bluetoothd::set_powered(bool on) {
  run([&] { state_->set_powered(on); });
}

void Bluetoothd::refuse_discovery(const BluezError& error) {
  run([&] { state_->discovery_error = error; });
}

void Bluetoothd::answer_discovery_after(double seconds) {
  run([&] { state_->discovery_answer_seconds = seconds; });
}

void Bluetoothd::remove_adapter() {
  run([this] {
    for (auto& [path, session] : state_->sessions) session->adapter_is_off();
    state_->searching = false;
    state_->objects.erase(k_adapter);
    send_removed(state_->bus, k_adapter, {k_adapter_interface});
  });
}

void Bluetoothd::add_adapter() {
  run([this] {
    state_->make_adapter();
    send_added(state_->bus, k_adapter, state_->objects[k_adapter]);
  });
}

void Bluetoothd::expire(const std::string& address) {
  run([&] { state_->session_of(address).remove_objects(); });
}

void Bluetoothd::connect_elsewhere(const std::string& address) {
  run([&] {
    state_->session_of(address).connect_for_another();
    state_->wait_until_heard();
  });
}

void Bluetoothd::drop_link(const std::string& address) {
  run([&] { state_->session_of(address).drop_link(); });
}

void Bluetoothd::notify(const std::string& address, const std::string& characteristic,
                        const Bytes& value) {
  run([&] { state_->session_of(address).send_value(characteristic, value); });
}

void Bluetoothd::send_nonsense(const std::string& address) {
  run([&] {
    const char* manager = "org.freedesktop.DBus.ObjectManager";
    const char* properties = "org.freedesktop.DBus.Properties";
    const std::string device = state_->session_of(address).path();
    const std::string data = device + "/service0010/char0014";
    sd_bus* bus = state_->bus;
    sd_bus_emit_signal(bus, "/", manager, "InterfacesAdded", "o", device.c_str());
    sd_bus_emit_signal(bus, "/", manager, "InterfacesAdded", "");
    sd_bus_emit_signal(bus, "/", manager, "InterfacesAdded", "oa{sv}", device.c_str(), 1, "x", "u",
                       7);
    sd_bus_emit_signal(bus, "/", manager, "InterfacesRemoved", "ou", device.c_str(), 3);
    sd_bus_emit_signal(bus, "/", manager, "InterfacesRemoved", "");
    sd_bus_emit_signal(bus, data.c_str(), properties, "PropertiesChanged", "");
    sd_bus_emit_signal(bus, data.c_str(), properties, "PropertiesChanged", "s", "x");
    sd_bus_emit_signal(bus, data.c_str(), properties, "PropertiesChanged", "sa{sv}as",
                       "org.bluez.GattCharacteristic1", 2, "Value", "s", "text", "Notifying",
                       "(uu)", 1, 2, 0);
    sd_bus_emit_signal(bus, device.c_str(), properties, "PropertiesChanged", "sa{sv}as",
                       k_device_interface, 2, "ServicesResolved", "u", 1, "Name", "ay", 0, 0);
  });
}

void Bluetoothd::die() {
  run([this] { state_->disconnect(); });
}

void Bluetoothd::come_back() {
  run([this] {
    state_->make_adapter();
    state_->connect();
  });
}

std::vector<std::string> Bluetoothd::calls() {
  std::vector<std::string> calls;
  run([&] { calls = state_->calls; });
  return calls;
}

std::vector<std::string> Bluetoothd::writes() {
  std::vector<std::string> writes;
  run([&] { writes = state_->writes; });
  return writes;
}

std::size_t Bluetoothd::samples_sent(const std::string& address) {
  std::size_t sent = 0;
  run([&] { sent = state_->session_of(address).samples_sent(); });
  return sent;
}

bool Bluetoothd::is_connected(const std::string& address) {
  bool connected = false;
  run([&] { connected = state_->session_of(address).is_connected(); });
  return connected;
}

bool Bluetoothd::is_discovering() {
  bool discovering = false;
  run([&] { discovering = state_->searching; });
  return discovering;
}

}  // namespace tvn::fake
