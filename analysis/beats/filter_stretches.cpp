#include "analysis/beats/filter_stretches.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

// A recursive filter is slow not by its amount of arithmetic but because every sample waits for the
// one before. So the signal is cut into as many stretches as a vector register has lanes, and each
// lane filters its own. A lane cannot know the state in which its predecessor will end; it starts
// from zero, k_run_up samples early, and drops what it computes there. The poles lie at most 0.92
// from the origin, so the difference between two starting states falls below rounding within some
// 450 samples, and soon after the two states agree in every bit: from then on they are the same
// computation. Whether this has happened is not assumed but checked, by comparing the state in
// which each lane began its stretch with that in which its predecessor ended. When they agree, the
// result is that of the serial pass by construction, whatever the number of lanes.
namespace tvn {
namespace {

constexpr std::size_t k_run_up = 2048;
// Below this the run-up eats the gain.
constexpr std::size_t k_shortest_stretch = 2 * k_run_up;

// Everything that runs inside the lanes is inlined into one function per register width.
#define TVN_INLINE inline __attribute__((always_inline))

// One step of the cascade for V = double or a vector of lanes. With b1 = 0 and b2 = -b0 a section
// comes down to y = b0 x - n1; n1 = a1 y + n2; n2 = b0 x + a2 y, where n1 = -s1 and n2 = -s2.
// Negating a sum negates its rounding, so these are the textbook values to the last bit. b0 is 1
// but in the first section.
template <class V>
TVN_INLINE void cascade_step(V& x, V (&n1)[k_filter_sections], V (&n2)[k_filter_sections]) {
  x = x * ecg_bandpass_sos[0].b0;
  for (std::size_t k = 0; k < k_filter_sections; ++k) {
    const V y = x - n1[k];
    n1[k] = n2[k] + y * ecg_bandpass_sos[k].a1;
    n2[k] = x + y * ecg_bandpass_sos[k].a2;
    x = y;
  }
}

bool same_bits(double a, double b) {
  return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b);
}

// Lanes of IEEE doubles, an extension that gcc and clang share; each lane rounds like a double.
typedef double Lanes2 __attribute__((vector_size(2 * sizeof(double))));
typedef double Lanes4 __attribute__((vector_size(4 * sizeof(double))));

using Offsets2 = std::ptrdiff_t[2];
using Offsets4 = std::ptrdiff_t[4];

// One sample for every lane from its own place, and back; written out because gcc keeps a vector
// that is filled in a loop in memory.
TVN_INLINE void gather(Lanes2& x, const double* in, const Offsets2& at, std::ptrdiff_t shift) {
  x = Lanes2{in[at[0] + shift], in[at[1] + shift]};
}
TVN_INLINE void gather(Lanes4& x, const double* in, const Offsets4& at, std::ptrdiff_t shift) {
  x = Lanes4{in[at[0] + shift], in[at[1] + shift], in[at[2] + shift], in[at[3] + shift]};
}
TVN_INLINE void scatter(const Lanes2& x, double* out, const Offsets2& at, std::ptrdiff_t shift) {
  out[at[0] + shift] = x[0], out[at[1] + shift] = x[1];
}
TVN_INLINE void scatter(const Lanes4& x, double* out, const Offsets4& at, std::ptrdiff_t shift) {
  out[at[0] + shift] = x[0], out[at[1] + shift] = x[1], out[at[2] + shift] = x[2],
              out[at[3] + shift] = x[3];
}

// As many stretches as there are lanes, `length` samples each; `starts` are the places of their
// first samples in the order of filtering, one `step` (1 or -1) apart within a stretch.
template <class Lanes>
class Stretches {
 public:
  static constexpr std::size_t k_width = sizeof(Lanes) / sizeof(double);

  Stretches(const double* in, double* out, std::size_t length, std::ptrdiff_t step)
      : in_(in), out_(out), length_(length), step_(step) {}

  TVN_INLINE bool run(std::ptrdiff_t first_start, CascadeState& state) {
    std::ptrdiff_t starts[k_width], early[k_width];
    for (std::size_t lane = 0; lane < k_width; ++lane) {
      starts[lane] = first_start + step_ * static_cast<std::ptrdiff_t>(lane * length_);
      // Lane 0 needs no run-up; it filters any samples meanwhile, and its state is set afterwards.
      early[lane] =
          lane == 0 ? first_start : starts[lane] - step_ * static_cast<std::ptrdiff_t>(k_run_up);
    }
    run_lanes<false>(early, k_run_up);
    Lanes begin1[k_filter_sections], begin2[k_filter_sections];
    for (std::size_t k = 0; k < k_filter_sections; ++k) {
      n1_[k][0] = state.n1[k];
      n2_[k][0] = state.n2[k];
      begin1[k] = n1_[k];
      begin2[k] = n2_[k];
    }
    run_lanes<true>(starts, length_);
    bool joined = true;
    for (std::size_t k = 0; k < k_filter_sections; ++k) {
      for (std::size_t lane = 1; lane < k_width; ++lane) {
        joined = joined && same_bits(n1_[k][lane - 1], begin1[k][lane]) &&
                 same_bits(n2_[k][lane - 1], begin2[k][lane]);
      }
      state.n1[k] = n1_[k][k_width - 1];
      state.n2[k] = n2_[k][k_width - 1];
    }
    return joined;
  }

