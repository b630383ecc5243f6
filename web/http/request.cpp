#include "web/http/request.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <stdexcept>

#include "base/text_lines.h"

namespace tvn {
namespace {

constexpr std::size_t k_receive_bytes = 4096;
constexpr std::size_t k_longest_header = 1048576;
constexpr std::string_view k_blank_line = "\r\n\r\n";
constexpr std::string_view k_white_space = " \t\n\v\f\r";

// Receives once and appends; false when nothing more comes.
bool receive_more(const ReceiveFunction& receive, std::string& buffer) {
  std::array<char, k_receive_bytes> piece;
  const std::size_t got = receive(piece.data(), piece.size());
  buffer.append(piece.data(), got);
  return got > 0;
}

// Receives up to the blank line that ends the headers; returns its position, npos without one.
// Each search goes on where the last one stopped, so that a header sent byte by byte costs linear
// time.
std::size_t receive_header(const ReceiveFunction& receive, std::string& buffer) {
  std::size_t searched = 0;
  for (;;) {
    const std::size_t end = buffer.find(k_blank_line, searched);
    if (end != std::string::npos || buffer.size() > k_longest_header) return end;
    searched = buffer.size() - std::min(buffer.size(), k_blank_line.size() - 1);
    if (!receive_more(receive, buffer)) return std::string::npos;
  }
}

std::string_view take_token(std::string_view& rest) {
  const std::size_t start = rest.find_first_not_of(k_white_space);
  if (start == std::string_view::npos) return {};
  rest.remove_prefix(start);
  const std::string_view token = rest.substr(0, rest.find_first_of(k_white_space));
  rest.remove_prefix(token.size());
  return token;
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Two characters as an integer parser in base 16 reads them.
char decode_escape(char first, char second) {
  const int high = hex_digit(first);
  const int low = hex_digit(second);
  if (high >= 0) return static_cast<char>(low >= 0 ? high * 16 + low : high);
  const bool skipped =
      first == '+' || first == '-' || k_white_space.find(first) != std::string_view::npos;
  if (!skipped || low < 0) throw std::invalid_argument("malformed percent escape");
  return static_cast<char>(first == '-' ? -low : low);
}

Request parse_request_line(std::string_view buffer) {
  Request request;
  request.method = take_token(buffer);
  const std::string_view target = take_token(buffer);
  const std::size_t question = target.find('?');
  request.path = target.substr(0, question);
  if (question != std::string_view::npos) {
    request.query = parse_query(target.substr(question + 1));
  }
  return request;
}

}  // namespace

std::optional<Request> read_request(const ReceiveFunction& receive, const HeadFilter& admits) {
  std::string buffer;
  const std::size_t header_end = receive_header(receive, buffer);
  if (buffer.empty()) return std::nullopt;
  const std::size_t head_size =
      header_end == std::string::npos ? buffer.size() : header_end + k_blank_line.size();
  if (admits && !admits(std::string_view(buffer).substr(0, head_size))) return Request();
  Request request = parse_request_line(buffer);
  if (request.method != "POST" || header_end == std::string::npos) return request;
  const std::size_t announced = content_length(std::string_view(buffer).substr(0, header_end));
  request.body = buffer.substr(header_end + k_blank_line.size());
  while (request.body.size() < announced && receive_more(receive, request.body)) {
  }
  return request;
}

QueryParams parse_query(std::string_view text) {
  QueryParams query;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('&'), text.size());
    const std::string_view piece = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos) continue;
    query[std::string(piece.substr(0, equals))] = decode_value(piece.substr(equals + 1));
  }
  return query;
}

std::string decode_value(std::string_view text) {
  std::string value;
  value.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      value += decode_escape(text[i + 1], text[i + 2]);
      i += 2;
    } else {
      value += text[i] == '+' ? ' ' : text[i];
    }
  }
  return value;
}

std::size_t content_length(std::string_view header_block) {
  constexpr std::string_view k_name = "content-length:";
  const std::string lower = lower_case(header_block);
  const std::size_t found = lower.find(k_name);
  if (found == std::string::npos) return 0;
  const std::size_t start = lower.find_first_not_of(k_white_space, found + k_name.size());
  if (start == std::string::npos) return 0;
  std::size_t length = 0;
  const auto error = std::from_chars(lower.data() + start, lower.data() + lower.size(), length).ec;
  if (error == std::errc::result_out_of_range) return std::numeric_limits<std::size_t>::max();
  return length;
}

}  // namespace tvn
