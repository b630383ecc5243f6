// One connection: read a request, answer it, close the socket. Runs on the connection's own
// thread; a client that is slow or silent ties up only that.
#pragma once

#include <optional>
#include <string_view>

#include "web/handlers/router.h"

namespace tvn {

// Serves the connection on the socket `fd` to its end and closes it. When it throws, the caller
// closes.
void route_request(int fd, Site& site);

// Sends all of `bytes`, or as much as the peer takes before it goes away.
void send_all(int fd, std::string_view bytes);

// Ends the sending side, takes in what the client still sends (within a bound of bytes and time),
// and closes. Closing on unread bytes would make the system reset the connection, and a reset can
// overtake the reply.
void finish_connection(int fd);

}  // namespace tvn
