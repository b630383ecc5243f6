// Walking through a text line by line.
#pragma once

#include <algorithm>
#include <string_view>

namespace tvn {

// Takes the next line off the front of `rest`, without its line feed; all of it when there is none.
inline std::string_view take_line(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('\n'), rest.size());
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return line;
}

}  // namespace tvn
