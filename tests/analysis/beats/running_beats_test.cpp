// Whatever the pieces in which a recording comes, its intervals are those of the whole, to the bit.
// TVN_LONG=1 in the environment: recordings of up to 8 h and many more pieces.

#include "analysis/beats/running_beats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "analysis/beats/r_peaks.h"
#include "analysis/beats/running_filter.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

constexpr int32_t k_max_bpm = 300;
constexpr double k_fs = 130;

const bool k_long = std::getenv("TVN_LONG") != nullptr;

std::vector<std::uint64_t> bits(std::span<const double> values) {
  std::vector<std::uint64_t> result;
  for (const double value : values) result.push_back(std::bit_cast<std::uint64_t>(value));
  return result;
}

using Signal = std::function<void(std::vector<double>&, synthetic::Noise&)>;

struct Kind {
  std::string name;
  Signal change;  // of a clean recording
};

void blank(std::vector<double>& ecg, std::size_t from, std::size_t count, double value) {
  from = std::min(from, ecg.size());
  std::fill_n(ecg.begin() + static_cast<std::ptrdiff_t>(from), std::min(count, ecg.size() - from),
              value);
}

std::vector<Kind> kinds() {
  const auto each = [](std::function<double(double, synthetic::Noise&)> change) -> Signal {
    return [change](std::vector<double>& ecg, synthetic::Noise& noise) {
      for (double& value : ecg) value = change(value, noise);
    };
  };
  return {
      {"clean", [](auto&, auto&) {}},
      {"whole numbers", each([](double v, auto&) { return std::round(v); })},
      {"noisy", each([](double v, auto& noise) { return v + 400 * noise.normal(); })},
      {"noise alone", each([](double, auto& noise) { return 100 * noise.normal(); })},
      {"inverted", each([](double v, auto&) { return -v; })},
      {"clipped", each([](double v, auto&) { return std::clamp(v, -150.0, 400.0); })},
      {"coarse", each([](double v, auto&) { return std::round(v / 200) * 200; })},
      {"zero", each([](double, auto&) { return 0.0; })},
      {"constant", each([](double, auto&) { return -317.25; })},
      {"wild", each([](double, auto& noise) {
         return (noise.uniform() - 0.5) * std::pow(10.0, 40 * noise.uniform() - 20);
       })},
      {"gappy",
       [](auto& ecg, auto& noise) {
         for (std::size_t i = 3000; i < ecg.size(); i += 6000) {
           blank(ecg, i, 100 + noise.bits() % 3000, noise.bits() % 2 == 0 ? 0 : ecg[i]);
         }
       }},
      {"off after a third", [](auto& ecg, auto&) { blank(ecg, ecg.size() / 3, ecg.size(), 0); }},
      {"stuck after a third",
       [](auto& ecg, auto&) { blank(ecg, ecg.size() / 3, ecg.size(), 2345); }},
      {"square wave",
       [](auto& ecg, auto&) {
         for (std::size_t i = 0; i < ecg.size(); ++i) ecg[i] = i / 64 % 2 == 0 ? 500 : -500;
       }},
      {"one artefact", [](auto& ecg, auto&) { blank(ecg, ecg.size() / 2, 130, 5000); }},
      {"late not a number",
       [](auto& ecg, auto&) {
         blank(ecg, ecg.size() * 3 / 4, 1, std::numeric_limits<double>::quiet_NaN());
       }},
  };
}

std::vector<double> recording(const Kind& kind, double seconds, std::uint64_t seed) {
  std::vector<double> ecg = synthetic::make_ecg({.seconds = seconds, .seed = seed});
  synthetic::Noise noise(seed + 1000);
  kind.change(ecg, noise);
  return ecg;
}

// From one sample to minutes, small ones as often as large ones.
std::size_t piece(synthetic::Noise& noise, double longest) {
  return static_cast<std::size_t>(std::exp(noise.uniform() * std::log(longest)));
}

void expect_same(RunningBeats& beats, std::span<const double> ecg, int32_t max_bpm = k_max_bpm,
                 double fs = k_fs) {
  ASSERT_EQ(bits(beats.rr_intervals(ecg)), bits(detect_rr_intervals(ecg, max_bpm, fs)))
      << ecg.size() << " samples";
}

