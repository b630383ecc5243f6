// The RR export of the outside HRV software Kubios. Nothing here fails: unreadable content gives
// fewer values or none, which the callers judge.
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

}  // namespace tvn
