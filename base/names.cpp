#include "base/names.h"

#include <algorithm>
#include <cstdint>

namespace tvn {
namespace {

bool stays(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_';
}

// The second and later bytes of a UTF-8 character.
bool goes_on_a_character(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// FNV-1a, 64 bits (Fowler, Noll and Vo).
std::uint64_t number_of(std::string_view text) {
  std::uint64_t number = 0xcbf29ce484222325;
  for (const char c : text) number = (number ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return number;
}

}  // namespace

std::string sanitise_name(std::string_view text) {
  std::string name(text);
  for (char& c : name) {
    if (!stays(c)) c = '_';
  }
  const std::size_t first = name.find_first_not_of('_');
  if (first == std::string::npos) return "recording";
  return name.substr(first, name.find_last_not_of('_') - first + 1);
}

std::string fit_base_name(std::string_view base, std::size_t others) {
  std::size_t length = k_longest_file_name - std::min(others, k_longest_file_name);
  if (base.size() <= length) return std::string(base);
  while (length > 0 && goes_on_a_character(base[length])) --length;
  return std::string(base.substr(0, length));
}

std::string fit_file_name(std::string_view name) {
  constexpr std::size_t k_longest_extension = 32;
  if (name.size() <= k_longest_file_name) return std::string(name);
  std::string_view extension = name.substr(std::min(name.rfind('.'), name.size()));
  if (extension.size() > k_longest_extension) extension = {};
  name.remove_suffix(extension.size());
  const std::string rest = "~" + std::to_string(number_of(name)) + std::string(extension);
  return fit_base_name(name, rest.size()) + rest;
}

std::string_view file_name_of(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

}  // namespace tvn
