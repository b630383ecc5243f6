// How wide texts are in the reports' two fonts.
#pragma once

#include <string_view>

namespace tvn {

// The width of one byte at size 1000, from Adobe's metrics of the standard fonts ("Core 14 AFM
// Files"). Bytes outside printable ASCII count as a digit.
double helvetica_width(char c, bool bold);

// The width of `text` in points at `size`. Linear.
double helvetica_width(std::string_view text, bool bold, double size);

}  // namespace tvn
