#include "tests/analysis/tfr/plain_tfr.h"

#include <fstream>
#include <stdexcept>
#include <string>

#include "analysis/tfr/definition.h"
#include "analysis/tfr/signal.h"

namespace tvn::plain {

TfrRows::TfrRows(std::size_t n_samples, std::span<const double> rr_seconds, double cycle_seconds,
                 double fs)
    : fs_(fs), signal_(tfr_signal(n_samples, rr_seconds, fs)) {
  const std::vector<std::size_t> boundaries = cycle_boundaries(n_samples, cycle_seconds, fs);
  before_ = 50 * tfr_head_length(n_samples, boundaries);
  const std::vector<double> padded =
      prolong_by_cycles(signal_, boundaries, before_, 50 * tfr_tail_length(n_samples, boundaries));
  n_padded_ = padded.size();
  std::size_t n_fft = 2;
  while (n_fft < n_padded_ + make_morlet(fs, 0.02, 10).size() - 1) n_fft *= 2;
  spectrum_.assign(padded.begin(), padded.end());
  spectrum_.resize(n_fft);
  fft_in_place(spectrum_, false);
}

std::vector<double> TfrRows::row(double freq, double n_cycles) const {
  const std::vector<double> power =
      wavelet_power(spectrum_, n_padded_, make_morlet(fs_, freq, n_cycles), spectrum_.size());
  const auto from = power.begin() + static_cast<std::ptrdiff_t>(before_);
  return {from, from + static_cast<std::ptrdiff_t>(signal_.size())};
}

std::vector<double> read_sample(const char* name, std::size_t n) {
  const std::string path = std::string(TVN_SOURCE_DIR) + "/assets/" + name;
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot open " + path);
  std::vector<double> ecg;
  for (double value = 0; ecg.size() < n && file >> value;) ecg.push_back(value);
  return ecg;
}

}  // namespace tvn::plain
