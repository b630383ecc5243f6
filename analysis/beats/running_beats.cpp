#include "analysis/beats/running_beats.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "analysis/beats/ecg_filter.h"
#include "analysis/beats/peak_distance.h"
#include "analysis/beats/peaks.h"
#include "analysis/beats/r_peaks.h"

namespace tvn {
namespace {

// A shorter recording costs next to nothing, and its ends lie close together.
constexpr std::size_t k_fewest_samples = 8192;
// A long recording that comes at once is worked on in pieces, so that it needs no memory.
constexpr std::size_t k_piece = std::size_t{1} << 18;
// Sample indices have 32 bits.
constexpr std::size_t k_most_samples = std::numeric_limits<int32_t>::max();
// After the filter did not settle, this share of the recording is waited for before the next try.
constexpr std::size_t k_retry_share = 8;

void shorten(RatedPeaks& peaks, std::size_t count) {
  peaks.positions.resize(count);
  peaks.heights.resize(count);
  peaks.prominences.resize(count);
}

}  // namespace

RunningBeats::RunningBeats(int32_t max_heart_rate_bpm, double fs)
    : min_distance_(std::floor(fs * 60 / max_heart_rate_bpm)),
      fs_(fs),
      max_heart_rate_bpm_(max_heart_rate_bpm),
      reach_(prominence_reach(k_fewest_samples, fs)) {
  start_over();
}

void RunningBeats::start_over() {
  filter_ = {};
  decided_to_ = summed_ = 0;
  polarities_ = {Polarity{.sign = 1}, Polarity{.sign = -1}};
  sums_ = {};
}

std::vector<double> RunningBeats::rr_intervals(std::span<const double> ecg) {
  if (ecg.size() < filter_.count()) {
    start_over();
    retry_at_ = 0;
  }
  if (ecg.size() < std::max(k_fewest_samples, retry_at_) || ecg.size() > k_most_samples) {
    return detect_rr_intervals(ecg, max_heart_rate_bpm_, fs_);
  }
  if (!work_through(ecg)) {
    start_over();
    retry_at_ = ecg.size() + ecg.size() / k_retry_share;
    return detect_rr_intervals(ecg, max_heart_rate_bpm_, fs_);
  }
  return intervals(ecg);
}

bool RunningBeats::work_through(std::span<const double> ecg) {
  try {
    do {
      if (!advance(ecg.first(std::min(ecg.size(), filter_.count() + k_piece)))) return false;
    } while (filter_.count() < ecg.size());
    return true;
  } catch (...) {  // what is kept may be half of an old call's and half of this one's
    start_over();
    throw;
  }
}

bool RunningBeats::advance(std::span<const double> ecg) {
  if (!filter_.advance(ecg)) return false;
  const auto filtered = filter_.samples();
  const Extrema extrema = local_extrema(filtered.subspan(decided_to_ - filter_.from()));
  const std::size_t decided_to = last_settled_step();
  rate(polarities_[0], extrema.maxima, decided_to);
  rate(polarities_[1], extrema.minima, decided_to);
  decided_to_ = decided_to;

  const std::size_t whole = filter_.settled() / SpreadSums::k_sums * SpreadSums::k_sums;
  sums_.add(filtered.subspan(summed_ - filter_.from(), whole - summed_));
  summed_ = whole;
  forget();
  return true;
}

// The last settled sample that the next settled one differs from: no plateau goes on beyond it, so
// what is a maximum up to there is known, and looking for more can begin there.
std::size_t RunningBeats::last_settled_step() const {
  const auto filtered = filter_.samples();
  std::size_t at = filter_.settled();
  while (at >= decided_to_ + 2) {
    --at;
    const double here = filtered[at - 1 - filter_.from()];
    if (here < filtered[at - filter_.from()] || here > filtered[at - filter_.from()]) return at - 1;
  }
  return decided_to_;
}

// maxima: those of the samples from decided_to_ on, counted from there.
void RunningBeats::rate(Polarity& polarity, std::span<const int32_t> maxima,
                        std::size_t decided_to) {
  const auto filtered = filter_.samples();
  const auto from = static_cast<int32_t>(filter_.from());
  std::vector<int32_t> candidates;
  candidates.reserve(polarity.undecided.size() + maxima.size());
  for (const int32_t position : polarity.undecided) candidates.push_back(position - from);
  const auto shift = static_cast<int32_t>(decided_to_) - from;
  for (const int32_t position : maxima) candidates.push_back(position + shift);
  std::vector<double> heights;
  heights.reserve(candidates.size());
  for (const int32_t i : candidates) {
    heights.push_back(polarity.sign * filtered[static_cast<std::size_t>(i)]);
  }
  // A peak whose prominence the next call could still change is not decided either.
  const int64_t complete_to = static_cast<int64_t>(decided_to) + 1 - reach_ - from;
  const GrowingSuppression found =
      suppress_growing_peaks(candidates, heights, min_distance_, complete_to);

  shorten(polarity.peaks, polarity.decided);
  append_rated(polarity.peaks, filtered, from, polarity.sign, found.kept, reach_);
  polarity.decided += found.decided_kept;
  polarity.undecided.clear();
  for (std::size_t i = found.decided_peaks; i < candidates.size(); ++i) {
    const int32_t position = candidates[i] + from;
    if (position <= static_cast<int64_t>(decided_to)) polarity.undecided.push_back(position);
  }
}

void RunningBeats::forget() {
  int64_t needed = static_cast<int64_t>(decided_to_);
  for (const Polarity& polarity : polarities_) {
    if (!polarity.undecided.empty()) needed = std::min<int64_t>(needed, polarity.undecided.front());
  }
  needed = std::min(needed - reach_, static_cast<int64_t>(summed_));
  filter_.forget_before(static_cast<std::size_t>(std::max<int64_t>(needed, 0)));
}

std::vector<double> RunningBeats::intervals(std::span<const double> ecg) const {
  const auto exact = [&] { return spread_of(bandpass_filtfilt(ecg)); };
  SpreadSums sums = sums_;
  sums.add(filter_.samples().subspan(summed_ - filter_.from()));
  const std::optional<Spread> found = sums.spread();
  const Spread spread = found ? *found : exact();
  std::array<std::vector<int32_t>, 2> beats;
  for (std::size_t i = 0; i < beats.size(); ++i) {
    beats[i] = select_beats(polarities_[i].peaks, polarities_[i].sign, filter_.count(), fs_, spread,
                            exact);
  }
  return better_intervals(beats[0], beats[1], fs_);
}

}  // namespace tvn
