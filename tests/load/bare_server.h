// What the machine itself takes for a connection, whatever else runs on it: a server that accepts,
// starts a thread, receives, sends as much as a status reply has, and does nothing else.
#pragma once

#include <thread>

namespace tvn {

class BareServer {
 public:
  BareServer();
  BareServer(const BareServer&) = delete;
  BareServer& operator=(const BareServer&) = delete;
  ~BareServer();
  int port() const { return port_; }

 private:
  void serve() const;

  int listener_;
  int port_ = 0;
  std::thread thread_;
};

}  // namespace tvn
