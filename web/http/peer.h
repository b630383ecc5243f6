// Who is at the other end of a connection over the loopback.
#pragma once

namespace tvn {

// The port that the connection came in on; 0 for what is no TCP connection over IPv4.
int local_port(int fd);

// Whether the other end belongs to a user other than the program's own and root, or to nobody any
// more: a client that has closed cannot read a reply, but might have sent a command. On Linux the
// kernel tells (sock_diag(7)); where it does not, and on a Mac, nobody counts as another user.
// Some microseconds.
bool peer_is_other_user(int fd);

}  // namespace tvn
