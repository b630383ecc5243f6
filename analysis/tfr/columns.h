// The picture's side of the fast TFR (analysis/tfr/fast.h): the power at chosen columns from a
// wavelet's response on a coarse time grid.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "analysis/tfr/fft.h"

namespace tvn {

class ColumnSampler {
 public:
  // samples_per_step: samples of the ECG per step of the coarse grid. About 1000 samples_per_step
  // operations.
  explicit ColumnSampler(std::size_t samples_per_step);

  // Where a column is read: the first of the coarse values, and its weights.
  struct Place {
    uint32_t first, weights;
  };

  // The places of the samples columns[i] + offset; offset leaves room for half a kernel at either
  // end. Linear.
  std::vector<Place> places(std::span<const uint32_t> columns, std::size_t offset) const;

  // re^2 + im^2 of `response` at every place, from place `first_added` on with `added` added to re
  // and im. Linear.
  void power(const SplitComplex& response, std::span<const Place> places, const SplitComplex& added,
             std::size_t first_added, std::span<float> result) const;

 private:
  std::size_t samples_per_step_;
  std::vector<double> weights_;  // a row of kernel points per sample within a step
};

}  // namespace tvn
