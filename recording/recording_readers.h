// The texts that recordings come in: raw ECG, one sample per line, and the RR export of the
// outside HRV software Kubios. Leaf code over byte strings, shared by web, session and batch.
// Nothing here fails: unreadable content gives fewer values or none, which the callers judge.
#pragma once

#include <string_view>
#include <vector>

namespace tvn {

// Whether the first 4000 bytes, in lower case, hold "kubios" or "hrv analysis results", or begin a
// line with "sep=", the separator hint that spreadsheet exports put on their first line.
bool looks_like_kubios(std::string_view text);

// The RR intervals of the section headed "RR INTERVAL DATA", in file order and in the unit
// written there: the third cell of each row whose second and third cells are numbers. The section
// ends at the first row after them in which both are empty. Linear.
std::vector<double> parse_kubios_rr(std::string_view text);

// The samples, in file order: the number that begins each line's first cell. A line whose cell
// holds anything but digits, signs, points and exponents, or a number out of a double's range, is
// skipped. One pass without a copy per line.
std::vector<double> parse_raw_ecg(std::string_view text);

// `samples` taken at `rate` Hz, brought to 130 samples per second by linear interpolation. They
// come back unchanged when the rate is not above 0 or within 0.5 Hz of 130, when there are fewer
// than 2, or when the result would have fewer than 2 or more than 100 million samples.
std::vector<double> resample_to_130(std::vector<double> samples, double rate);

}  // namespace tvn
