// The listening socket and the accept loop: one thread per connection.
#pragma once

#include <optional>

#include "web/handlers/router.h"

namespace tvn {

struct Listener {
  int fd;
  int port;  // the port that was asked for; 0 lets the system choose
};

// Listens on 127.0.0.1 at the first free port from `first_port` to `first_port` + 49; none when
// there is none. Ports above 65535 are never free, a negative first port gives none.
std::optional<Listener> listen_on_free_port(int first_port);

// The port that a command-line argument names: its leading digits; 0 without any.
int port_from_argument(const char* argument);

// Accepts connections forever, each served on a detached thread of its own. A connection for which
// no thread can be made is closed; the others are not touched.
[[noreturn]] void serve(int listener, Site& site);

// Serves one connection to its end. Whatever it throws is told on standard error, and the socket
// is closed: no request ends the process.
void handle_connection(int fd, Site& site) noexcept;

// Opens the page in the user's browser about one second from now, by when the socket listens.
// Returns at once; what the browser's opener prints is discarded.
void launch_browser(int port);

}  // namespace tvn
