// Raw ECG as text, one sample per line.
#pragma once

#include <cstddef>
#include <limits>
#include <string_view>
#include <vector>

namespace tvn {

// 48 h at 130 samples per second: a day's Holter recording and another. What claims to be longer is
// no recording, and sizes no buffer.
inline constexpr std::size_t k_longest_recording = 22'464'000;

// The samples, in file order: the number that begins each line's first cell. A line whose cell
// holds anything but digits, signs, points and exponents, or a number out of a double's range, is
// skipped; a text without samples gives none. Reading ends after `most` samples. One pass without a
// copy per line.
std::vector<double> parse_raw_ecg(std::string_view text,
                                  std::size_t most = std::numeric_limits<std::size_t>::max());

}  // namespace tvn
