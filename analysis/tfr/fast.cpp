#include "analysis/tfr/fast.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <future>
#include <map>
#include <numeric>
#include <utility>

#include "analysis/tfr/bands.h"
#include "analysis/tfr/columns.h"
#include "analysis/tfr/fft.h"
#include "analysis/tfr/jump.h"
#include "analysis/tfr/kernel.h"
#include "analysis/tfr/mills.h"
#include "analysis/tfr/response.h"
#include "analysis/tfr/rows.h"
#include "analysis/tfr/scales.h"
#include "analysis/tfr/signal.h"

namespace tvn {
namespace {

constexpr double k_lowest_rate = 10;  // Hz

constexpr double k_two_pi = 6.283185307179586;
// The band about a wavelet's frequency, in hertz, that is kept. What lies outside it is at most a
// hundredth of a beat per minute, since the heart rate is smoothed over 2 s, times what a wavelet
// lets through there, some 1e-7.
constexpr double k_band = 4.8;
constexpr std::size_t k_least_grid = 64;
// Where all columns are read: up to this many (8 h) at once, of more so many at a time.
constexpr std::size_t k_most_at_once = 3'744'000;
constexpr std::size_t k_stretch = 262'144;

// The transform back to time of n_grid bins, and the reading of columns from it.
struct TimeGrid {
  Fft fft;
  ColumnSampler sampler;
  std::vector<double> inverse_kernel;  // for the bins -n / 2 .. n / 2 - 1 about the wavelet's
  std::vector<double> response;
  SplitComplex behind, values;
  std::vector<ColumnSampler::Place> picture_places;

  TimeGrid(std::size_t n, const PieceSpectrum& piece, std::span<const uint32_t> picture_columns)
      : fft(n),
        sampler(piece.period / n),
        inverse_kernel(tfr_inverse_kernel(n)),
        response(n),
        behind{response, response},
        values{response, response},
        picture_places(sampler.places(picture_columns, piece.offset)) {}
};

class PictureMaker {
 public:
  // picture_columns: the columns of the matrix that the picture shows.
  PictureMaker(const CoarseSignal& signal, double fs, const std::vector<uint32_t>& picture_columns)
      : signal_(signal), fs_(fs), picture_columns_(picture_columns) {}

  // The wavelet's response on its time grid, ready to be read.
  void respond(double freq, double n_cycles) {
    shape_ = morlet_shape(fs_, freq, n_cycles);
    passed_.clear();
    const std::size_t beside = k_tfr_kernel_points / 2 * signal_.step;
    for (std::size_t j = 0; j < signal_.jumps.size(); ++j) {
      if (wavelet_end_passes(shape_, signal_.jumps[j].jump, signal_.n_signal, beside)) {
        passed_.push_back(j);
      }
    }
    piece_ = &piece_for(piece_length(signal_, static_cast<std::size_t>(shape_.last_point)));
    grid_ = &grid_for(*piece_);
    multiply();
    grid_->fft.backward(grid_->values);
  }

  void read_picture(std::span<float> power) {
    read(picture_columns_, grid_->picture_places, power);
  }

  // Every column; a day's at once would take 300 MB on the way.
  std::vector<float> read_all() {
    std::vector<float> power(signal_.n_signal);
    const std::size_t most = power.size() <= k_most_at_once ? power.size() : k_stretch;
    std::vector<uint32_t> columns;
    for (std::size_t from = 0; from < power.size(); from += columns.size()) {
      columns.resize(std::min(most, power.size() - from));
      std::iota(columns.begin(), columns.end(), static_cast<uint32_t>(from));
      read(columns, grid_->sampler.places(columns, piece_->offset),
           std::span(power).subspan(from, columns.size()));
    }
    return power;
  }

