#include "analysis/tfr/definition.h"

#include <algorithm>
#include <cmath>

#include "analysis/tfr/scales.h"
#include "analysis/tfr/signal.h"

namespace tvn {
namespace {

constexpr double k_pi = 3.141592653589793;
constexpr double k_two_pi = 6.283185307179586;
constexpr double k_reach_in_sigmas = 5;
constexpr double k_inverse_sqrt2 = 0.7071067811865476;
// Points of a wavelet, per side, that no sensible request exceeds (a day at 1 kHz).
constexpr double k_max_wavelet_points = 1e8;

// 0, then the positive times in seconds, each the one before plus 1 / fs.
std::vector<double> times_from_zero(double fs, double end) {
  std::vector<double> times;
  for (double t = 0; t < end; t += 1 / fs) times.push_back(t);
  return times;
}

bool positive_and_finite(double value) {
  return value > 0 && std::isfinite(value);
}

struct Transformed {
  std::vector<std::complex<double>> spectrum;
  std::size_t n_signal;
};

Transformed transform(const std::vector<double>& signal, std::size_t longest_wavelet) {
  std::size_t n_fft = 2;
  while (n_fft < signal.size() + longest_wavelet - 1) n_fft *= 2;
  Transformed result{std::vector<std::complex<double>>(n_fft), signal.size()};
  std::copy(signal.begin(), signal.end(), result.spectrum.begin());
  fft_in_place(result.spectrum, false);
  return result;
}

}  // namespace

std::vector<std::complex<double>> make_morlet(double fs, double freq, double n_cycles) {
  const double sigma = n_cycles / (k_two_pi * freq);
  if (!positive_and_finite(fs) || !positive_and_finite(freq) || !positive_and_finite(n_cycles) ||
      !(k_reach_in_sigmas * sigma * fs < k_max_wavelet_points)) {
    return {};
  }
  const std::vector<double> times = times_from_zero(fs, k_reach_in_sigmas * sigma);
  const double scaled = freq * k_pi * sigma;
  const double correction = std::exp(-2 * (scaled * scaled));
  const std::size_t middle = times.size() - 1;
  std::vector<std::complex<double>> wavelet(2 * times.size() - 1);
  double energy = 0;
  for (std::size_t i = 0; i < wavelet.size(); ++i) {
    const double t = i > middle ? times[i - middle] : -times[middle - i];
    const double g = std::exp(-(t * t) / (2 * (sigma * sigma)));
    const double phase = k_two_pi * freq * t;
    wavelet[i] = {g * (std::cos(phase) - correction), g * std::sin(phase)};
    energy += std::norm(wavelet[i]);
  }
  const double divisor = std::sqrt(energy) * k_inverse_sqrt2;
  for (std::complex<double>& value : wavelet) value /= divisor;
  return wavelet;
}

void fft_in_place(std::span<std::complex<double>> data, bool inverse) {
  const std::size_t n = data.size();
  if (n < 2 || (n & (n - 1)) != 0) return;
  for (std::size_t i = 1, j = 0; i < n; ++i) {
    std::size_t bit = n / 2;
    for (; (j & bit) != 0; bit /= 2) j ^= bit;
    j ^= bit;
    if (i < j) std::swap(data[i], data[j]);
  }
  for (std::size_t length = 2; length <= n; length *= 2) {
    const double angle = (inverse ? k_two_pi : -k_two_pi) / static_cast<double>(length);
    const double step_re = std::cos(angle), step_im = std::sin(angle);
    for (std::size_t start = 0; start < n; start += length) {
      double re = 1, im = 0;
      for (std::size_t k = 0; k < length / 2; ++k) {
        std::complex<double>& low = data[start + k];
        std::complex<double>& high = data[start + k + length / 2];
        const std::complex<double> turned(high.real() * re - high.imag() * im,
                                          high.real() * im + high.imag() * re);
        high = low - turned;
        low += turned;
        const double next_re = re * step_re - im * step_im;
        im = re * step_im + im * step_re;
        re = next_re;
      }
    }
  }
  if (!inverse) return;
  for (std::complex<double>& value : data) value /= static_cast<double>(n);
}

std::vector<double> wavelet_power(std::span<const std::complex<double>> signal_spectrum,
                                  std::size_t n_signal,
                                  std::span<const std::complex<double>> wavelet,
                                  std::size_t n_fft) {
  std::vector<std::complex<double>> product(n_fft);
  std::copy(wavelet.begin(), wavelet.end(), product.begin());
  fft_in_place(product, false);
  for (std::size_t k = 0; k < n_fft; ++k) {
    const std::complex<double> a = product[k], b = signal_spectrum[k];
    product[k] = {a.real() * b.real() - a.imag() * b.imag(),
                  a.real() * b.imag() + a.imag() * b.real()};
  }
  fft_in_place(product, true);
  const std::size_t middle = (wavelet.size() - 1) / 2;
  std::vector<double> power(n_signal);
  for (std::size_t k = 0; k < n_signal; ++k) power[k] = std::norm(product[k + middle]);
  return power;
}

TfrResult compute_tfr(std::span<const double> ecg, std::span<const double> rr_seconds,
                      double cycle_seconds, double fs) {
  TfrResult result;
  if (!tfr_possible(ecg.size(), rr_seconds.size(), cycle_seconds, fs)) return result;
  const std::vector<std::size_t> boundaries = cycle_boundaries(ecg.size(), cycle_seconds, fs);
  const std::vector<double> signal = tfr_signal(ecg.size(), rr_seconds, fs);
  const std::size_t cols = signal.size();
  const std::size_t before = k_tfr_padding_rounds * tfr_head_length(cols, boundaries);
  const std::size_t after = k_tfr_padding_rounds * tfr_tail_length(cols, boundaries);
  const std::vector<double> frequencies = tfr_frequencies();
  const Transformed padded =
      transform(prolong_by_cycles(signal, boundaries, before, after),
                make_morlet(fs, frequencies.front(), k_tfr_long_cycles).size());

  const auto matrix = [&](double n_cycles) {
    std::vector<float> values(frequencies.size() * cols);
    for (std::size_t row = 0; row < frequencies.size(); ++row) {
      const std::vector<double> power =
          wavelet_power(padded.spectrum, padded.n_signal,
                        make_morlet(fs, frequencies[row], n_cycles), padded.spectrum.size());
      for (std::size_t t = 0; t < cols; ++t) {
        values[row * cols + t] = static_cast<float>(power[before + t]);
      }
    }
    return values;
  };
  result.rows = static_cast<int32_t>(frequencies.size());
  result.cols = static_cast<int32_t>(cols);
  result.tfr3 = matrix(k_tfr_short_cycles);
  result.tfr10 = matrix(k_tfr_long_cycles);
  result.expected_row = tfr_expected_row(frequencies, cycle_seconds);

  const std::size_t expected = static_cast<std::size_t>(result.expected_row) * cols;
  const std::span<const float> row3 = std::span(result.tfr3).subspan(expected, cols);
  const std::span<const float> row10 = std::span(result.tfr10).subspan(expected, cols);
  const TfrScale scale3 = tfr3_scale(row3), scale10 = tfr10_scale(row10);
  result.tfr3_centre = scale3.centre;
  result.tfr3_half_range = scale3.half_range;
  result.tfr10_centre = scale10.centre;
  result.tfr10_half_range = scale10.half_range;
  result.cycle_log_power = tfr_cycle_log_power(row10, boundaries);
  result.valid = true;
  return result;
}

}  // namespace tvn