TEST(RunningBeats, AppendingInPiecesGivesTheIntervalsOfTheWhole) {
  for (const Kind& kind : kinds()) {
    SCOPED_TRACE(kind.name);
    for (std::uint64_t seed = 1; seed <= (k_long ? 20 : 2); ++seed) {
      const std::vector<double> ecg = recording(kind, k_long ? 900 : 240, seed);
      RunningBeats beats(k_max_bpm, k_fs);
      synthetic::Noise noise(seed);
      for (std::size_t n = 0; n < ecg.size();) {
        n = std::min(ecg.size(), n + piece(noise, 8000));
        ASSERT_NO_FATAL_FAILURE(expect_same(beats, std::span(ecg).first(n)));
      }
    }
  }
}

TEST(RunningBeats, EveryLengthUpTo2000AndAroundTheFirstThatIsKept) {
  for (const Kind& kind : kinds()) {
    SCOPED_TRACE(kind.name);
    const std::vector<double> ecg = recording(kind, 130, 7);
    RunningBeats beats(k_max_bpm, k_fs);
    const std::size_t step = k_long ? 1 : 7;
    for (std::size_t n = 0; n <= 2000; n += step) {
      ASSERT_NO_FATAL_FAILURE(expect_same(beats, std::span(ecg).first(n)));
    }
    for (std::size_t n = 8180; n <= 8240; ++n) {
      ASSERT_NO_FATAL_FAILURE(expect_same(beats, std::span(ecg).first(n)));
    }
    for (std::size_t n = 12000; n < 12000 + 2000 / step; ++n) {
      ASSERT_NO_FATAL_FAILURE(expect_same(beats, std::span(ecg).first(n)));
    }
  }
}

// Longer than the pieces in which a recording that comes at once is worked on.
TEST(RunningBeats, LongRecordingsAtOnceAndBySeconds) {
  for (const Kind& kind : kinds()) {
    SCOPED_TRACE(kind.name);
    const std::vector<double> ecg = recording(kind, k_long ? 28'800 : 4200, 3);
    RunningBeats beats(k_max_bpm, k_fs);
    ASSERT_NO_FATAL_FAILURE(expect_same(beats, std::span(ecg).first(ecg.size() - 10 * 130)));
    for (std::size_t rest = 10; rest-- > 0;) {
      ASSERT_NO_FATAL_FAILURE(expect_same(beats, std::span(ecg).first(ecg.size() - rest * 130)));
    }
  }
}

TEST(RunningBeats, AShorterRecordingStartsOver) {
  const std::vector<double> ecg = synthetic::make_ecg(200);
  RunningBeats beats(k_max_bpm, k_fs);
  for (const std::size_t n : {26'000u, 13'000u, 14'000u, 9'000u, 500u, 26'000u}) {
    ASSERT_NO_FATAL_FAILURE(expect_same(beats, std::span(ecg).first(n)));
  }
}

// Distances between peaks below and far above the reach of prominences, or without a limit.
TEST(RunningBeats, OtherHeartRatesAndSampleRates) {
  const std::vector<double> ecg = recording(kinds()[2], 150, 5);
  for (const int32_t max_bpm : {2000, 900, 40, 1, 0, -60}) {
    for (const double fs : {130.0, 250.0, 1000.0}) {
      SCOPED_TRACE(std::to_string(max_bpm) + " per minute at " + std::to_string(fs));
      RunningBeats beats(max_bpm, fs);
      synthetic::Noise noise(11);
      for (std::size_t n = 8000; n < ecg.size();) {
        n = std::min(ecg.size(), n + piece(noise, 600));
        ASSERT_NO_FATAL_FAILURE(expect_same(beats, std::span(ecg).first(n), max_bpm, fs));
      }
    }
  }
}

// That the quick way is taken at all: on usual recordings the filter settles.
TEST(RunningFilter, KeepsNothingButTheEndOfAUsualRecording) {
  const std::vector<double> ecg = synthetic::make_ecg(300);
  RunningFilter filter;
  for (std::size_t n = 130; n <= ecg.size(); n += 130) {
    ASSERT_TRUE(filter.advance(std::span(ecg).first(n))) << n;
    filter.forget_before(filter.settled());
  }
  EXPECT_GT(filter.from(), ecg.size() - 2200);
}

TEST(RunningBeats, KeepsNothingButTheEndOfAUsualRecording) {
  const std::vector<double> ecg = synthetic::make_ecg(300);
  RunningBeats beats(k_max_bpm, k_fs);
  for (std::size_t n = 100 * 130; n <= ecg.size(); n += 130) {
    beats.rr_intervals(std::span(ecg).first(n));
    ASSERT_GT(beats.samples_kept(), 0u) << n;
    ASSERT_LT(beats.samples_kept(), 2400u) << n;
  }
}

}  // namespace
}  // namespace tvn
