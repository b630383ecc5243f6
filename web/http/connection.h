// One connection: read a request, answer it, close the socket. Runs on the connection's own
// thread; a client that is slow or silent ties up only that.
#pragma once

#include <functional>
#include <string_view>

#include "web/http/reply.h"
#include "web/http/request.h"

namespace tvn {

// What a request gets.
using AnswerFunction = std::function<Reply(const Request&)>;

// Serves the connection on the socket `fd` to its end and closes it: one request, the reply that
// `answer` gives, and the reply's events, one every 50 ms, until the client goes. A request whose
// head `admits` refuses is answered as an empty one, for nothing. When it throws, the caller
// closes.
void route_request(int fd, const AnswerFunction& answer, const HeadFilter& admits = {});

// Sends all of `bytes`, or as much as the peer takes before it goes away.
void send_all(int fd, std::string_view bytes);

// Ends the sending side, takes in what the client still sends (within a bound of bytes and time),
// and closes. Closing on unread bytes would make the system reset the connection, and a reset can
// overtake the reply.
void finish_connection(int fd);

}  // namespace tvn
