// The replies that the server gives, as bytes.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tvn {

// The next event of a stream, ready to be sent.
using EventFunction = std::function<std::string()>;

struct Reply {
  std::string bytes;              // header block and body
  EventFunction next_event = {};  // when set, the connection goes on with events after `bytes`
};

// A JSON reply. The reason phrase is "OK" whatever the status; the page reads the number only.
Reply json_reply(std::string_view body, int status = 200);

// The file at `path`, or the embedded file of the same name (without folders) when it cannot be
// read, or the not-found reply.
Reply file_reply(const std::string& path);

Reply not_found_reply();

// The header block of an event stream, and what makes its events.
Reply event_stream_reply(EventFunction next_event);

// One event of a stream: "data: " before the text and "\n\n" after it. A carriage return or line
// feed in the text would end its line and cut the event in two, so every line of it goes out as a
// "data: " line of the same event, which the browser joins again with line feeds (WHATWG HTML,
// "Server-sent events"). Linear.
std::string event_text(std::string_view data);

// The content type by the end of `path`, case-sensitively.
std::string_view content_type(std::string_view path);

}  // namespace tvn
