// The RR intervals of a recording that grows, at the cost of what is new.
//
// What a call keeps for the next: the filter's end (analysis/beats/running_filter.h), the peaks
// that no later sample can change, with their heights and prominences, and the sums for the spread
// of the settled samples. Thresholds and scores look at the whole recording and are taken anew each
// time, over the kept peaks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "analysis/beats/beat_selection.h"
#include "analysis/beats/running_filter.h"

namespace tvn {

class RunningBeats {
 public:
  // As for `detect_rr_intervals` (analysis/beats/r_peaks.h); fs from 8 to 5,000 samples per second.
  RunningBeats(int32_t max_heart_rate_bpm, double fs);

  // detect_rr_intervals(ecg, max_heart_rate_bpm, fs), to the bit. Calls are quick for an `ecg` that
  // begins with that of the call before (the caller sees to that) and goes on from there; a shorter
  // one starts over. Cost: linear in the new samples, and some 50 ns for each second before them;
  // where the filter does not settle (running_filter.h), that of detect_rr_intervals. Memory: some
  // 200 bytes for each second.
  std::vector<double> rr_intervals(std::span<const double> ecg);

  // How many of the last filtered samples are kept: no more, as the recording grows, than peaks and
  // prominences near the end need.
  std::size_t samples_kept() const { return filter_.samples().size(); }

 private:
  // The maxima of the filtered signal, or of its negation.
  struct Polarity {
    double sign;
    std::vector<int32_t> undecided{};  // they may yet fall to a higher one near by
    RatedPeaks peaks{};                // without any that has a higher one near by
    std::size_t decided = 0;           // so many of `peaks` stay
  };

  void start_over();
  bool work_through(std::span<const double> ecg);
  bool advance(std::span<const double> ecg);
  std::size_t last_settled_step() const;
  void rate(Polarity& polarity, std::span<const int32_t> maxima, std::size_t decided_to);
  void forget();
  std::vector<double> intervals(std::span<const double> ecg) const;

  double min_distance_, fs_;
  int32_t max_heart_rate_bpm_;
  int64_t reach_;  // of prominences, in samples
  RunningFilter filter_;
  std::size_t retry_at_ = 0;  // with fewer samples than this, nothing is kept
  std::array<Polarity, 2> polarities_;
  std::size_t decided_to_ = 0;  // all maxima and minima up to this sample are known
  SpreadSums sums_;             // of the first summed_ samples
  std::size_t summed_ = 0;
};

}  // namespace tvn
