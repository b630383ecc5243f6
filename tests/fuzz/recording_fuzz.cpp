// Any bytes as a recording: the readers, the resampler and the analysis of what they give.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "analysis/beats/r_peaks.h"
#include "analysis/rhythm/hr_series.h"
#include "analysis/rhythm/tvn_series.h"
#include "recording/raw_ecg.h"
#include "recording/resampling.h"
#include "recording/rr_export.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  tvn::looks_like_kubios(text);
  const auto intervals = tvn::parse_kubios_rr(text);
  const auto ecg = tvn::resample_to_130(tvn::parse_raw_ecg(text), size % 7 == 0 ? 360.0 : 99.0);
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
