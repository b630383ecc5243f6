// JSON Lines: one flat object a line (RFC 8259), written so that any reader takes it, and read
// back. Objects hold texts, numbers, true, false, null and lists of these.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tvn {

// `bytes` as a JSON string. File names need not be UTF-8: a byte that is none becomes \udc80 to
// \udcff, as Python's "surrogateescape" (PEP 383) has it, so that the name can be had back.
std::string json_string(std::string_view bytes);

// The shortest decimal number that reads back as `value`; null when it is not finite.
std::string json_exact(double value);

struct JsonValue {
  enum class Kind { literal, text, list };
  Kind kind = Kind::literal;
  std::string text;  // of a text its bytes, of a literal how it stands there: "8.1", "null"
  std::vector<JsonValue> items;  // of a list
};

using JsonObject = std::map<std::string, JsonValue>;

// The object that is the whole of `line`; none when it is anything else. Linear.
std::optional<JsonObject> read_json_object(std::string_view line);

// The member's text or literal; none when there is no such member, or it is of another kind.
std::optional<std::string> text_member(const JsonObject& object, const std::string& key);
std::optional<double> number_member(const JsonObject& object, const std::string& key);

}  // namespace tvn
