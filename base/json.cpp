#include "base/json.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace tvn {
namespace {

constexpr int k_significant_digits = 6;

// Most numbers of a snapshot are multiples of 0.1 (microvolts, seconds). A double that is the
// nearest one to n / 10 prints as the digits of n with a point before the last, as long as n has
// no more than six digits; that spares the general conversion. Returns the end of the text, or
// nullptr when `value` is no such number.
char* write_tenths(char* out, double value) {
  constexpr double k_limit = 100000.0;
  if (!(value > -k_limit && value < k_limit)) return nullptr;
  const auto tenths = static_cast<std::int64_t>(value * 10.0 + (value < 0 ? -0.5 : 0.5));
  if (static_cast<double>(tenths) / 10.0 != value) return nullptr;
  if (std::signbit(value)) *out++ = '-';
  const auto magnitude = static_cast<std::uint64_t>(std::abs(tenths));
  out = std::to_chars(out, out + 8, magnitude / 10).ptr;
  if (magnitude % 10 != 0) {
    *out++ = '.';
    *out++ = static_cast<char>('0' + magnitude % 10);
  }
  return out;
}

}  // namespace

void append_json_quoted(std::string& out, std::string_view text) {
  out += '"';
  for (const char c : text) {
    if (c == '\n') {
      out += "\\n";
      continue;
    }
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  out += '"';
}

std::string json_quote(std::string_view text) {
  std::string out;
  append_json_quoted(out, text);
  return out;
}

void append_json_number(std::string& out, double value) {
  if (!std::isfinite(value)) {
    out += "null";
    return;
  }
  std::array<char, 32> text;
  char* end = write_tenths(text.data(), value);
  if (end == nullptr) {
    end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general,
                        k_significant_digits)
              .ptr;
  }
  out.append(text.data(), end);
}

std::string json_number(double value) {
  std::string out;
  append_json_number(out, value);
  return out;
}

}  // namespace tvn
