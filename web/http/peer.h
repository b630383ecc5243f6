// Who is at the other end of a connection over the loopback.
#pragma once

#include <cstdint>

namespace tvn {

// The port that the connection came in on; 0 for what is no TCP connection over IPv4.
int local_port(int fd);

// Whether this system tells whose a connection is: on Linux unless the kernel was built without
// sock_diag(7) or its TCP part, on a Mac never. Tried out on a socket of its own; false, too, where
// none can be had. To be asked once, at the start: later a lack of descriptors must not look like a
// system that does not tell.
bool system_tells_peers();

// Where it does: whether the other end belongs to a user other than the program's own and root, or
// to nobody any more: a client that has closed cannot read a reply, but might have sent a command.
// True, too, when the answer cannot be had. Some microseconds.
bool peer_is_other_user(int fd);

// The rule for an answer of the kernel: the inode of the other end's socket, 0 for one that is
// closed, and its user.
bool is_other_user(std::uint32_t inode, std::uint32_t user, std::uint32_t own_user);

}  // namespace tvn
