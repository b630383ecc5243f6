// Sine and cosine of the paced breathing at every grid time.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tvn {

class BreathingReference {
 public:
  // grid: ascending times in seconds (copied as far as needed); angular_frequency in rad/s, any
  // value (NaN or infinite gives NaN). Linear.
  BreathingReference(std::vector<double> grid, double angular_frequency);

  // sin and cos of angular_frequency * grid[i], within 1e-15.
  const std::vector<double>& sines() const { return sines_; }
  const std::vector<double>& cosines() const { return cosines_; }

  // The same as the standard library's functions return them, for sums that cancel so far that even
  // 1e-15 shows. Computed on first use and kept.
  struct Exact {
    double sine, cosine;
  };
  Exact exact(std::size_t i);

 private:
  void fill_block(std::size_t from, std::size_t to, std::span<const Exact> offsets);

  std::vector<double> grid_;
  double angular_frequency_;
  std::vector<double> sines_, cosines_;
  std::vector<Exact> exact_;
  std::vector<bool> known_;
};

}  // namespace tvn
