#include "analysis/beats/running_filter.h"

#include <algorithm>

#include "analysis/beats/filter_ends.h"

namespace tvn {
namespace {

// How far before the end results count as settled; several times what the states need to agree.
constexpr std::size_t k_unsettled = 2048;

}  // namespace

bool RunningFilter::advance(std::span<const double> ecg) {
  const std::size_t n = ecg.size();
  if (count_ == 0) forward_state_ = state_before_first(ecg);
  forward_.resize(n - from_);
  filtered_.resize(n - from_);
  run_fast(ecg.data() + count_, forward_.data() + (count_ - from_), n - count_, Direction::forward,
           forward_state_);
  count_ = n;

  CascadeState state = state_behind_last(ecg, forward_state_, forward_.back());
  const auto run_back = [&](std::size_t begin, std::size_t end) {
    run_fast(forward_.data() + (begin - from_), filtered_.data() + (begin - from_), end - begin,
             Direction::backward, state);
  };
  const std::size_t next = std::max(settled_, n - std::min(n, k_unsettled));
  run_back(next, n);
  const CascadeState next_state = state;
  run_back(settled_, next);
  if (settled_ > 0 && !same_bits(state, settled_state_)) return false;
  settled_ = next;
  settled_state_ = next_state;
  return true;
}

void RunningFilter::forget_before(std::size_t sample) {
  const auto count = static_cast<std::ptrdiff_t>(std::min(sample, settled_) - from_);
  forward_.erase(forward_.begin(), forward_.begin() + count);
  filtered_.erase(filtered_.begin(), filtered_.begin() + count);
  from_ += static_cast<std::size_t>(count);
}

}  // namespace tvn
