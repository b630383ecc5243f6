// The guard: which requests the program answers when it is to answer nobody but its own page and
// the user's own programs. Any web page that is open in the same browser can send requests to
// 127.0.0.1, and by DNS rebinding (a name of its own that suddenly means 127.0.0.1) even read the
// replies; browsers tell where such requests come from in headers that pages cannot change.
#pragma once

#include <string_view>

namespace tvn {

// Whether the request with this head may be answered by the server that listens on `port` of the
// loopback. head: the bytes up to and with the blank line; one without a blank line is refused,
// since what decides could stand behind what was read of it. Refused are
// - a method other than GET, HEAD and POST;
// - a Host (RFC 9110, 7.2) other than 127.0.0.1, localhost or [::1] with the port, a repeated or
//   malformed one too; none at all is let in, as HTTP/1.0 tools send it;
// - a line that is no header, or holds control bytes;
// - an Origin (RFC 6454) of another server, "null" too, or by another name than the Host's;
// - a Sec-Fetch-Site (W3C Fetch Metadata) other than "same-origin" and "none", the user's own
//   doing.
// Pure; linear.
bool guard_admits(std::string_view head, int port);

}  // namespace tvn
