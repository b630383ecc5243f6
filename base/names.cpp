#include "base/names.h"

namespace tvn {
namespace {

bool stays(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_';
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

std::string_view file_name_of(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

}  // namespace tvn
