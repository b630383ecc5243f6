#include "analysis/tfr/columns.h"

#include <utility>

#include "analysis/tfr/kernel.h"
#include "analysis/tfr/lanes.h"

namespace tvn {
namespace {

// Written out rather than looped: this is run for every value of a picture.
template <std::size_t... I>
float weighted_power(const double* weights, const double* re, const double* im, double added_re,
                     double added_im, std::index_sequence<I...>) {
  Lanes sum_re = {}, sum_im = {};
  const auto add = [&](std::size_t i) {
    const Lanes w = load_lanes(weights + i);
    sum_re += w * load_lanes(re + i);
    sum_im += w * load_lanes(im + i);
  };
  (add(I * k_lanes), ...);
  const double total_re = sum_re[0] + sum_re[1] + added_re;
  const double total_im = sum_im[0] + sum_im[1] + added_im;
  return static_cast<float>(total_re * total_re + total_im * total_im);
}

}  // namespace

ColumnSampler::ColumnSampler(std::size_t samples_per_step)
    : samples_per_step_(samples_per_step), weights_(samples_per_step * k_tfr_kernel_points) {
  constexpr std::size_t points_before = k_tfr_kernel_points / 2 - 1;
  for (std::size_t phase = 0; phase < samples_per_step; ++phase) {
    const double part = static_cast<double>(phase) / static_cast<double>(samples_per_step);
    for (std::size_t i = 0; i < k_tfr_kernel_points; ++i) {
      weights_[phase * k_tfr_kernel_points + i] =
          tfr_kernel(part + static_cast<double>(points_before) - static_cast<double>(i));
    }
  }
}

std::vector<ColumnSampler::Place> ColumnSampler::places(std::span<const uint32_t> columns,
                                                        std::size_t offset) const {
  std::vector<Place> places;
  places.reserve(columns.size());
  for (const uint32_t column : columns) {
    const std::size_t at = column + offset;
    const std::size_t first = at / samples_per_step_ + 1 - k_tfr_kernel_points / 2;
    const std::size_t weights = at % samples_per_step_ * k_tfr_kernel_points;
    places.push_back({static_cast<uint32_t>(first), static_cast<uint32_t>(weights)});
  }
  return places;
}

void ColumnSampler::power(const SplitComplex& response, std::span<const Place> places,
                          const SplitComplex& added, std::size_t first_added,
                          std::span<float> result) const {
  const auto power_at = [&](std::size_t c, double added_re, double added_im) {
    const Place at = places[c];
    result[c] = weighted_power(weights_.data() + at.weights, response.re.data() + at.first,
                               response.im.data() + at.first, added_re, added_im,
                               std::make_index_sequence<k_tfr_kernel_points / k_lanes>());
  };
  for (std::size_t c = 0; c < first_added; ++c) power_at(c, 0, 0);
  for (std::size_t c = first_added; c < places.size(); ++c) power_at(c, added.re[c], added.im[c]);
}

}  // namespace tvn
