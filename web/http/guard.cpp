#include "web/http/guard.h"

#include <algorithm>
#include <optional>
#include <string>

#include "base/text_lines.h"

namespace tvn {
namespace {

constexpr std::string_view k_blanks = " \t";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(k_blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(k_blanks) - first + 1);
}

// This server by any of its names, after `before`: "http://" or nothing.
bool names_this_server(std::string_view text, std::string_view before, int port) {
  const std::string lower = lower_case(text);
  for (const char* host : {"127.0.0.1", "localhost", "[::1]"}) {
    const std::string name = std::string(before) + host;
    if (lower == name + ":" + std::to_string(port)) return true;
    if (port == 80 && lower == name) return true;
  }
  return false;
}

bool is_plain_method(std::string_view line) {
  const std::string_view method = line.substr(0, line.find_first_of(" \t"));
  return method == "GET" || method == "HEAD" || method == "POST";
}

// What stands behind the colon where the line is the header `lower_name`. Blanks about the name
// make it no valid header, and the value one that nothing equals.
std::optional<std::string_view> value_of(std::string_view line, std::string_view lower_name) {
  const std::size_t colon = std::min(line.find(':'), line.size());
  const std::string_view name = line.substr(0, colon);
  if (lower_case(trimmed(name)) != lower_name) return std::nullopt;
  if (colon == line.size() || name.size() != trimmed(name).size()) return "";
  return trimmed(line.substr(colon + 1));
}

// Others may cut a line at them, or not see them.
bool holds_control_bytes(std::string_view line) {
  return std::any_of(line.begin(), line.end(),
                     [](char c) { return static_cast<unsigned char>(c) < ' ' && c != '\t'; });
}

// Takes the next line off the front, without its end, "\r\n" or "\n" alone: whoever reads lines
// more strictly than others can be shown other headers than they are.
std::string_view take_header_line(std::string_view& rest) {
  std::string_view line = take_line(rest);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

bool header_is_admitted(std::string_view line, int port) {
  if (const auto host = value_of(line, "host")) return names_this_server(*host, "", port);
  if (const auto origin = value_of(line, "origin")) {
    return names_this_server(*origin, "http://", port);
  }
  if (const auto site = value_of(line, "sec-fetch-site")) {
    return *site == "same-origin" || *site == "none";
  }
  // What others might read as another header: a line that is none, or one that goes on from the one
  // before.
  const std::size_t name_end = line.find_first_of(": \t");
  return name_end != line.npos && line[name_end] == ':';
}

}  // namespace

bool guard_admits(std::string_view head, int port) {
  if (!head.ends_with("\r\n\r\n")) return false;
  const std::string_view request_line = take_header_line(head);
  if (!is_plain_method(request_line) || holds_control_bytes(request_line)) return false;
  std::optional<std::string_view> host, origin;
  while (!head.empty()) {
    const std::string_view line = take_header_line(head);
    if (holds_control_bytes(line)) return false;
    if (!line.empty() && !header_is_admitted(line, port)) return false;
    const auto named = value_of(line, "host");
    if (named && host) return false;
    if (named) host = named;
    if (const auto from = value_of(line, "origin")) origin = from;
  }
  // By another of the loopback's names another server may be meant, on the same port.
  return !host || !origin || *origin == "http://" + std::string(*host);
}

}  // namespace tvn
