#include "base/decimal.h"

#include <locale.h>
#include <stdlib.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h>
#endif

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

namespace tvn {
namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Where the parts of a number lie, and its leading digits as an integer.
struct NumberShape {
  std::size_t length = 0;
  bool negative = false;
  std::uint64_t digits = 0;  // the significant digits without the point
  int digit_count = 0;       // how many of them, leading zeros not counted
  long exponent = 0;         // power of ten that `digits` is to be multiplied by
};

// An exponent that no double can bear, small enough not to overflow when more is added.
constexpr long k_exponent_limit = 100000;

void read_digit(NumberShape& shape, char c, bool after_point) {
  if (shape.digit_count > 0 || c != '0') {
    ++shape.digit_count;
    if (shape.digit_count <= 18) {
      shape.digits = shape.digits * 10 + static_cast<std::uint64_t>(c - '0');
    }
  }
  if (after_point) --shape.exponent;
}

// The exponent part counts only when a digit follows the "e" and its sign.
void read_exponent(NumberShape& shape, std::string_view text) {
  std::size_t i = shape.length;
  if (i >= text.size() || (text[i] != 'e' && text[i] != 'E')) return;
  ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  if (i >= text.size() || !is_digit(text[i])) return;
  long exponent = 0;
  for (; i < text.size() && is_digit(text[i]); ++i) {
    exponent = std::min(exponent * 10 + (text[i] - '0'), k_exponent_limit);
  }
  shape.exponent += negative ? -exponent : exponent;
  shape.length = i;
}

NumberShape read_shape(std::string_view text) {
  NumberShape shape;
  std::size_t i = 0;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) shape.negative = text[i++] == '-';
  bool any_digit = false;
  bool after_point = false;
  for (; i < text.size(); ++i) {
    if (is_digit(text[i])) {
      read_digit(shape, text[i], after_point);
      any_digit = true;
    } else if (text[i] == '.' && !after_point) {
      after_point = true;
    } else {
      break;
    }
  }
  if (!any_digit) return {};
  shape.length = i;
  read_exponent(shape, text);
  return shape;
}

double parse_by_library(std::string_view text) {
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return strtod_l(std::string(text).c_str(), nullptr, c_locale);
}

// Powers of ten that a double holds exactly. An integer of up to 15 digits is exact too, so one
// product or quotient of the two is rounded once, to the nearest double (Clinger, "How to read
// floating point numbers accurately", 1990).
constexpr std::array<double, 23> k_powers_of_ten = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                    1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                    1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int k_exact_digits = 15;

double value_of(const NumberShape& shape, std::string_view text) {
  const bool exact = shape.digit_count <= k_exact_digits && std::abs(shape.exponent) <= 22;
  if (!exact) return parse_by_library(text.substr(0, shape.length));
  const auto digits = static_cast<double>(shape.digits);
  const double power = k_powers_of_ten[static_cast<std::size_t>(std::abs(shape.exponent))];
  const double magnitude = shape.exponent < 0 ? digits / power : digits * power;
  return shape.negative ? -magnitude : magnitude;
}

// Whether the text is written in hexadecimal, sign included: a decimal reading of its leading 0
// would quietly turn "0x10" into 0.
bool is_hexadecimal(std::string_view text) {
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) text.remove_prefix(1);
  if (text.size() < 3 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) return false;
  text.remove_prefix(text[2] == '.' ? 3 : 2);
  return !text.empty() &&
         std::string_view("0123456789abcdefABCDEF").find(text[0]) != std::string_view::npos;
}

}  // namespace

DecimalScan scan_decimal(std::string_view text) {
  const NumberShape shape = read_shape(text);
  if (shape.length == 0) return {DecimalStatus::no_number, 0.0, 0};
  const double value = value_of(shape, text);
  const bool too_small =
      shape.digit_count > 0 && std::abs(value) < std::numeric_limits<double>::min();
  if (std::isinf(value) || too_small) return {DecimalStatus::out_of_range, 0.0, shape.length};
  return {DecimalStatus::ok, value, shape.length};
}

double parse_number(std::string_view text, double fallback) {
  std::string decimal(text);
  std::replace(decimal.begin(), decimal.end(), ',', '.');
  const std::size_t start = decimal.find_first_not_of(" \t\n\v\f\r");
  if (start == std::string::npos) return fallback;
  const std::string_view number = std::string_view(decimal).substr(start);
  if (is_hexadecimal(number)) return fallback;
  const DecimalScan scan = scan_decimal(number);
  return scan.status == DecimalStatus::ok ? scan.value : fallback;
}

}  // namespace tvn