 private:
  void read(std::span<const uint32_t> columns, std::span<const ColumnSampler::Place> places,
            std::span<float> power) {
    taken_.re.assign(columns.size(), 0);
    taken_.im.assign(columns.size(), 0);
    const double frequency = centre_bin_ * k_two_pi / static_cast<double>(piece_->period);
    const Carrier carrier{frequency, frequency * static_cast<double>(piece_->offset)};
    std::size_t first = columns.size();
    for (const std::size_t j : passed_) {
      const Jump& jump = signal_.jumps[j].jump;
      first = std::min(first, add_jump_behind_wavelet(shape_, fs_, jump, carrier, columns, taken_));
    }
    grid_->sampler.power(grid_->values, places, taken_, first, power);
  }

  const PieceSpectrum& piece_for(std::size_t n) {
    const auto found = pieces_.find(n);
    return found != pieces_.end()
               ? found->second
               : pieces_.emplace(n, make_piece_spectrum(signal_, n)).first->second;
  }

  TimeGrid& grid_for(const PieceSpectrum& piece) {
    const double period_seconds = static_cast<double>(piece.period) / fs_;
    const double least = std::max(k_band * period_seconds, static_cast<double>(k_least_grid));
    std::size_t n = piece.n / 2;
    for (std::size_t half = n / 2; static_cast<double>(half) >= least; half /= 2) n = half;
    const auto found = grids_.find(piece.n);
    return found != grids_.end()
               ? found->second
               : grids_.try_emplace(piece.n, n, piece, picture_columns_).first->second;
  }

  void multiply() {
    const std::size_t n = grid_->response.size(), half = n / 2;
    const double bin_width = k_two_pi * fs_ / static_cast<double>(piece_->period);
    centre_bin_ = std::round(shape_.angular_frequency / bin_width);
    const double first_bin = centre_bin_ - static_cast<double>(half);
    morlet_response(shape_, fs_, first_bin * bin_width, bin_width,
                    1 / static_cast<double>(piece_->period), grid_->response, grid_->behind);
    const std::size_t zero_bin = piece_->n / 2;
    const auto from = static_cast<std::size_t>(first_bin + static_cast<double>(zero_bin));
    for (std::size_t i = 0; i < n; i += k_lanes) {
      const Lanes inverse_kernel = load_lanes(grid_->inverse_kernel.data() + i);
      const Lanes response = load_lanes(grid_->response.data() + i);
      const ComplexLanes signal = load(piece_->bins, from + i);
      const ComplexLanes jump = jumps_at(from + i, load(grid_->behind, i));
      // Bins below the wavelet's own go to the end, as the transform wants it.
      const std::size_t to = i < half ? i + half : i - half;
      store_lanes(grid_->values.re.data() + to, inverse_kernel * (response * signal.re + jump.re));
      store_lanes(grid_->values.im.data() + to, inverse_kernel * (response * signal.im + jump.im));
    }
  }

  // What the wavelet's cut ends take from the levels whose jumps they pass. The spectrum of the end
  // ahead of the wavelet is the conjugate of the one behind it.
  ComplexLanes jumps_at(std::size_t bin, const ComplexLanes& behind) const {
    ComplexLanes sum{};
    for (const std::size_t j : passed_) {
      const bool ends = signal_.jumps[j].jump.ends;
      const ComplexLanes cut{behind.re, ends ? -behind.im : behind.im};
      const ComplexLanes part = load(piece_->step_bins[j], bin) * cut;
      sum.re += part.re;
      sum.im += part.im;
    }
    return sum;
  }

  static ComplexLanes load(const SplitComplex& values, std::size_t at) {
    return {load_lanes(values.re.data() + at), load_lanes(values.im.data() + at)};
  }

