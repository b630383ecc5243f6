// Any doubles as an ECG: the fast forms of the analysis against the plain transcriptions of their
// definitions, and nothing but numbers, emptiness or NaN out of it. The first byte chooses the
// cycle.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "analysis/beats/r_peaks.h"
#include "analysis/rhythm/hr_series.h"
#include "analysis/rhythm/tvn_series.h"
#include "analysis/tfr/fast.h"
#include "analysis/tfr/rows.h"
#include "tests/analysis/plain_forms.h"
#include "tests/analysis/tfr/plain_tfr.h"
#include "tests/fuzz/wild_values.h"

namespace {

constexpr std::size_t k_most_samples = 6000;

bool same(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

void expect_near(const std::vector<double>& got, const std::vector<double>& wanted,
                 double tolerance) {
  if (got.size() != wanted.size()) std::abort();
  for (std::size_t i = 0; i < got.size(); ++i) {
    const double scale = std::fmax(std::fabs(wanted[i]), 1);
    if (!same(got[i], wanted[i]) && !(std::fabs(got[i] - wanted[i]) <= tolerance * scale)) {
      std::abort();
    }
  }
}

// One row of the picture against its definition, for intervals that a heart could have. The power
// has a floor far below the strongest one (analysis/tfr/fast.h).
void check_pictures(std::size_t n, const std::vector<double>& rr, double cycle) {
  const tvn::TfrPictures pictures = tvn::compute_tfr_pictures(n, rr, cycle, 130);
  if (!pictures.valid) return;
  const auto plausible = [](double interval) { return interval >= 0.3 && interval <= 2; };
  if (!std::all_of(rr.begin(), rr.end(), plausible)) return;
  const std::size_t row = 160, width = pictures.tfr3.width;
  const double frequency = tvn::tfr_frequencies()[row];
  const std::vector<double> power = tvn::plain::TfrRows(n, rr, cycle, 130).row(frequency, 3);
  const double strongest = *std::max_element(power.begin(), power.end());
  for (std::size_t x = 0; x < width; ++x) {
    const double wanted = power[tvn::tfr_matrix_column(x, width, n)];
    const double error =
        std::sqrt(static_cast<double>(pictures.tfr3.values[row * width + x])) - std::sqrt(wanted);
    if (!(std::fabs(error) <= 1e-5 * std::sqrt(wanted) + 1e-6 * std::sqrt(strongest))) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const double cycle = 0.5 + 0.1 * data[0];
  const std::vector<double> ecg = tvn::fuzz::wild_values({data + 1, size - 1}, k_most_samples);
  const std::vector<double> rr = tvn::detect_rr_intervals(ecg, 300, 130);
  expect_near(rr, tvn::plain::detect_rr_intervals(ecg, 300, 130), 0);
  expect_near(tvn::build_hr_series(ecg.size(), rr, 130),
              tvn::plain::build_hr_series(ecg.size(), rr, 130), 1e-12);
  const auto n = static_cast<std::int32_t>(ecg.size());
  expect_near(tvn::compute_tvn_series(rr, n, 2, cycle, 130, 0.1),
              tvn::plain::compute_tvn_series(rr, n, 2, cycle, 130, 0.1), 1e-8);
  // The samples once more, as intervals that no detection would give.
  std::vector<double> intervals(ecg.begin(),
                                ecg.begin() + static_cast<std::ptrdiff_t>(ecg.size() / 10));
  for (double& interval : intervals) interval /= 1000;
  tvn::compute_tvn_series(intervals, n, 2, cycle, 130, 0.1);
  if (data[0] % 32 == 0) tvn::compute_tfr_pictures(ecg.size(), intervals, cycle, 130);
  if (data[0] == 32) check_pictures(ecg.size(), rr, cycle);
  return 0;
}
