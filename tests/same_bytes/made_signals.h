// ECG signals that are the same bits on every machine, so that what differs behind them is the
// program's doing: sums, products and quotients alone, and no function of a mathematical library.
#pragma once

#include <string>
#include <vector>

namespace tvn {

struct MadeSignal {
  std::string name;
  std::vector<double> ecg;  // microvolts, 130 per second
};

// Five minutes each of a breathing person's ECG: clean, noisy, with gaps, clipped, upside down, and
// noise alone. The clean one is longer by what divides by no number of filter lanes.
std::vector<MadeSignal> made_signals();

}  // namespace tvn
