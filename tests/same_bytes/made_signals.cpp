#include "tests/same_bytes/made_signals.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

constexpr double k_rate = 130;
constexpr double k_cycle_seconds = 16;
constexpr std::size_t k_samples = 39000;

struct Wave {
  double microvolts, offset, reach;  // seconds from the R peak; half the width at the foot
};
constexpr std::array<Wave, 5> k_waves = {{{120, -0.17, 0.06},
                                          {-110, -0.03, 0.02},
                                          {1150, 0, 0.025},
                                          {-240, 0.03, 0.025},
                                          {290, 0.26, 0.12}}};

// A wave of period 1 between -1 and 1, made of two parabolas.
double swing(double phase) {
  const double x = 2 * (phase - std::floor(phase)) - 1;
  return 4 * x * (1 - std::fabs(x));
}

void add_beat(std::vector<double>& ecg, double beat) {
  for (const Wave& wave : k_waves) {
    const double centre = (beat + wave.offset) * k_rate, reach = wave.reach * k_rate;
    const auto first = static_cast<std::size_t>(std::max(0.0, centre - reach));
    const auto end = static_cast<std::size_t>(centre + reach);
    for (std::size_t i = first; i < std::min(ecg.size(), end); ++i) {
      const double u = (static_cast<double>(i) - centre) / reach;
      const double within = std::max(0.0, 1 - u * u);
      ecg[i] += wave.microvolts * within * within;
    }
  }
}

std::vector<double> person(std::size_t samples, double noise_microvolts, std::uint64_t seed) {
  synthetic::Noise noise(seed);
  std::vector<double> ecg(samples);
  for (std::size_t i = 0; i < samples; ++i) {
    ecg[i] = 90 * swing(static_cast<double>(i) * 0.0016) + noise_microvolts * noise.normal();
  }
  const double seconds = static_cast<double>(samples) / k_rate;
  for (double beat = 0.4; beat < seconds;) {
    add_beat(ecg, beat);
    beat += 0.85 + 0.08 * swing(beat / k_cycle_seconds) + 0.02 * noise.normal();
  }
  return ecg;
}

// As a lost electrode leaves them: flat for seconds, again and again, and once for half a minute.
std::vector<double> with_gaps(std::vector<double> ecg) {
  for (std::size_t at = 2600; at + 6500 < ecg.size(); at += 5200) {
    const std::size_t length = at == 2600 + 3 * 5200 ? 3900 : 130 + at % 700;
    std::fill_n(ecg.begin() + static_cast<std::ptrdiff_t>(at), length, 0.0);
  }
  return ecg;
}

std::vector<double> clipped(std::vector<double> ecg) {
  for (double& sample : ecg) sample = std::clamp(sample, -150.0, 420.0);
  return ecg;
}

std::vector<double> upside_down(std::vector<double> ecg) {
  for (double& sample : ecg) sample = -sample;
  return ecg;
}

std::vector<double> noise_alone() {
  synthetic::Noise noise(9);
  std::vector<double> ecg(k_samples);
  for (double& sample : ecg) sample = 300 * noise.normal();
  return ecg;
}

}  // namespace

std::vector<MadeSignal> made_signals() {
  return {{"clean", person(k_samples + 37, 5, 1)},
          {"noisy", person(k_samples, 180, 2)},
          {"gappy", with_gaps(person(k_samples, 25, 3))},
          {"clipped", clipped(person(k_samples, 25, 4))},
          {"upside down", upside_down(person(k_samples, 25, 5))},
          {"noise alone", noise_alone()}};
}

}  // namespace tvn