  const CoarseSignal& signal_;
  double fs_;
  const std::vector<uint32_t>& picture_columns_;
  std::map<std::size_t, PieceSpectrum> pieces_;
  std::map<std::size_t, TimeGrid> grids_;
  // Of the wavelet whose response is ready.
  MorletShape shape_ = {};
  const PieceSpectrum* piece_ = nullptr;
  TimeGrid* grid_ = nullptr;
  double centre_bin_ = 0;
  std::vector<std::size_t> passed_;  // the jumps that its ends pass
  SplitComplex taken_;
};

// What is to be computed, a picture's row at a time, by as many threads as there are to take rows.
struct Rows {
  std::vector<double> frequencies;
  std::size_t expected_row;
  TfrPicture* pictures[2];
  std::vector<float> expected[2];  // the row of the breathing frequency, every column
  std::atomic<std::size_t> next = 0;
};

void compute_rows(const CoarseSignal& signal, double fs, const std::vector<uint32_t>& columns,
                  Rows& rows) {
  constexpr double n_cycles[] = {k_tfr_short_cycles, k_tfr_long_cycles};
  PictureMaker maker(signal, fs, columns);
  const std::size_t n_rows = rows.frequencies.size();
  for (std::size_t task = rows.next++; task < 2 * n_rows; task = rows.next++) {
    const std::size_t which = task / n_rows, row = task % n_rows;
    maker.respond(rows.frequencies[row], n_cycles[which]);
    const std::span<float> values(rows.pictures[which]->values);
    maker.read_picture(values.subspan(row * columns.size(), columns.size()));
    if (row == rows.expected_row) rows.expected[which] = maker.read_all();
  }
}

// The columns that a picture shows.
std::vector<uint32_t> picture_columns(std::size_t n_samples) {
  const std::size_t width = std::min(n_samples, k_tfr_picture_columns);
  std::vector<uint32_t> columns(width);
  for (std::size_t x = 0; x < width; ++x) {
    columns[x] = static_cast<uint32_t>(tfr_matrix_column(x, width, n_samples));
  }
  return columns;
}

// Both pictures, by two threads where a second one is asked for and to be had.
void compute_pictures(const CoarseSignal& signal, double fs, Rows& rows, unsigned threads) {
  const std::vector<uint32_t> columns = picture_columns(signal.n_signal);
  const std::size_t n_rows = rows.frequencies.size(), width = columns.size();
  for (TfrPicture* picture : rows.pictures) {
    *picture = {n_rows, width, std::vector<float>(n_rows * width)};
  }
  std::future<void> other;
  if (threads > 1) other = std::async([&] { compute_rows(signal, fs, columns, rows); });
  compute_rows(signal, fs, columns, rows);
  if (other.valid()) other.get();
}

}  // namespace

std::size_t tfr_matrix_column(std::size_t x, std::size_t width, std::size_t cols) {
  return static_cast<std::size_t>(
      std::trunc(static_cast<double>(x) / static_cast<double>(width) * static_cast<double>(cols)));
}

TfrPictures compute_tfr_pictures(std::size_t n_samples, std::span<const double> rr_seconds,
                                 double cycle_seconds, double fs, unsigned threads) {
  TfrPictures result;
  if (!(fs >= k_lowest_rate)) return result;
  if (!tfr_possible(n_samples, rr_seconds.size(), cycle_seconds, fs)) return result;
  const std::vector<std::size_t> boundaries = cycle_boundaries(n_samples, cycle_seconds, fs);
  const std::vector<double> frequencies = tfr_frequencies();
  const CoarseSignal signal = [&] {
    const double reach = morlet_shape(fs, frequencies.front(), k_tfr_long_cycles).last_point;
    return make_coarse_signal(tfr_signal(n_samples, rr_seconds, fs), boundaries,
                              static_cast<std::size_t>(reach), fs);
  }();
  result.cols = n_samples;
  result.expected_row = tfr_expected_row(frequencies, cycle_seconds);
  Rows rows{frequencies,
            static_cast<std::size_t>(result.expected_row),
            {&result.tfr3, &result.tfr10},
            {}};
  compute_pictures(signal, fs, rows, threads);
  const TfrScale scale3 = tfr3_scale(rows.expected[0]), scale10 = tfr10_scale(rows.expected[1]);
  result.tfr3_centre = scale3.centre;
  result.tfr3_half_range = scale3.half_range;
  result.tfr10_centre = scale10.centre;
  result.tfr10_half_range = scale10.half_range;
  result.cycle_log_power = tfr_cycle_log_power(rows.expected[1], boundaries);
  result.valid = true;
  return result;
}

}  // namespace tvn
