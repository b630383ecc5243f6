// Sine and cosine of the paced breathing at every grid time.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tvn {

class BreathingReference {
 public:
  // angular_frequency in rad/s, any value (NaN or infinite gives NaN).
  explicit BreathingReference(double angular_frequency) : angular_frequency_(angular_frequency) {}

  // grid: ascending times in seconds that begin with those of the call before, or are the beginning
  // of those. Linear in the new ones.
  void extend(std::span<const double> grid);

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
  void fill_block(std::size_t block, std::size_t from, std::size_t to,
                  std::span<const Exact> offsets);

  std::vector<double> grid_;
  double angular_frequency_;
  std::vector<double> sines_, cosines_;
  std::vector<Exact> exact_;
  std::vector<bool> known_;
};

}  // namespace tvn
