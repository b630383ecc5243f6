// Single rows of the time-frequency representation as its definition gives them: the whole of
// compute_tfr takes half a minute for a recording of a few minutes, a row a tenth of a second.
#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace tvn::plain {

class TfrRows {
 public:
  TfrRows(std::size_t n_samples, std::span<const double> rr_seconds, double cycle_seconds,
          double fs);

  // Power at every sample, for a wavelet of n_cycles at freq Hz.
  std::vector<double> row(double freq, double n_cycles) const;

  const std::vector<double>& signal() const { return signal_; }

 private:
  double fs_;
  std::vector<double> signal_;
  std::size_t before_, n_padded_;
  std::vector<std::complex<double>> spectrum_;
};

// The samples of one of the recordings in assets/, at most n of them.
std::vector<double> read_sample(const char* name, std::size_t n);

}  // namespace tvn::plain
