// Walking through a text line by line, and reading without regard for letters' case.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace tvn {

// Takes the next line off the front of `rest`, without its line feed; all of it when there is none.
// Linear in the line.
inline std::string_view take_line(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('\n'), rest.size());
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return line;
}

// `text` with the letters A to Z in lower case; every other byte, of UTF-8 letters too, as it is.
// Linear.
inline std::string lower_case(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

}  // namespace tvn
