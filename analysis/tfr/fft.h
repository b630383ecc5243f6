// A fast Fourier transform for many transforms of one length.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace tvn {

// Complex values as two sequences of equal length.
struct SplitComplex {
  std::vector<double> re, im;
};

// Radix 4 in Stockham's order, which needs a second buffer but no bit reversal (Van Loan,
// "Computational Frameworks for the Fast Fourier Transform", 1992, section 1.7).
class Fft {
 public:
  // n: a power of two from 8 on, or three times one from 24 on. n log n for the twiddle factors,
  // about 2 n doubles.
  explicit Fft(std::size_t n);

  std::size_t size() const { return n_; }

  // sum over k of data[k] exp(-2 pi i j k / n) in place of data[j].
  void forward(SplitComplex& data) { transform(data.im, data.re, scratch_.im, scratch_.re); }

  // sum over k of data[k] exp(+2 pi i j k / n), not divided by n.
  void backward(SplitComplex& data) { transform(data.re, data.im, scratch_.re, scratch_.im); }

 private:
  // exp(i a), exp(2 i a) and exp(3 i a) for the angles of one pass: {re, im} of each.
  using Twiddles = std::array<std::vector<double>, 6>;
  using Sequence = std::vector<double>;

  void transform(Sequence& re, Sequence& im, Sequence& scratch_re, Sequence& scratch_im);

  std::size_t n_;
  std::vector<Twiddles> passes_;
  SplitComplex scratch_;
};

}  // namespace tvn
