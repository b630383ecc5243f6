#include "analysis/rhythm/breathing_reference.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tvn {
namespace {

// Grid points per block: one call of the library's sin and cos serves this many.
constexpr std::size_t k_block = 64;
constexpr double k_grid_step = 0.1;
// Largest residual angle for which its square may be left out.
constexpr double k_small_angle = 1e-8;

}  // namespace

void BreathingReference::extend(std::span<const double> grid) {
  const std::size_t known = grid_.size();
  if (grid.size() <= known) return;
  grid_.insert(grid_.end(), grid.begin() + static_cast<std::ptrdiff_t>(known), grid.end());
  sines_.resize(grid_.size());
  cosines_.resize(grid_.size());
  std::array<Exact, k_block> offsets;
  for (std::size_t j = 0; j < k_block; ++j) {
    const double angle = angular_frequency_ * (static_cast<double>(j) * k_grid_step);
    offsets[j] = {std::sin(angle), std::cos(angle)};
  }
  for (std::size_t i = known; i < grid_.size();) {
    const std::size_t block = i / k_block * k_block;
    const std::size_t end = std::min(block + k_block, grid_.size());
    fill_block(block, i, end, offsets);
    i = end;
  }
}

// With the block's first angle a and the angle o of j grid steps, angle j of the block is a + o +
// e, where the residual e holds what rounding did to the grid times and to the products (1e-9 or
// less). To first order sin(o + e) = sin o + e cos o and cos(o + e) = cos o - e sin o, and the
// addition theorem brings in a.
void BreathingReference::fill_block(std::size_t block, std::size_t from, std::size_t to,
                                    std::span<const Exact> offsets) {
  const double first = angular_frequency_ * grid_[block];
  const double sin_a = std::sin(first), cos_a = std::cos(first);
  for (std::size_t i = from; i < to; ++i) {
    const std::size_t j = i - block;
    const double angle = angular_frequency_ * grid_[i];
    const double residual =
        (angle - first) - angular_frequency_ * (static_cast<double>(j) * k_grid_step);
    if (!(std::fabs(residual) < k_small_angle)) {
      sines_[i] = std::sin(angle);
      cosines_[i] = std::cos(angle);
      continue;
    }
    const double sin_o = offsets[j].sine + residual * offsets[j].cosine;
    const double cos_o = offsets[j].cosine - residual * offsets[j].sine;
    sines_[i] = sin_a * cos_o + cos_a * sin_o;
    cosines_[i] = cos_a * cos_o - sin_a * sin_o;
  }
}

BreathingReference::Exact BreathingReference::exact(std::size_t i) {
  if (known_.size() < grid_.size()) {
    known_.resize(grid_.size());
    exact_.resize(grid_.size());
  }
  if (!known_[i]) {
    const double angle = angular_frequency_ * grid_[i];
    exact_[i] = {std::sin(angle), std::cos(angle)};
    known_[i] = true;
  }
  return exact_[i];
}

}  // namespace tvn
