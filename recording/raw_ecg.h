// Raw ECG as text, one sample per line.
#pragma once

#include <string_view>
#include <vector>

namespace tvn {

// The samples, in file order: the number that begins each line's first cell. A line whose cell
// holds anything but digits, signs, points and exponents, or a number out of a double's range, is
// skipped; a text without samples gives none. One pass without a copy per line.
std::vector<double> parse_raw_ecg(std::string_view text);

}  // namespace tvn
