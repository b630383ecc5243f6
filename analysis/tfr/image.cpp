#include "analysis/tfr/image.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/rounding.h"
#include "picture/png.h"

namespace tvn {
namespace {

struct Rgb {
  std::uint8_t r, g, b;
};

constexpr Rgb k_expected_line = {20, 150, 20};
constexpr Rgb k_cycle_line = {30, 30, 30};
constexpr double k_lowest_power = 1e-30;  // what the logarithm is taken of at least
constexpr double k_least_range = 1e-9;
constexpr double k_soft_grey_part = 0.55;
constexpr double k_least_stretch = 1.001;

std::uint8_t* pixel_at(RgbImage& image, std::size_t x, std::size_t y) {
  return image.pixels.data() + (y * image.width + x) * 3;
}

void put(std::uint8_t* pixel, Rgb colour) {
  pixel[0] = colour.r;
  pixel[1] = colour.g;
  pixel[2] = colour.b;
}

// t in [0, 1].
Rgb map_colour(double t) {
  const double position = t * static_cast<double>(tfr_colour_stops.size() - 1);
  const auto i = std::min(static_cast<std::size_t>(position), tfr_colour_stops.size() - 2);
  const double f = position - static_cast<double>(i);
  const auto channel = [&](std::size_t k) {
    const double from = tfr_colour_stops[i][k];
    const double to = tfr_colour_stops[i + 1][k];
    return static_cast<std::uint8_t>(std::clamp(from + f * (to - from), 0.0, 255.0));
  };
  return {channel(0), channel(1), channel(2)};
}

// (1 - t) * 255 to the nearest level, halves upwards; std::round would be a call for each pixel.
std::uint8_t grey_level(double t) {
  const double exact = (1 - t) * 255;
  const auto below = static_cast<std::uint8_t>(exact);
  return static_cast<std::uint8_t>(below + (exact - below >= 0.5 ? 1 : 0));
}

Rgb soft_grey(Rgb colour, double t) {
  const auto pale = [t](std::uint8_t channel) {
    return static_cast<std::uint8_t>(channel * (1 - k_soft_grey_part) +
                                     (1 - t) * 255 * k_soft_grey_part);
  };
  return {pale(colour.r), pale(colour.g), pale(colour.b)};
}

bool is_above_normal(float power, double normal) {
  return std::log(std::max(static_cast<double>(power), k_lowest_power)) > normal;
}

// The smallest power whose logarithm is above normal. The logarithm only grows, so that comparing
// with this one number decides like taking the logarithm of every pixel; infinity when no power is.
float least_power_above(double normal) {
  constexpr float k_infinity = std::numeric_limits<float>::infinity();
  if (is_above_normal(0.0f, normal)) return -k_infinity;  // even nothing is
  const double guess = std::exp(normal);
  if (!(guess < static_cast<double>(std::numeric_limits<float>::max()))) return k_infinity;
  auto power = static_cast<float>(guess);
  while (power > 0 && is_above_normal(power, normal)) power = std::nextafter(power, 0.0f);
  while (!is_above_normal(power, normal) && power < k_infinity) {
    power = std::nextafter(power, k_infinity);
  }
  return power;
}

// The colours of one picture.
class Palette {
 public:
  explicit Palette(const TfrImageSettings& settings)
      : low_(settings.centre - settings.half_range),
        high_(settings.centre + settings.half_range),
        coloured_from_(least_power_above(normative_log_power(settings.sex_code, settings.age))),
        soft_grey_(settings.soft_grey) {
    if (!(high_ > low_)) high_ = low_ + k_least_range;
  }

  // Straight into the picture: a colour of three bytes on its way through memory costs more than
  // all else here.
  void paint(float power, std::uint8_t* pixel) const {
    const double scaled = (static_cast<double>(power) - low_) / (high_ - low_);
    const double t = scaled > 0 ? std::min(scaled, 1.0) : 0.0;  // not a number counts as nothing
    if (power >= coloured_from_) {
      put(pixel, map_colour(t));
    } else if (soft_grey_) {
      put(pixel, soft_grey(map_colour(t), t));
    } else {
      std::fill_n(pixel, 3, grey_level(t));
    }
  }

