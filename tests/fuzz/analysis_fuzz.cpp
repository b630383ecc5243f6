// Any doubles as an ECG: the fast forms of the analysis against the plain transcriptions of their
// definitions, and nothing but numbers, emptiness or NaN out of it. The first byte chooses the
// cycle.
#include <cmath>
#include <cstdlib>

#include "analysis/beats/r_peaks.h"
#include "analysis/rhythm/hr_series.h"
#include "analysis/rhythm/tvn_series.h"
#include "analysis/tfr/fast.h"
#include "tests/analysis/plain_forms.h"
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
  return 0;
}
