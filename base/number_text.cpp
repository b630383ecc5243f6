#include "base/number_text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace tvn {
namespace {

// The largest double has 309 digits before the point.
constexpr std::size_t k_longest_number = 340;

std::string to_text(double value, std::chars_format format, int precision) {
  if (std::isnan(value)) return "nan";  // whatever its sign
  std::array<char, k_longest_number> text;
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), value, format, precision).ptr;
  std::string number(text.data(), end);
  const bool is_zero = number.find_first_not_of("-0.") == std::string::npos;
  if (is_zero && number.front() == '-') number.erase(0, 1);
  return number;
}

}  // namespace

std::string fixed_text(double value, int decimals) {
  return to_text(value, std::chars_format::fixed, decimals);
}

std::string general_text(double value, int digits) {
  return to_text(value, std::chars_format::general, digits);
}

}  // namespace tvn
