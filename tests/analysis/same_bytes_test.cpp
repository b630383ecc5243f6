// The same recording must give the same bytes from every compiler, at every optimisation level and
// on every machine. The builds of this project (gcc, clang, with and without sanitizers) all have
// to reach the one value below. It speaks of what needs no sine: filter, RR intervals, heart rate.
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>

#include "analysis/beats/ecg_filter.h"
#include "analysis/beats/r_peaks.h"
#include "analysis/rhythm/hr_series.h"
#include "tests/analysis/reference_data.h"

namespace tvn {
namespace {

// FNV-1a (Fowler, Noll and Vo) over the bytes of the values, lowest byte first.
class Hash {
 public:
  void add(const std::vector<double>& values) {
    for (const double value : values) {
      for (auto bits = std::bit_cast<std::uint64_t>(value), i = std::uint64_t{0}; i < 8; ++i) {
        hash_ = (hash_ ^ (bits >> (8 * i) & 0xFF)) * 0x100000001B3u;
      }
    }
  }
  std::uint64_t value() const { return hash_; }

 private:
  std::uint64_t hash_ = 0xCBF29CE484222325u;
};

TEST(SameBytes, EverywhereForTheReferenceRecordings) {
  Hash hash;
  for (const char* name : {"clean", "noisy", "inverted", "clipped", "gappy", "noise_only"}) {
    const std::vector<double> ecg = reference::read(name)["ecg"];
    ASSERT_FALSE(ecg.empty());
    const std::vector<double> rr = detect_rr_intervals(ecg, 300, 130);
    hash.add(bandpass_filtfilt(ecg));
    hash.add(rr);
    hash.add(build_hr_series(ecg, rr, 130));
  }
  // What the plain transcriptions of the definitions give (tests/analysis/plain_forms.h), by gcc
  // and by clang, without and with optimisation.
  EXPECT_EQ(hash.value(), 0xAEEECA73DAA1F1F0u);
}

}  // namespace
}  // namespace tvn
