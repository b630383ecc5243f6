// A synthetic single-lead ECG for tests and benchmarks: the same samples on every machine.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tvn::synthetic {

// splitmix64 (Steele, Lea and Flood 2014): unlike the distributions of <random>, its values do not
// depend on the standard library.
class Noise {
 public:
  explicit Noise(uint64_t seed) : state_(seed) {}
  uint64_t bits() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  // Uniform in [0, 1).
  double uniform() { return static_cast<double>(bits() >> 11) * 0x1p-53; }
  // Near-normal with unit deviation: the sum of four uniform values, centred and scaled.
  double normal() {
    return (uniform() + uniform() + uniform() + uniform() - 2) * 1.7320508075688772;
  }

 private:
  uint64_t state_;
};

struct EcgSettings {
  double seconds = 300;
  double fs = 130;
  double noise_uv = 25;
  double cycle_seconds = 16;  // breathing; the RR intervals swing with it
  double mean_rr = 0.85;      // seconds
  double rr_swing = 0.08;     // seconds
  double rr_jitter = 0.02;    // seconds, from beat to beat
  double scale = 1;           // -1 turns the recording upside down
  uint64_t seed = 1;
};

// P, Q, R, S and T as Gaussians around each beat, in microvolts, with baseline wander and noise.
inline std::vector<double> make_ecg(const EcgSettings& settings) {
  struct Wave {
    double microvolts, offset, width;
  };
  constexpr Wave waves[] = {{120, -0.17, 0.025},
                            {-110, -0.03, 0.009},
                            {1150, 0, 0.011},
                            {-240, 0.03, 0.011},
                            {290, 0.26, 0.05}};
  constexpr double two_pi = 6.283185307179586;
  const auto n = static_cast<std::size_t>(settings.seconds * settings.fs);
  std::vector<double> ecg(n);
  Noise noise(settings.seed);
  for (std::size_t i = 0; i < n; ++i) {
    const double t = static_cast<double>(i) / settings.fs;
    ecg[i] = 90 * std::sin(two_pi * 0.21 * t) + settings.noise_uv * noise.normal();
  }
  for (double beat = 0.4; beat < settings.seconds;) {
    for (const Wave& wave : waves) {
      const double centre = (beat + wave.offset) * settings.fs, width = wave.width * settings.fs;
      const auto first = static_cast<std::ptrdiff_t>(std::fmax(0, centre - 5 * width));
      const auto last = static_cast<std::ptrdiff_t>(centre + 5 * width);
      for (std::ptrdiff_t i = first; i <= last && i < static_cast<std::ptrdiff_t>(n); ++i) {
        const double u = (static_cast<double>(i) - centre) / width;
        ecg[static_cast<std::size_t>(i)] += wave.microvolts * std::exp(-0.5 * u * u);
      }
    }
    beat += settings.mean_rr +
            settings.rr_swing * std::sin(two_pi * beat / settings.cycle_seconds) +
            settings.rr_jitter * noise.normal();
  }
  for (double& value : ecg) value *= settings.scale;
  return ecg;
}

// `seconds` of the usual settings.
inline std::vector<double> make_ecg(double seconds) {
  EcgSettings settings;
  settings.seconds = seconds;
  return make_ecg(settings);
}

}  // namespace tvn::synthetic
