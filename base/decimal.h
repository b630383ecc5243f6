// Reading decimal numbers from text, independent of any locale: the one number parser under
// request parameters, recordings and RR exports.
#pragma once

#include <cstddef>
#include <string_view>

namespace tvn {

enum class DecimalStatus {
  ok,
  no_number,     // the text does not begin with a decimal number
  out_of_range,  // too large for a double, or so small that it is zero or loses precision
};

struct DecimalScan {
  DecimalStatus status;
  double value;        // defined when status is ok
  std::size_t length;  // bytes of the number, sign and exponent included; 0 for no_number
};

// Reads the longest decimal floating-point number at the very start of `text`: an optional sign,
// digits with an optional point (at least one digit), an optional exponent. "1-2" gives 1,
// "1e" gives 1, "1.2.3" gives 1.2. White space is not skipped; "inf", "nan" are no numbers, and of
// "0x10" only the 0 is read. The value is the double nearest to the text. Linear in the number's
// length; no allocation for numbers of up to 15 digits with a
// power of ten within 22.
DecimalScan scan_decimal(std::string_view text);

// The number that request texts carry, or `fallback`. Every "," counts as a "." so that a decimal
// comma is accepted; leading white space is skipped; the longest leading decimal number counts.
// Empty text, no number, "nan", "inf", hexadecimal and a number out of range give `fallback`.
double parse_number(std::string_view text, double fallback);

}  // namespace tvn
