// The time-frequency representation of analysis/tfr/definition.h, limited to what is looked at: the
// columns that a picture shows, and the row of the breathing frequency in full. The same numbers,
// some two thousand times faster: for the heart rates of people, at sampling rates of 64 Hz and
// above, within 1e-6 relative to each value but for one in 100,000 at most, and log powers within
// 1e-8. The error has a floor of 3e-8 of the strongest amplitude. So where the power lies eight
// orders of magnitude and more below that of other rows, which takes a made-up RR series without
// any noise (one value alternating with another, a single odd beat), values can be off by 6e-5 of
// themselves.
//
// How. The wavelets filter out everything above a few tenths of a hertz, so nothing is computed at
// the ECG's rate:
// 1. The prolonged heart rate is brought to a grid of about 10 values per second by the kernel of
//    analysis/tfr/kernel.h, and transformed in pieces that cover the recording and the reach of the
//    wavelet on either side, no more. There are a few such lengths, each serving many wavelets.
//    Dividing by the kernel's transform gives the spectrum of the signal at its full rate.
// 2. For each wavelet this spectrum is multiplied by the wavelet's (analysis/tfr/response.h), moved
//    so that the wavelet's frequency becomes zero (which leaves the magnitudes alone), cut to a
//    band of a few hertz about it, and transformed back: its response on a coarse time grid.
// 3. Any column is interpolated from 12 points of that grid by the same kernel. Grid steps are
//    whole numbers of samples, so columns need only a few different sets of weights.
// 4. The prolonged heart rate jumps where the recording begins, and where copies of a short cycle
//    end within a wavelet's reach. That is more than a band of a few hertz can hold where the
//    wavelet's end passes it; that part is computed exactly (analysis/tfr/jump.h).
// A mean heart rate of 70 bpm leaks through the cut-off wavelets, where it would drown the ends of
// the pieces: it is taken off before step 1 and comes back in step 2 as a spectral line, exactly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tvn {

// The most columns a picture has.
inline constexpr std::size_t k_tfr_picture_columns = 1200;

struct TfrPicture {
  std::size_t rows = 0, width = 0;
  std::vector<float> values;  // rows x width, row-major; row 0 is the lowest frequency
};

struct TfrPictures {
  TfrPicture tfr3, tfr10;
  std::size_t cols = 0;  // of the whole matrix: the ECG samples
  double tfr3_centre = 0, tfr3_half_range = 0;
  double tfr10_centre = 0, tfr10_half_range = 0;
  int32_t expected_row = 0;
  std::vector<double> cycle_log_power;
  bool valid = false;
};

// The matrix column that column x of a picture of `width` columns shows: trunc(x / width * cols).
std::size_t tfr_matrix_column(std::size_t x, std::size_t width, std::size_t cols);

// n_samples: length of the recording; the other arguments, and what is refused, as for compute_tfr,
// and besides sampling rates below 10 Hz, which the coarse grid does not serve.
// The pictures have min(n_samples, 1200) columns. On the caller's thread and, where one is to be
// had, a second one, unless `threads` is 1: for a caller that has work for every core. The numbers
// are the same. n log n in the recording's length; 6 MB and a few dozen bytes per sample.
TfrPictures compute_tfr_pictures(std::size_t n_samples, std::span<const double> rr_seconds,
                                 double cycle_seconds, double fs, unsigned threads = 2);

}  // namespace tvn
