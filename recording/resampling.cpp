#include "recording/resampling.h"

#include <cmath>
#include <cstddef>

#include "recording/raw_ecg.h"

namespace tvn {
namespace {

constexpr double k_target_rate = 130.0;
constexpr auto k_most_samples = static_cast<double>(k_longest_recording);

}  // namespace

std::vector<double> resample_to_130(std::vector<double> samples, double rate) {
  const auto count = static_cast<double>(samples.size());
  if (!(rate > 0.0) || samples.size() < 2 || std::abs(rate - k_target_rate) < 0.5) return samples;
  const double wanted = std::round(count / rate * k_target_rate);
  if (!(wanted > 1.0 && wanted <= k_most_samples)) return samples;
  std::vector<double> resampled(static_cast<std::size_t>(wanted));
  for (std::size_t i = 0; i < resampled.size(); ++i) {
    const double position = static_cast<double>(i) / k_target_rate * rate;
    const double whole = std::trunc(position);
    if (whole + 1.0 < count) {
      const auto k = static_cast<std::size_t>(whole);
      const double fraction = position - whole;
      resampled[i] = samples[k] * (1.0 - fraction) + samples[k + 1] * fraction;
    } else {
      resampled[i] = samples.back();
    }
  }
  return resampled;
}

}  // namespace tvn
