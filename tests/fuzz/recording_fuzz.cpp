// Any bytes as a recording: the readers, the resampler and the analysis of what they give.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <string_view>
#include <vector>

#include "analysis/beats/r_peaks.h"
#include "analysis/rhythm/hr_series.h"
#include "analysis/rhythm/tvn_series.h"
#include "recording/raw_ecg.h"
#include "recording/resampling.h"
#include "recording/rr_export.h"

namespace {

// Of any rate: the same samples, or as many as the recording's length has at 130 Hz, none beyond
// what was read.
void check_resampling(const std::vector<double>& samples, std::size_t choice) {
  constexpr double k_rates[] = {360,
                                0.0131,
                                0,
                                -5,
                                1e-300,
                                1e300,
                                129.6,
                                130.4,
                                250,
                                1000,
                                20000,
                                20.0,
                                std::numeric_limits<double>::quiet_NaN(),
                                std::numeric_limits<double>::infinity()};
  const double rate = k_rates[choice % std::size(k_rates)];
  const std::vector<double> result = tvn::resample_to_130(samples, rate);
  if (result == samples) return;
  const double expected = std::round(static_cast<double>(samples.size()) / rate * 130);
  if (static_cast<double>(result.size()) != expected) std::abort();
  const auto [low, high] = std::minmax_element(samples.begin(), samples.end());
  for (const double value : result) {
    const double margin = 1e-9 * (std::fabs(*low) + std::fabs(*high));
    if (!(value >= *low - margin && value <= *high + margin)) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  tvn::looks_like_kubios(text);
  const auto intervals = tvn::parse_kubios_rr(text);
  const auto read = tvn::parse_raw_ecg(text);
  check_resampling(read, size);
  const auto ecg = tvn::resample_to_130(read, size % 7 == 0 ? 360.0 : 99.0);
  const auto rr = tvn::detect_rr_intervals(ecg, 300, 130.0);
  for (const auto& series : {rr, intervals}) {
    const auto hr = tvn::build_hr_series(ecg, series, 130.0);
    const auto tvn_values =
        tvn::compute_tvn_series(series, static_cast<std::int32_t>(ecg.size()), 2,
                                0.1 * static_cast<double>(1 + size % 50), 130.0, 0.1);
    for (const double value : tvn_values) {
      if (value < -1.0 || value > 1.0) std::abort();
    }
    if (!tvn_values.empty() && hr.size() != tvn_values.size() && !series.empty()) std::abort();
  }
  return 0;
}
