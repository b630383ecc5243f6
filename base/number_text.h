// Numbers as text for people and files, whatever the locale.
#pragma once

#include <string>

namespace tvn {

// `value` with `decimals` (0 to 17) places after the point, as printf's %.3f writes it in the C
// locale, but never as a negative zero: -0.0001 gives "0.000". NaN and infinities give "nan",
// "inf" and "-inf".
std::string fixed_text(double value, int decimals);

// `value` with up to `digits` (1 to 17) significant digits, as printf's %.2g: 12.34 gives "12",
// 123 "1.2e+02". Zero, NaN and infinities as above.
std::string general_text(double value, int digits);

}  // namespace tvn
