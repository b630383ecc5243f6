// The band-pass that precedes R-peak detection. 5 Hz removes baseline wander and most of P and T,
// 49 Hz mains hum and muscle noise, and the QRS complex lies between.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace tvn {

// One second-order section; a0 is 1.
struct FilterSection {
  double b0, b1, b2, a1, a2;
};

inline constexpr std::size_t k_filter_sections = 4;

// Butterworth band-pass of order 4, 5 to 49 Hz (-3 dB), for 130 samples per second. Bilinear
// design; each section has the zeros +1 and -1 (b1 = 0, b2 = -b0), the whole gain is in the first
// one, and `sos_filter` relies on both.
inline constexpr std::array<FilterSection, k_filter_sections> ecg_bandpass_sos = {{
    {0.2466890928716257, 0.0, -0.2466890928716257, 0.8000796958750661, 0.19522466797987365},
    {1.0, 0.0, -1.0, 1.1379793484327494, 0.6038492898384823},
    {1.0, 0.0, -1.0, -1.5616015099547143, 0.6175958376867865},
    {1.0, 0.0, -1.0, -1.7886122465967813, 0.843498386699437},
}};

// One number per section.
using SectionStates = std::array<double, k_filter_sections>;

// One causal pass of the cascade over x in transposed direct form II: per section
// y = b0 x + s1; s1 = b1 x - a1 y + s2; s2 = b2 x - a2 y, and y is the next section's x.
// zi1 (s1) and zi2 (s2) hold the state before the first sample and are left as after the last one.
// Returns as many samples as x has. A sample that is not finite makes everything after it NaN or
// infinite. Linear.
std::vector<double> sos_filter(std::span<const double> x, SectionStates& zi1, SectionStates& zi2);

// Zero-phase filter: forward, then backward, over the signal extended at both ends by its odd
// reflection (27 samples, or one less than the signal has), each pass starting in the steady state
// of its first sample. The head mirrors x[1], x[2], ...; the tail mirrors x[N-3], x[N-4], ... (one
// sample further in), and takes the first sample where that would lie before it.
// ecg: samples in any unit, 130 per second. Returns a sequence of the same length in the same unit.
// A sample that is not finite makes every value NaN (of a signal of three samples or more). Linear.
// Forward-backward filtering: Gustafsson, IEEE Trans. Signal Process. 44 (1996) 988-992.
std::vector<double> bandpass_filtfilt(std::span<const double> ecg);

// The same into `filtered`, which has room for as many samples and need not be initialised.
void bandpass_filtfilt_into(std::span<const double> ecg, double* filtered);

}  // namespace tvn
