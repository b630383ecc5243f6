// One device of the fake bluetoothd: its objects, its link, and the strap's side of the protocol.
#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "sensor/linux/bus_loop.h"
#include "tests/bluez/bus_objects.h"
#include "tests/bluez/fake_strap.h"

namespace tvn::fake {

// A method call that waits for its answer. One that is never answered keeps its caller waiting.
struct Call {
  explicit Call(sd_bus_message* call) : message(sd_bus_message_ref(call)) {}
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  ~Call() { sd_bus_message_unref(message); }
  void reply(const std::function<void(sd_bus_message*)>& append_to = {}) const;
  void fail(const std::string& name, const std::string& text) const;
  sd_bus_message* message;
};
using CallPointer = std::shared_ptr<Call>;

struct StrapSurroundings {
  sd_bus* const& bus;
  Objects& objects;
  std::vector<std::string>& calls;
  std::vector<std::string>& writes;
  std::function<void(double seconds, std::function<void()>)> later;
  BusLoop& loop;
  std::string adapter;
};

class StrapSession {
 public:
  StrapSession(const StrapSurroundings& with, Strap its_strap);

  Strap strap;

  std::string path() const;
  void make_object();
  void remove_objects();
  void advertise();
  void forget_signal_strength();
  void adapter_is_off();
  void drop_link();
  void connect_for_another();  // another client of bluetoothd has the link
  void link_is_gone();         // without a word: bluetoothd itself has gone
  void answer(const CallPointer& call, const std::string& path, const std::string& member);
  void send_value(const std::string& characteristic, const Bytes& value);
  std::size_t samples_sent() const { return sent_; }
  bool is_connected() const { return connected_; }

 private:
  void answer_connect(const CallPointer& call);
  void answer_disconnect(const CallPointer& call);
  void answer_start_notify(const CallPointer& call, const std::string& characteristic);
  void answer_write(const CallPointer& call, const std::string& characteristic);
  void come_up(const CallPointer& call);
  void announce_services();
  void resolve();
  void obey(const Bytes& command);
  void stream();
  void end_link();
  void set(const Properties& changed);
  std::string characteristic_at(const std::string& path) const;
  std::vector<std::pair<std::string, Interfaces>> services() const;

  StrapSurroundings with_;
  CallPointer pending_connect_;
  std::vector<CallPointer> unanswered_;
  std::set<std::string> notifying_;
  bool connected_ = false;
  bool streaming_ = false;
  bool writing_ = false;
  bool subscribing_ = false;  // some versions take one subscription at a time
  bool name_told_ = false;
  unsigned link_ = 0;  // what was planned for an earlier link does not happen on a later one
  std::size_t sent_ = 0;
  Timer next_frame_;
};

}  // namespace tvn::fake
