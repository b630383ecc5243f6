// The interpolation kernel of the fast TFR: from a coarse grid to any point between its points, and
// the other way round. A Kaiser-Bessel kernel is near zero outside its width in time and nearly so
// outside the band in frequency, and its Fourier transform, by which the coarse values are divided
// beforehand, is known (Jackson et al., "Selection of a convolution function for Fourier inversion
// using gridding", IEEE Trans. Med. Imaging 10, 1991).
#pragma once

#include <cstddef>
#include <vector>

namespace tvn {

// Points of the coarse grid that one value is made of.
inline constexpr std::size_t k_tfr_kernel_points = 12;

// The kernel at x grid steps from its middle, 0 beyond half its points. About 50 operations.
double tfr_kernel(double x);

// Its Fourier transform at a frequency in cycles per grid step, of magnitude 0.5 at most.
double tfr_kernel_transform(double frequency);

// 1 / tfr_kernel_transform(k / n) for the bins k = -n / 2 .. n / 2 - 1, n even. Linear.
std::vector<double> tfr_inverse_kernel(std::size_t n);

}  // namespace tvn
