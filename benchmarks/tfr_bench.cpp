// The numbers of the time-frequency pictures, by the definition and by the fast path. The argument
// is the length in seconds. The fast path's row for 257 s carries what it differs from the plain
// form by, measured in the same run, and how many times faster it was:
//   worst       largest relative difference of a picture's value
//   beyond_1e-6 how many of the `values` differ by more than 1e-6
//   log_power   largest difference of a cycle's log power
//   bytes       how many bytes of the two images differ, of `image_bytes`
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <map>
#include <vector>

#include "analysis/beats/r_peaks.h"
#include "analysis/tfr/definition.h"
#include "analysis/tfr/fast.h"
#include "analysis/tfr/image.h"
#include "tests/analysis/synthetic_ecg.h"

namespace {

constexpr double k_fs = 130;
constexpr double k_cycle_seconds = 16;
constexpr int64_t k_compared_seconds = 257;

struct Recording {
  std::vector<double> ecg, rr;
};

const Recording& recording(int64_t seconds) {
  static std::map<int64_t, Recording> recordings;
  Recording& made = recordings[seconds];
  if (made.ecg.empty()) {
    made.ecg = tvn::synthetic::make_ecg({.seconds = static_cast<double>(seconds)});
    made.rr = tvn::detect_rr_intervals(made.ecg, 300, k_fs);
  }
  return made;
}

struct PlainRun {
  tvn::TfrResult result;
  double seconds = 0;
};

// Half a minute: run once for both benchmarks.
const PlainRun& plain_run() {
  static const PlainRun run = [] {
    const Recording& input = recording(k_compared_seconds);
    PlainRun made;
    const auto start = std::chrono::steady_clock::now();
    made.result = tvn::compute_tfr(input.ecg, input.rr, k_cycle_seconds, k_fs);
    made.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return made;
  }();
  return run;
}

void BM_TfrPlain(benchmark::State& state) {
  for (auto _ : state) state.SetIterationTime(plain_run().seconds);
}
BENCHMARK(BM_TfrPlain)
    ->Arg(k_compared_seconds)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

struct ByteCount {
  double differing = 0, all = 0;
};

struct Scale {
  double centre, half_range;
};

// Each with its own colour scale.
void compare_images(const tvn::TfrPicture& fast, Scale fast_scale, const std::vector<float>& matrix,
                    Scale scale, const tvn::TfrResult& plain, ByteCount& count) {
  tvn::TfrImageSettings settings;
  settings.expected_row = plain.expected_row;
  settings.centre = fast_scale.centre;
  settings.half_range = fast_scale.half_range;
  const auto cols = static_cast<std::size_t>(plain.cols);
  const tvn::RgbImage a = tvn::render_tfr_picture(fast, cols, settings);
  settings.centre = scale.centre;
  settings.half_range = scale.half_range;
  const tvn::RgbImage b = tvn::render_tfr_image(matrix, fast.rows, cols, settings);
  for (std::size_t i = 0; i < b.pixels.size(); ++i) count.differing += a.pixels[i] != b.pixels[i];
  count.all += static_cast<double>(b.pixels.size());
}

void compare(benchmark::State& state, const tvn::TfrPictures& fast, const tvn::TfrResult& plain) {
  double worst = 0, beyond = 0, log_power = 0;
  const auto n_columns = static_cast<std::size_t>(plain.cols);
  const auto add = [&](const tvn::TfrPicture& picture, const std::vector<float>& matrix) {
    for (std::size_t row = 0; row < picture.rows; ++row) {
      for (std::size_t x = 0; x < picture.width; ++x) {
        const std::size_t column = tvn::tfr_matrix_column(x, picture.width, n_columns);
        const double wanted = static_cast<double>(matrix[row * n_columns + column]);
        const double got = static_cast<double>(picture.values[row * picture.width + x]);
        const double difference = std::fabs(got - wanted) / wanted;
        worst = std::max(worst, difference);
        if (!(difference <= 1e-6)) ++beyond;
      }
    }
  };
  add(fast.tfr3, plain.tfr3);
  add(fast.tfr10, plain.tfr10);
  for (std::size_t k = 0; k < plain.cycle_log_power.size(); ++k) {
    log_power = std::max(log_power, std::fabs(fast.cycle_log_power[k] - plain.cycle_log_power[k]));
  }
  ByteCount bytes;
  compare_images(fast.tfr3, {fast.tfr3_centre, fast.tfr3_half_range}, plain.tfr3,
                 {plain.tfr3_centre, plain.tfr3_half_range}, plain, bytes);
  compare_images(fast.tfr10, {fast.tfr10_centre, fast.tfr10_half_range}, plain.tfr10,
                 {plain.tfr10_centre, plain.tfr10_half_range}, plain, bytes);
  state.counters["bytes"] = bytes.differing;
  state.counters["image_bytes"] = bytes.all;
  state.counters["worst"] = worst;
  state.counters["beyond_1e-6"] = beyond;
  state.counters["values"] = static_cast<double>(2 * fast.tfr3.values.size());
  state.counters["log_power"] = log_power;
}

void BM_TfrFast(benchmark::State& state) {
  const Recording& input = recording(state.range(0));
  tvn::TfrPictures pictures;
  double total = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    pictures = tvn::compute_tfr_pictures(input.ecg.size(), input.rr, k_cycle_seconds, k_fs);
    const auto taken = std::chrono::steady_clock::now() - start;
    total += std::chrono::duration<double>(taken).count();
    state.SetIterationTime(std::chrono::duration<double>(taken).count());
  }
  if (state.range(0) != k_compared_seconds) return;
  compare(state, pictures, plain_run().result);
  state.counters["ratio"] = plain_run().seconds * static_cast<double>(state.iterations()) / total;
}
BENCHMARK(BM_TfrFast)
    ->Arg(k_compared_seconds)
    ->Arg(1200)
    ->Arg(3600)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