 private:
  double low_, high_;
  float coloured_from_;
  bool soft_grey_;
};

// A line two pixels thick, on the expected row and the one above it.
void draw_expected_line(RgbImage& image, std::int64_t expected_row) {
  const std::int64_t line = static_cast<std::int64_t>(image.height) - 1 - expected_row;
  for (const std::int64_t y : {line, line - 1}) {
    if (y < 0 || y >= static_cast<std::int64_t>(image.height)) continue;
    for (std::size_t x = 0; x < image.width; ++x) {
      put(pixel_at(image, x, static_cast<std::size_t>(y)), k_expected_line);
    }
  }
}

void draw_cycle_lines(RgbImage& image, std::size_t cols, double cycle_columns) {
  const auto total = static_cast<double>(cols);
  if (!(cycle_columns > 0)) return;
  // Cycles shorter than a column do not occur; the step is limited so that the loop always ends.
  const double step = std::max(cycle_columns, 1.0);
  for (double column = 0; column < total; column += step) {
    const double x = column / total * image.width;
    if (!(x < image.width)) continue;
    for (std::size_t y = 0; y < image.height; ++y) {
      put(pixel_at(image, static_cast<std::size_t>(x), y), k_cycle_line);
    }
  }
}

RgbImage stretched(RgbImage image, double factor) {
  if (!(factor > k_least_stretch)) return image;
  const double height = image.height;
  RgbImage result;
  result.width = image.width;
  result.height = round_to_integer<std::uint32_t>(height * factor);
  const std::size_t row_bytes = std::size_t{image.width} * 3;
  result.pixels.resize(row_bytes * result.height);
  for (std::size_t y = 0; y < result.height; ++y) {
    const double source = static_cast<double>(y) / result.height * height;
    const std::size_t row =
        std::min<std::size_t>(static_cast<std::size_t>(source), image.height - 1);
    std::copy_n(image.pixels.data() + row * row_bytes, row_bytes,
                result.pixels.data() + y * row_bytes);
  }
  return result;
}

}  // namespace

double normative_log_power(int sex_code, double age) {
  if (sex_code == k_sex_code_female) return 9.465 - 0.02832 * age;
  return 3.458 + 0.3903 * age - 0.008024 * age * age + 4.505e-5 * age * age * age;
}

int sex_code_of(std::string_view sex) {
  return sex == "F" ? k_sex_code_female : k_sex_code_male;
}

TfrImageSettings high_time_settings(TfrImageSettings settings, const TfrPictures& pictures) {
  settings.expected_row = pictures.expected_row;
  settings.centre = pictures.tfr3_centre;
  settings.half_range = pictures.tfr3_half_range;
  return settings;
}

TfrImageSettings high_frequency_settings(TfrImageSettings settings, const TfrPictures& pictures) {
  settings.expected_row = pictures.expected_row;
  settings.centre = pictures.tfr10_centre;
  settings.half_range = pictures.tfr10_half_range;
  return settings;
}

TfrPicture sample_picture(std::span<const float> matrix, std::size_t rows, std::size_t cols) {
  if (rows == 0 || cols == 0 || matrix.size() / cols < rows) return {};
  TfrPicture picture{rows, std::min(cols, k_tfr_picture_columns), {}};
  picture.values.reserve(rows * picture.width);
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t x = 0; x < picture.width; ++x) {
      picture.values.push_back(matrix[row * cols + tfr_matrix_column(x, picture.width, cols)]);
    }
  }
  return picture;
}

RgbImage render_tfr_picture(const TfrPicture& picture, std::size_t cols,
                            const TfrImageSettings& settings) {
  if (picture.values.empty()) return {};
  RgbImage image;
  image.width = static_cast<std::uint32_t>(picture.width);
  image.height = static_cast<std::uint32_t>(picture.rows);
  image.pixels.resize(picture.width * picture.rows * 3);
  const Palette palette(settings);
  for (std::size_t y = 0; y < picture.rows; ++y) {
    const float* row = picture.values.data() + (picture.rows - 1 - y) * picture.width;
    std::uint8_t* pixel = pixel_at(image, 0, y);
    for (std::size_t x = 0; x < picture.width; ++x, pixel += 3) palette.paint(row[x], pixel);
  }
  draw_expected_line(image, settings.expected_row);
  draw_cycle_lines(image, cols, settings.cycle_seconds * settings.fs);
  return stretched(std::move(image), settings.vertical_stretch);
}

RgbImage render_tfr_image(std::span<const float> matrix, std::size_t rows, std::size_t cols,
                          const TfrImageSettings& settings) {
  return render_tfr_picture(sample_picture(matrix, rows, cols), cols, settings);
}

std::string encode_png(std::span<const float> matrix, std::size_t rows, std::size_t cols,
                       const TfrImageSettings& settings) {
  return png_file(render_tfr_image(matrix, rows, cols, settings));
}

}  // namespace tvn
