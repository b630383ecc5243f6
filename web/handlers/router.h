// From a request to its reply: a fixed table of paths, tried in order, compared exactly. The
// method is never looked at. Works on bytes, without a socket.
#pragma once

#include <atomic>
#include <string>

#include "session/engine.h"
#include "web/http/reply.h"
#include "web/http/request.h"

namespace tvn {

// What the handlers work on.
struct Site {
  Engine& engine;
  std::string web_dir;  // folder of the page's files
  // Whether only the program's own page and programs that are no other page's are answered
  // (web/http/guard.h), and whether only the user's own and root's are (web/http/peer.h).
  bool guarded = false;
  bool guards_users = false;
  // Held from making sure that no batch runs to having started one over the upload folder: an
  // import must not remove what the batch of another request, begun at the same time, reads.
  Mutex upload_control = {};
  // Set while a folder dialog is open: a second one would only hide behind it.
  std::atomic<bool> dialog_open = false;
};

// The reply to `request`; the not-found reply when no path matches. May throw what a handler
// throws (std::bad_alloc, std::system_error); the connection is then closed without a reply.
Reply route(const Request& request, Site& site);

}  // namespace tvn
