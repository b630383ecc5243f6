// A time-frequency matrix as a heat map: time to the right, frequency upwards. Colour is kept for
// power above what is normal for the person; the rest is grey.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/tfr/fast.h"
#include "picture/rgb_image.h"

namespace tvn {

// Nine colours, evenly spaced over [0, 1], from blue over grey to red: the diverging map of
// Moreland, "Diverging Color Maps for Scientific Visualization" (2009).
inline constexpr std::array<std::array<double, 3>, 9> tfr_colour_stops = {{{59, 76, 192},
                                                                           {98, 130, 234},
                                                                           {141, 176, 254},
                                                                           {184, 208, 249},
                                                                           {221, 221, 221},
                                                                           {245, 196, 173},
                                                                           {244, 154, 123},
                                                                           {222, 96, 77},
                                                                           {180, 4, 38}}};

inline constexpr int k_sex_code_female = 70;  // 'F'
inline constexpr int k_sex_code_male = 77;    // 'M'

// The natural logarithm of the power that is normal at this age in years: a line for women (code
// 70), a cubic for everybody else.
double normative_log_power(int sex_code, double age);

// What a picture shows beside the power itself.
struct TfrImageSettings {
  std::int32_t expected_row = 0;  // matrix row of the breathing frequency: the green line
  int sex_code = k_sex_code_male;
  std::int32_t age = 40;        // years
  bool soft_grey = false;       // below the normal level: pale colours instead of grey
  double centre = 0;            // power in the middle of the colours
  double half_range = 1;        // power from there to the last colour
  double cycle_seconds = 16;    // a dark vertical line at each cycle's begin
  double fs = 130;              // matrix columns per second
  double vertical_stretch = 1;  // factor of the height; 1.001 and less leave it
};

// 'F' for exactly "F", 'M' for everything else.
int sex_code_of(std::string_view sex);

// `settings` with what belongs to the picture of high time resolution, and to that of high
// frequency resolution: the line of the expected frequency and the picture's own colour scale.
TfrImageSettings high_time_settings(TfrImageSettings settings, const TfrPictures& pictures);
TfrImageSettings high_frequency_settings(TfrImageSettings settings, const TfrPictures& pictures);

// The columns of a whole matrix (rows x cols, row-major) that its picture shows. Empty for an empty
// matrix or one with fewer values than rows x cols.
TfrPicture sample_picture(std::span<const float> matrix, std::size_t rows, std::size_t cols);

// The image of a picture whose matrix has `cols` columns: width x rows pixels, or rows *
// vertical_stretch of them. An empty picture gives an empty image. Some nanoseconds per pixel.
RgbImage render_tfr_picture(const TfrPicture& picture, std::size_t cols,
                            const TfrImageSettings& settings);

// The image of a whole matrix.
RgbImage render_tfr_image(std::span<const float> matrix, std::size_t rows, std::size_t cols,
                          const TfrImageSettings& settings);

// The same as a PNG file.
std::string encode_png(std::span<const float> matrix, std::size_t rows, std::size_t cols,
                       const TfrImageSettings& settings);

}  // namespace tvn
