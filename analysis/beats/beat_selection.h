// Which local maxima of a band-passed ECG are R peaks, and which polarity of the ECG shows them
// better: the decisions that look at the whole recording, over what was gathered locally.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "analysis/statistics.h"

namespace tvn {

// Local maxima that have no higher one near by, ascending, with what the selection looks at.
struct RatedPeaks {
  std::vector<int32_t> positions;   // sample indices
  std::vector<double> heights;      // values of the signal there, as seen with its sign
  std::vector<double> prominences;  // within an eighth of a second on either side
};

// How far to either side of a peak its prominence is measured, in samples, in a signal of
// signal_size samples. fs: samples per second; one below 4, or NaN, gives all of the signal.
int64_t prominence_reach(std::size_t signal_size, double fs);

// Appends peaks of the signal seen with `sign` 1, or -1 for its negation. The signal is that from
// sample `offset` of a recording on; `peaks` are indices into it, ascending, and the positions kept
// count in the recording. reach: samples, 0 and more. Cost: peaks times reach.
void append_rated(RatedPeaks& rated, std::span<const double> signal, int64_t offset, double sign,
                  std::span<const int32_t> peaks, int64_t reach);

// Mean and deviation of a signal that is given piece by piece, to some 1e-10 of the deviation: a
// sum of squares suffices because the mean of a band-passed signal is next to nothing. Several
// running sums, sample i in sum i % k_sums; the pieces make no difference to a bit of it.
class SpreadSums {
 public:
  static constexpr std::size_t k_sums = 8;

  // The next samples; as many as a multiple of k_sums, but for the last piece. Linear.
  void add(std::span<const double> samples);

  // None when the sums cannot tell the deviation (signals that are next to constant, not finite or
  // empty); `spread_of` (analysis/statistics.h) does then.
  std::optional<Spread> spread() const;

 private:
  std::array<double, k_sums> sums_{}, squares_{};
  std::size_t count_ = 0;
};

// The R peaks among `peaks` of a signal of signal_size samples at fs samples per second, seen with
// `sign`; the rule is that of `find_r_peaks` (analysis/beats/r_peaks.h). quick: its spread as
// SpreadSums finds it, or the exact one. exact: gives the exact one; asked only when a prominence
// lies so near the threshold that the rounding of `quick` could decide. Linear on average.
std::vector<int32_t> select_beats(const RatedPeaks& peaks, double sign, std::size_t signal_size,
                                  double fs, const Spread& quick,
                                  const std::function<Spread()>& exact);

// The intervals in seconds of the polarity with more of them in [0.33, 1.5] s, the positive one
// when equal, with artefacts corrected (analysis/beats/rr_artifacts.h). Linear on average.
std::vector<double> better_intervals(std::span<const int32_t> positive,
                                     std::span<const int32_t> negative, double fs);

}  // namespace tvn