 private:
  // Filters `count` samples from each start on. Store: whether the results are wanted.
  template <bool Store>
  TVN_INLINE void run_lanes(const std::ptrdiff_t (&starts)[k_width], std::size_t count) {
    Lanes n1[k_filter_sections], n2[k_filter_sections];
    for (std::size_t k = 0; k < k_filter_sections; ++k) n1[k] = n1_[k], n2[k] = n2_[k];
    std::ptrdiff_t offset = 0;
    for (std::size_t i = 0; i < count; ++i, offset += step_) {
      Lanes x;
      gather(x, in_, starts, offset);
      cascade_step<Lanes>(x, n1, n2);
      if constexpr (Store) scatter(x, out_, starts, offset);
    }
    for (std::size_t k = 0; k < k_filter_sections; ++k) n1_[k] = n1[k], n2_[k] = n2[k];
  }

  const double* in_;
  double* out_;
  std::size_t length_;
  std::ptrdiff_t step_;
  Lanes n1_[k_filter_sections] = {}, n2_[k_filter_sections] = {};
};

template <class Lanes>
TVN_INLINE bool run_wide(const double* in, double* out, std::size_t count, Direction direction,
                         CascadeState& state) {
  constexpr std::size_t width = Stretches<Lanes>::k_width;
  const std::size_t length = count / width;
  const bool forward = direction == Direction::forward;
  if (length < k_shortest_stretch) {
    run_serial(in, out, count, direction, state);
    return true;
  }
  // The samples that do not divide evenly come first, so that lane 0 starts from a known state.
  const std::size_t rest = count - length * width;
  const std::size_t rest_at = forward ? 0 : count - rest;
  run_serial(in + rest_at, out + rest_at, rest, direction, state);
  const auto start = static_cast<std::ptrdiff_t>(forward ? rest : count - 1 - rest);
  return Stretches<Lanes>(in, out, length, forward ? 1 : -1).run(start, state);
}

bool run_2_lanes(const double* in, double* out, std::size_t count, Direction direction,
                 CascadeState& state) {
  return run_wide<Lanes2>(in, out, count, direction, state);
}

#if defined(__x86_64__)
// The same code for registers of 4 doubles, which most but not all x86-64 processors have.
__attribute__((target("avx2"))) bool run_4_lanes(const double* in, double* out, std::size_t count,
                                                 Direction direction, CascadeState& state) {
  return run_wide<Lanes4>(in, out, count, direction, state);
}
const bool k_has_4_lanes = __builtin_cpu_supports("avx2");
#else
constexpr auto run_4_lanes = run_2_lanes;
constexpr bool k_has_4_lanes = false;
#endif

}  // namespace

bool same_bits(const CascadeState& a, const CascadeState& b) {
  const auto same = [](const SectionStates& x, const SectionStates& y) {
    return std::equal(x.begin(), x.end(), y.begin(),
                      [](double one, double other) { return same_bits(one, other); });
  };
  return same(a.n1, b.n1) && same(a.n2, b.n2);
}

void run_serial(const double* in, double* out, std::size_t count, Direction direction,
                CascadeState& state) {
  double n1[k_filter_sections], n2[k_filter_sections];
  for (std::size_t k = 0; k < k_filter_sections; ++k) n1[k] = state.n1[k], n2[k] = state.n2[k];
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = direction == Direction::forward ? i : count - 1 - i;
    double x = in[at];
    cascade_step<double>(x, n1, n2);
    out[at] = x;
  }
  for (std::size_t k = 0; k < k_filter_sections; ++k) state.n1[k] = n1[k], state.n2[k] = n2[k];
}

std::size_t widest_lanes() {
  return k_has_4_lanes ? 4 : 2;
}

bool run_stretches(const double* in, double* out, std::size_t count, Direction direction,
                   CascadeState& state, std::size_t lanes) {
  const bool four = k_has_4_lanes && lanes >= 4;
  return (four ? run_4_lanes : run_2_lanes)(in, out, count, direction, state);
}

void run_fast(const double* in, double* out, std::size_t count, Direction direction,
              CascadeState& state) {
  const CascadeState first = state;
  if (run_stretches(in, out, count, direction, state, widest_lanes())) return;
  state = first;
  run_serial(in, out, count, direction, state);
}

}  // namespace tvn
