#include "batch/command/json_line.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <utility>

#include "base/decimal.h"

namespace tvn {
namespace {

constexpr std::string_view k_hex = "0123456789abcdef";
constexpr std::uint32_t k_byte_escape = 0xDC00;  // plus a byte from 0x80 on

unsigned byte_at(std::string_view text, std::size_t i) {
  return static_cast<unsigned char>(text[i]);
}

// The length of the UTF-8 character that begins at i (RFC 3629); 0 when none does.
std::size_t utf8_length(std::string_view text, std::size_t i) {
  const unsigned lead = byte_at(text, i);
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  if (length == 0 || i + length > text.size()) return 0;
  for (std::size_t k = 1; k < length; ++k) {
    if ((byte_at(text, i + k) & 0xC0) != 0x80) return 0;
  }
  if (length < 3) return length;
  const unsigned second = byte_at(text, i + 1);
  const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
  const bool surrogate = lead == 0xED && second >= 0xA0;
  const bool too_high = lead == 0xF4 && second >= 0x90;
  return overlong || surrogate || too_high ? 0 : length;
}

void append_escape(std::string& out, std::uint32_t unit) {
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += k_hex[(unit >> shift) & 15];
}

void append_utf8(std::string& out, std::uint32_t point) {
  const auto tail = [&out, point](int shift) {
    out += static_cast<char>(0x80 | ((point >> shift) & 0x3F));
  };
  if (point < 0x80) {
    out += static_cast<char>(point);
  } else if (point < 0x800) {
    out += static_cast<char>(0xC0 | (point >> 6));
    tail(0);
  } else if (point < 0x10000) {
    out += static_cast<char>(0xE0 | (point >> 12));
    tail(6);
    tail(0);
  } else {
    out += static_cast<char>(0xF0 | (point >> 18));
    tail(12);
    tail(6);
    tail(0);
  }
}

// Reads one object; every step returns false at the first thing that is none of it.
class Reader {
 public:
  explicit Reader(std::string_view rest) : rest_(rest) {}

  bool object(JsonObject& object) {
    if (!take('{')) return false;
    if (take('}')) return at_end();
    do {
      std::string key;
      JsonValue value;
      if (!text(key) || !take(':') || !this->value(value)) return false;
      object.insert_or_assign(std::move(key), std::move(value));
    } while (take(','));
    return take('}') && at_end();
  }

 private:
  void skip_blanks() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r"), rest_.size()));
  }
  bool at_end() {
    skip_blanks();
    return rest_.empty();
  }
  bool take(char c) {
    skip_blanks();
    if (!rest_.starts_with(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool value(JsonValue& value) {
    skip_blanks();
    if (rest_.starts_with('"')) {
      value.kind = JsonValue::Kind::text;
      return text(value.text);
    }
    return rest_.starts_with('[') ? list(value) : literal(value);
  }

  bool list(JsonValue& value) {
    value.kind = JsonValue::Kind::list;
    take('[');
    if (take(']')) return true;
    do {
      skip_blanks();
      if (rest_.starts_with('[')) return false;  // flat objects have no lists of lists
      if (!this->value(value.items.emplace_back())) return false;
    } while (take(','));
    return take(']');
  }

  bool literal(JsonValue& value) {
    const std::size_t length = std::min(rest_.find_first_of(",]} \t\r"), rest_.size());
    value.text = rest_.substr(0, length);
    rest_.remove_prefix(length);
    if (value.text == "null" || value.text == "true" || value.text == "false") return true;
    const DecimalScan scan = scan_decimal(value.text);
    return scan.status == DecimalStatus::ok && scan.length == value.text.size();
  }

  bool text(std::string& out) {
    if (!take('"')) return false;
    for (;;) {
      const std::size_t plain = rest_.find_first_of("\"\\");
      if (plain == std::string_view::npos) return false;
      out += rest_.substr(0, plain);
      const bool ends = rest_[plain] == '"';
      rest_.remove_prefix(plain + 1);
      if (ends) return true;
      if (!escape(out)) return false;
    }
  }

  bool escape(std::string& out) {
    constexpr std::string_view k_letters = "\"\\/bfnrt", k_meanings = "\"\\/\b\f\n\r\t";
    if (rest_.empty()) return false;
    const char letter = rest_.front();
    rest_.remove_prefix(1);
    if (letter == 'u') return unicode_escape(out);
    const std::size_t i = k_letters.find(letter);
    if (i == std::string_view::npos) return false;
    out += k_meanings[i];
    return true;
  }

  bool unicode_escape(std::string& out) {
    std::uint32_t unit = 0;
    if (!hex(unit)) return false;
    if (unit >= k_byte_escape + 0x80 && unit <= k_byte_escape + 0xFF) {
      out += static_cast<char>(unit - k_byte_escape);
      return true;
    }
    if (unit >= 0xD800 && unit < 0xDC00) {
      std::uint32_t low = 0;
      if (!rest_.starts_with("\\u")) return false;
      rest_.remove_prefix(2);
      if (!hex(low) || low < 0xDC00 || low > 0xDFFF) return false;
      unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
    } else if (unit >= 0xDC00 && unit <= 0xDFFF) {
      return false;
    }
    append_utf8(out, unit);
    return true;
  }

  bool hex(std::uint32_t& unit) {
    const std::string_view digits = rest_.substr(0, 4);
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16);
    if (error != std::errc() || end != digits.data() + 4) return false;
    rest_.remove_prefix(4);
    return true;
  }

  std::string_view rest_;
};

}  // namespace

std::string json_string(std::string_view bytes) {
  std::string out = "\"";
  for (std::size_t i = 0; i < bytes.size();) {
    const std::size_t length = utf8_length(bytes, i);
    const char c = bytes[i];
    if (length == 0) {
      append_escape(out, k_byte_escape + byte_at(bytes, i));
    } else if (length == 1 && (byte_at(bytes, i) < 0x20 || c == 0x7F)) {
      append_escape(out, byte_at(bytes, i));
    } else {
      if (c == '"' || c == '\\') out += '\\';
      out += bytes.substr(i, length);
    }
    i += length == 0 ? 1 : length;
  }
  return out + '"';
}

std::string json_exact(double value) {
  if (!std::isfinite(value)) return "null";
  std::array<char, 32> text;
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

std::optional<JsonObject> read_json_object(std::string_view line) {
  JsonObject object;
  if (!Reader(line).object(object)) return std::nullopt;
  return object;
}

std::optional<std::string> text_member(const JsonObject& object, const std::string& key) {
  const auto found = object.find(key);
  if (found == object.end() || found->second.kind != JsonValue::Kind::text) return std::nullopt;
  return found->second.text;
}

std::optional<double> number_member(const JsonObject& object, const std::string& key) {
  const auto found = object.find(key);
  if (found == object.end() || found->second.kind != JsonValue::Kind::literal) return std::nullopt;
  const DecimalScan scan = scan_decimal(found->second.text);
  if (scan.status != DecimalStatus::ok) return std::nullopt;
  return scan.value;
}

}  // namespace tvn
