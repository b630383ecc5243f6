#include "web/http/reply.h"

#include <array>
#include <utility>

#include "assets/assets.h"
#include "base/files.h"
#include "base/names.h"

namespace tvn {
namespace {

Reply complete_reply(int status, std::string_view type, std::string_view content) {
  std::string bytes = "HTTP/1.1 " + std::to_string(status) + " OK\r\nContent-Type: ";
  bytes += type;
  bytes += "\r\nContent-Length: " + std::to_string(content.size());
  bytes += "\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n";
  bytes += content;
  return {std::move(bytes)};
}

}  // namespace

Reply json_reply(std::string_view body, int status) {
  return complete_reply(status, "application/json", body);
}

Reply file_reply(const std::string& path) {
  std::string content;
  if (read_file(path, content)) return complete_reply(200, content_type(path), content);
  const std::string* embedded = find_asset(file_name_of(path));
  if (embedded == nullptr) return not_found_reply();
  return complete_reply(200, content_type(path), *embedded);
}

Reply not_found_reply() {
  return {"HTTP/1.1 404 Not Found\r\nContent-Length:0\r\nConnection: close\r\n\r\n"};
}

Reply event_stream_reply(EventFunction next_event) {
  return {
      "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-cache\r\n"
      "Connection: keep-alive\r\n\r\n",
      std::move(next_event)};
}

std::string event_text(std::string_view data) {
  std::string text = "data: ";
  text.reserve(data.size() + 8);
  // Two searches for one byte each are far quicker than one for either, and find nothing nearly
  // always.
  if (data.find('\r') != data.npos || data.find('\n') != data.npos) {
    for (std::size_t end; (end = data.find_first_of("\r\n")) != data.npos;) {
      text += data.substr(0, end);
      text += "\ndata: ";
      data.remove_prefix(end + (data.substr(end).starts_with("\r\n") ? 2 : 1));
    }
  }
  text += data;
  text += "\n\n";
  return text;
}

std::string_view content_type(std::string_view path) {
  constexpr std::string_view k_page_ending = ".html";
  if (path.size() > k_page_ending.size() && path.ends_with(k_page_ending)) {
    return "text/html; charset=utf-8";
  }
  constexpr std::array<std::pair<std::string_view, std::string_view>, 5> k_types = {{
      {".css", "text/css"},
      {".wav", "audio/wav"},
      {".png", "image/png"},
      {".ico", "image/x-icon"},
      {".js", "application/javascript"},
  }};
  for (const auto& [ending, type] : k_types) {
    if (path.ends_with(ending)) return type;
  }
  return "application/octet-stream";
}

}  // namespace tvn
