#include "analysis/tfr/fft.h"

#include <cmath>

#include "analysis/tfr/lanes.h"

namespace tvn {
namespace {

constexpr double k_two_pi = 6.283185307179586;

struct Value {
  Lanes re, im;
};

struct Source {
  const double *re, *im;
  Value at(std::size_t i) const { return {load_lanes(re + i), load_lanes(im + i)}; }
};

struct Target {
  double *re, *im;
};

// The four results of a radix-4 butterfly, before their twiddle factors.
struct Four {
  Value zero, one, two, three;
};

inline Four butterfly(const Source& x, std::size_t i, std::size_t quarter) {
  const Value a = x.at(i), b = x.at(i + quarter), c = x.at(i + 2 * quarter),
              d = x.at(i + 3 * quarter);
  const Value ac = {a.re + c.re, a.im + c.im}, bd = {b.re + d.re, b.im + d.im};
  const Value a_c = {a.re - c.re, a.im - c.im}, b_d = {b.re - d.re, b.im - d.im};
  return {{ac.re + bd.re, ac.im + bd.im},
          {a_c.re - b_d.im, a_c.im + b_d.re},
          {ac.re - bd.re, ac.im - bd.im},
          {a_c.re + b_d.im, a_c.im - b_d.re}};
}

inline Value times(const Value& v, Lanes re, Lanes im) {
  return {v.re * re - v.im * im, v.re * im + v.im * re};
}

// The four results of two neighbouring butterflies, which stand next to each other.
inline void store_transposed(double* to, Lanes zero, Lanes one, Lanes two, Lanes three) {
  store_lanes(to, Lanes{zero[0], one[0]});
  store_lanes(to + 2, Lanes{two[0], three[0]});
  store_lanes(to + 4, Lanes{zero[1], one[1]});
  store_lanes(to + 6, Lanes{two[1], three[1]});
}

void fill_first_pass(std::array<std::vector<double>, 6>& pass, std::size_t n) {
  for (std::size_t p = 0; p < n / 4; ++p) {
    const double angle = k_two_pi * static_cast<double>(p) / static_cast<double>(n);
    const double re = std::cos(angle), im = std::sin(angle);
    const double re2 = re * re - im * im, im2 = 2 * re * im;
    const double values[] = {re, im, re2, im2, re2 * re - im2 * im, re2 * im + im2 * re};
    for (std::size_t i = 0; i < pass.size(); ++i) pass[i][p] = values[i];
  }
}

// The first pass has a factor of its own for every butterfly.
void first_pass(const Source& x, const Target& y, const std::array<std::vector<double>, 6>& w,
                std::size_t quarter) {
  for (std::size_t p = 0; p < quarter; p += k_lanes) {
    const auto factor = [&](std::size_t i) { return load_lanes(w[i].data() + p); };
    const Four f = butterfly(x, p, quarter);
    const Value one = times(f.one, factor(0), factor(1));
    const Value two = times(f.two, factor(2), factor(3));
    const Value three = times(f.three, factor(4), factor(5));
    store_transposed(y.re + 4 * p, f.zero.re, one.re, two.re, three.re);
    store_transposed(y.im + 4 * p, f.zero.im, one.im, two.im, three.im);
  }
}

inline void store(const Target& y, std::size_t i, const Value& value) {
  store_lanes(y.re + i, value.re);
  store_lanes(y.im + i, value.im);
}

// A later pass has one set of factors for each run of butterflies.
void later_pass(const Source& x, const Target& y, const std::array<std::vector<double>, 6>& w,
                std::size_t quarter, std::size_t run) {
  for (std::size_t p = 0; p < quarter / run; ++p) {
    const auto factor = [&](std::size_t i) { return both_lanes(w[i][p]); };
    const Lanes re1 = factor(0), im1 = factor(1), re2 = factor(2), im2 = factor(3), re3 = factor(4),
                im3 = factor(5);
    for (std::size_t q = 0; q < run; q += k_lanes) {
      const Four f = butterfly(x, q + run * p, quarter);
      const std::size_t to = q + run * 4 * p;
      store(y, to, f.zero);
      store(y, to + run, times(f.one, re1, im1));
      store(y, to + 2 * run, times(f.two, re2, im2));
      store(y, to + 3 * run, times(f.three, re3, im3));
    }
  }
}

inline Value sum(const Value& a, const Value& b) {
  return {a.re + b.re, a.im + b.im};
}

inline Value difference(const Value& a, const Value& b) {
  return {a.re - b.re, a.im - b.im};
}

// The transform of three values, stored at the three places.
inline void three(const Target& y, const std::array<std::size_t, 3>& to, const Value& a,
                  const Value& b, const Value& c) {
  constexpr double k_sine = 0.8660254037844386;  // of a third of a turn
  const Value bc = sum(b, c), b_c = difference(b, c);
  const Value middle = {a.re - 0.5 * bc.re, a.im - 0.5 * bc.im};
  const Value side = {-k_sine * b_c.im, k_sine * b_c.re};
  store(y, to[0], sum(a, bc));
  store(y, to[1], sum(middle, side));
  store(y, to[2], difference(middle, side));
}

// The last pass, in place, is what is left of a length when fours are taken out: 2, 3 or 6. It has
// no factors. Six is two by three, which do not meet in each other's factors (Good's algorithm).
void last_pass(const Source& x, const Target& y, std::size_t length, std::size_t run) {
  for (std::size_t q = 0; q < run; q += k_lanes) {
    const auto value = [&](std::size_t k) { return x.at(q + k * run); };
    const auto at = [&](std::size_t k) { return q + k * run; };
    if (length == 2) {
      const Value low = value(0), high = value(1);
      store(y, at(0), sum(low, high));
      store(y, at(1), difference(low, high));
    } else if (length == 3) {
      three(y, {at(0), at(1), at(2)}, value(0), value(1), value(2));
    } else {
      const Value v[] = {value(0), value(1), value(2), value(3), value(4), value(5)};
      three(y, {at(0), at(2), at(4)}, sum(v[0], v[3]), sum(v[1], v[4]), sum(v[2], v[5]));
      three(y, {at(3), at(5), at(1)}, difference(v[0], v[3]), difference(v[4], v[1]),
            difference(v[2], v[5]));
    }
  }
}

}  // namespace

Fft::Fft(std::size_t n) : n_(n), scratch_{Sequence(n), Sequence(n)} {
  for (std::size_t length = n, stride = 1; length % 4 == 0; length /= 4, stride *= 4) {
    Twiddles pass;
    for (std::size_t i = 0; i < pass.size(); ++i) {
      pass[i].resize(length / 4);
      for (std::size_t p = 0; p < length / 4; ++p) {
        // The angles of a later pass are every 4th, 16th, ... of the first one's.
        pass[i][p] = stride > 1 ? passes_[0][i][p * stride] : 0;
      }
    }
    if (stride == 1) fill_first_pass(pass, n);
    passes_.push_back(std::move(pass));
  }
}

void Fft::transform(Sequence& re, Sequence& im, Sequence& scratch_re, Sequence& scratch_im) {
  std::size_t run = 1, length = n_;
  for (std::size_t pass = 0; length % 4 == 0; ++pass, run *= 4, length /= 4) {
    const Source x{re.data(), im.data()};
    const Target y{scratch_re.data(), scratch_im.data()};
    if (pass == 0) {
      first_pass(x, y, passes_[0], n_ / 4);
    } else {
      later_pass(x, y, passes_[pass], n_ / 4, run);
    }
    re.swap(scratch_re);
    im.swap(scratch_im);
  }
  if (length > 1) last_pass({re.data(), im.data()}, {re.data(), im.data()}, length, run);
}

}  // namespace tvn
