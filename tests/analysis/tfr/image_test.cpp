#include "analysis/tfr/image.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include "picture/png.h"

namespace tvn {
namespace {

using Pixel = std::array<int, 3>;

Pixel pixel(const RgbImage& image, std::size_t x, std::size_t y) {
  const std::uint8_t* p = image.pixels.data() + (y * image.width + x) * 3;
  return {p[0], p[1], p[2]};
}

// Settings that show the power itself: every power counts as above normal, no line in sight.
TfrImageSettings plain_settings() {
  TfrImageSettings settings;
  settings.expected_row = -10;
  settings.sex_code = k_sex_code_female;
  settings.age = 100000;  // 9.465 - 2832: any power is above that
  settings.centre = 0.5;
  settings.half_range = 0.5;
  settings.cycle_seconds = 0;
  return settings;
}

// A matrix of one row, drawn with the settings.
RgbImage row_image(const std::vector<float>& powers, const TfrImageSettings& settings) {
  return render_tfr_image(powers, 1, powers.size(), settings);
}

TEST(NormativeLogPower, FollowsAgeAndSex) {
  EXPECT_NEAR(normative_log_power('F', 40), 8.3322, 1e-12);
  EXPECT_NEAR(normative_log_power('M', 40), 9.1148, 1e-12);
  // 3.458 + 0.3903 * 50 - 0.008024 * 2500 + 0.00004505 * 125000
  EXPECT_NEAR(normative_log_power('M', 50), 8.54425, 1e-12);
  EXPECT_EQ(normative_log_power('x', 40), normative_log_power('M', 40));
}

// By hand: 9.465 - 0.02832 * 63; 3.458 + 0.3903 * 20 - 0.008024 * 400 + 0.00004505 * 8000.
TEST(NormativeLogPower, OfOtherAges) {
  EXPECT_NEAR(normative_log_power('F', 63), 7.68084, 1e-12);
  EXPECT_NEAR(normative_log_power('F', 0), 9.465, 1e-12);
  EXPECT_NEAR(normative_log_power('M', 20), 8.4148, 1e-12);
}

// The codes are the letters' own, in ASCII.
TEST(SexCode, IsThatOfAManUnlessTheTextIsF) {
  EXPECT_EQ(sex_code_of("F"), 70);
  for (const char* text : {"M", "f", "", "FF"}) EXPECT_EQ(sex_code_of(text), 77) << text;
}

TEST(TfrImage, EachPictureHasItsOwnScaleAndTheSameLine) {
  TfrPictures pictures;
  pictures.expected_row = 17;
  pictures.tfr3_centre = 3.5, pictures.tfr3_half_range = 3.25;
  pictures.tfr10_centre = 10.5, pictures.tfr10_half_range = 10.25;
  TfrImageSettings given;
  given.age = 63;
  const TfrImageSettings time = high_time_settings(given, pictures);
  const TfrImageSettings frequency = high_frequency_settings(given, pictures);
  EXPECT_EQ(std::tuple(time.expected_row, time.centre, time.half_range, time.age),
            std::tuple(17, 3.5, 3.25, 63));
  EXPECT_EQ(std::tuple(frequency.expected_row, frequency.centre, frequency.half_range),
            std::tuple(17, 10.5, 10.25));
  EXPECT_EQ(frequency.age, 63);
}

TEST(TfrImage, IsAtMost1200PixelsWide) {
  EXPECT_EQ(row_image(std::vector<float>(800), plain_settings()).width, 800u);
  EXPECT_EQ(row_image(std::vector<float>(1200), plain_settings()).width, 1200u);
  EXPECT_EQ(row_image(std::vector<float>(10000), plain_settings()).width, 1200u);
}

TEST(SamplePicture, OfAnEmptyOrIncompleteMatrixIsEmpty) {
  const std::vector<float> powers(6);
  EXPECT_EQ(sample_picture(powers, 2, 3).width, 3u);
  for (const auto& [rows, cols] : {std::pair{0, 3}, {2, 0}, {0, 0}, {2, 4}, {3, 3}}) {
    const TfrPicture picture =
        sample_picture(powers, static_cast<std::size_t>(rows), static_cast<std::size_t>(cols));
    EXPECT_EQ(picture.width, 0u) << rows << " x " << cols;
    EXPECT_TRUE(picture.values.empty());
  }
}

TEST(TfrImage, SamplesTheLowerNeighbourColumn) {
  std::vector<float> powers(3000, 0.0f);
  powers[2997] = 1.0f;  // trunc(1199 / 1200 * 3000)
  const RgbImage image = row_image(powers, plain_settings());
  EXPECT_EQ(pixel(image, 1199, 0), (Pixel{180, 4, 38}));
  EXPECT_EQ(pixel(image, 1198, 0), (Pixel{59, 76, 192}));
}

TEST(TfrImage, PutsLowFrequenciesAtTheBottom) {
  const std::vector<float> matrix = {0.0f, 0.0f, 1.0f, 1.0f};
  const RgbImage image = render_tfr_image(matrix, 2, 2, plain_settings());
  EXPECT_EQ(pixel(image, 0, 0), (Pixel{180, 4, 38}));
  EXPECT_EQ(pixel(image, 0, 1), (Pixel{59, 76, 192}));
}

TEST(TfrImage, InterpolatesBetweenTheColourStops) {
  const RgbImage image =
      row_image({0.0f, 0.125f, 0.5f, 0.9375f, 1.0f, -3.0f, 7.0f}, plain_settings());
  EXPECT_EQ(pixel(image, 0, 0), (Pixel{59, 76, 192}));
  EXPECT_EQ(pixel(image, 1, 0), (Pixel{98, 130, 234}));
  EXPECT_EQ(pixel(image, 2, 0), (Pixel{221, 221, 221}));
  EXPECT_EQ(pixel(image, 3, 0), (Pixel{201, 50, 57}));  // half way from stop 7 to 8, truncated
  EXPECT_EQ(pixel(image, 4, 0), (Pixel{180, 4, 38}));
  EXPECT_EQ(pixel(image, 5, 0), (Pixel{59, 76, 192}));
  EXPECT_EQ(pixel(image, 6, 0), (Pixel{180, 4, 38}));
}

// The nine colours, written as a web page's colour picker gives them.
TEST(TfrImage, HasTheNineColourStops) {
  constexpr int k_stops[] = {0x3B4CC0, 0x6282EA, 0x8DB0FE, 0xB8D0F9, 0xDDDDDD,
                             0xF5C4AD, 0xF49A7B, 0xDE604D, 0xB40426};
  for (int i = 0; i < 9; ++i) {
    const RgbImage image = row_image({static_cast<float>(i) / 8}, plain_settings());
    const auto [r, g, b] = pixel(image, 0, 0);
    EXPECT_EQ(r << 16 | g << 8 | b, k_stops[i]) << i;
  }
}

TEST(TfrImage, WithoutARangeOnlySplitsAtTheCentre) {
  TfrImageSettings settings = plain_settings();
  settings.centre = 5;
  settings.half_range = 0;
  const RgbImage image = row_image({4.9f, 5.0f, std::nextafter(5.0f, 6.0f)}, settings);
  EXPECT_EQ(pixel(image, 0, 0), (Pixel{59, 76, 192}));
  EXPECT_EQ(pixel(image, 1, 0), (Pixel{59, 76, 192}));
  EXPECT_EQ(pixel(image, 2, 0), (Pixel{180, 4, 38}));
}

// Without a range the scale is 1e-9 wide.
TEST(TfrImage, ARangeOfNothingIsWidenedUpwards) {
  TfrImageSettings settings = plain_settings();
  settings.centre = settings.half_range = 0;
  const RgbImage image = row_image({0.0f, 0.5e-9f, 1e-9f}, settings);
  EXPECT_EQ(pixel(image, 0, 0), (Pixel{59, 76, 192}));
  EXPECT_EQ(pixel(image, 2, 0), (Pixel{180, 4, 38}));
  EXPECT_NE(pixel(image, 1, 0), pixel(image, 0, 0));
  EXPECT_NE(pixel(image, 1, 0), pixel(image, 2, 0));
}

// The logarithm is that of 1e-30 at least, -69.08: above the level of 9.465 - 0.02832 * 2800 =
// -69.83, and below that of 9.465 - 0.02832 * 2770 = -68.98.
TEST(TfrImage, NoPowerAtAllCountsAsAVerySmallOne) {
  TfrImageSettings settings = plain_settings();
  settings.half_range = 2;
  settings.age = 2800;
  EXPECT_NE(pixel(row_image({0.0f}, settings), 0, 0)[0],
            pixel(row_image({0.0f}, settings), 0, 0)[2]);
  settings.age = 2770;
  EXPECT_EQ(pixel(row_image({0.0f}, settings), 0, 0)[0],
            pixel(row_image({0.0f}, settings), 0, 0)[2]);
}

TEST(TfrImage, IsGreyUpToTheNormalLevel) {
  TfrImageSettings settings = plain_settings();
  settings.age = 0;  // the level of a newborn girl, 9.465
  settings.centre = 10000;
  settings.half_range = 10000;
  const auto level = static_cast<float>(std::exp(9.465));
  const RgbImage image =
      row_image({0.0f, 5000.0f, 10000.0f, level * 0.9999f, level * 1.0001f}, settings);
  EXPECT_EQ(pixel(image, 0, 0), (Pixel{255, 255, 255}));
  EXPECT_EQ(pixel(image, 1, 0), (Pixel{191, 191, 191}));  // round(0.75 * 255)
  EXPECT_EQ(pixel(image, 2, 0), (Pixel{128, 128, 128}));  // round(127.5)
  const Pixel below = pixel(image, 3, 0);
  EXPECT_TRUE(below[0] == below[1] && below[1] == below[2]);
  const Pixel above = pixel(image, 4, 0);
  EXPECT_TRUE(above[0] != above[1] || above[1] != above[2]);
}

// The colour must turn at the very float at which the logarithm passes the level.
TEST(TfrImage, DecidesLikeTheLogarithmOfEachPower) {
  TfrImageSettings settings = plain_settings();
  settings.centre = settings.half_range = 1e6;
  for (int age = 0; age < 100; ++age) {
    settings.age = age;
    const double normal = normative_log_power(settings.sex_code, age);
    auto power = static_cast<float>(std::exp(normal));
    std::vector<float> powers;
    for (int i = 0; i < 6; ++i) power = std::nextafter(power, 0.0f);
    for (int i = 0; i < 12; ++i) powers.push_back(power = std::nextafter(power, 1e30f));
    const RgbImage image = row_image(powers, settings);
    for (std::size_t x = 0; x < powers.size(); ++x) {
      const Pixel p = pixel(image, x, 0);
      const bool is_grey = p[0] == p[1] && p[1] == p[2];
      ASSERT_EQ(is_grey, !(std::log(static_cast<double>(powers[x])) > normal)) << age << " " << x;
    }
  }
}

TEST(TfrImage, SoftGreyIsPaleColour) {
  TfrImageSettings settings = plain_settings();
  settings.age = 0;
  settings.soft_grey = true;
  const RgbImage image = row_image({0.0f, 0.5f}, settings);
  // 59 * 0.45 + 255 * 0.55 = 166.8, 76 * 0.45 + ... = 174.45, 192 * 0.45 + ... = 226.65
  EXPECT_EQ(pixel(image, 0, 0), (Pixel{166, 174, 226}));
  // 221 * 0.45 + 0.5 * 255 * 0.55 = 169.575
  EXPECT_EQ(pixel(image, 1, 0), (Pixel{169, 169, 169}));
}

TEST(TfrImage, MarksTheExpectedFrequency) {
  TfrImageSettings settings = plain_settings();
  const std::vector<float> matrix(5 * 4, 0.0f);
  const Pixel green{20, 150, 20};
  for (const int row : {0, 2, 4}) {
    settings.expected_row = row;
    const RgbImage image = render_tfr_image(matrix, 5, 4, settings);
    for (int y = 0; y < 5; ++y) {
      const bool on_line = y == 4 - row || y == 3 - row;
      for (std::size_t x = 0; x < 4; ++x) {
        EXPECT_EQ(pixel(image, x, static_cast<std::size_t>(y)) == green, on_line) << row << y;
      }
    }
  }
  settings.expected_row = -1;  // the row below the picture: only the upper half of the line shows
  EXPECT_EQ(pixel(render_tfr_image(matrix, 5, 4, settings), 0, 4), green);
}

TEST(TfrImage, MarksEachCycle) {
  TfrImageSettings settings = plain_settings();
  settings.cycle_seconds = 16;
  settings.fs = 130;
  const RgbImage image = row_image(std::vector<float>(33434, 0.0f), settings);
  for (std::size_t x = 0; x < 1200; ++x) {
    bool on_line = false;
    for (int cycle = 0; cycle * 2080 < 33434; ++cycle) {
      on_line = on_line || x == static_cast<std::size_t>(cycle * 2080 / 33434.0 * 1200);
    }
    EXPECT_EQ(pixel(image, x, 0) == (Pixel{30, 30, 30}), on_line) << x;
  }
}

TEST(TfrImage, ACycleAsLongAsAColumnMarksEveryColumn) {
  TfrImageSettings settings = plain_settings();
  settings.cycle_seconds = 1;
  settings.fs = 1;
  const RgbImage image = row_image({0, 0, 0}, settings);
  for (std::size_t x = 0; x < 3; ++x) EXPECT_EQ(pixel(image, x, 0), (Pixel{30, 30, 30})) << x;
}

TEST(TfrImage, CyclesOfNoLengthAreHarmless) {
  TfrImageSettings settings = plain_settings();
  for (const double cycle : {0.0, -1.0, 1e-300, std::nan(""), 1e300}) {
    settings.cycle_seconds = cycle;
    EXPECT_EQ(row_image({0, 0, 0}, settings).width, 3u);
  }
}

TEST(TfrImage, StretchesByRepeatingRows) {
  TfrImageSettings settings = plain_settings();
  settings.vertical_stretch = 1.5;
  const std::vector<float> matrix = {0.0f, 0.5f, 1.0f};  // bottom to top
  const RgbImage image = render_tfr_image(matrix, 3, 1, settings);
  ASSERT_EQ(image.height, 5u);  // round(4.5)
  const Pixel top{180, 4, 38}, middle{221, 221, 221}, bottom{59, 76, 192};
  const std::array<Pixel, 5> wanted = {top, top, middle, middle, bottom};  // trunc(y / 5 * 3)
  for (std::size_t y = 0; y < 5; ++y) EXPECT_EQ(pixel(image, 0, y), wanted[y]) << y;
  settings.vertical_stretch = 1.001;
  EXPECT_EQ(render_tfr_image(matrix, 3, 1, settings).height, 3u);
}

TEST(TfrImage, PowersThatAreNoNumberAreTheLowest) {
  constexpr float k_nan = std::numeric_limits<float>::quiet_NaN();
  const RgbImage image = row_image(
      {k_nan, -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity()},
      plain_settings());
  EXPECT_EQ(pixel(image, 0, 0), (Pixel{255, 255, 255}));
  EXPECT_EQ(pixel(image, 2, 0), (Pixel{180, 4, 38}));
}

TEST(TfrImage, OfAnEmptyMatrixIsEmpty) {
  EXPECT_TRUE(render_tfr_image({}, 0, 0, {}).pixels.empty());
  EXPECT_TRUE(render_tfr_image(std::vector<float>(5), 2, 3, {}).pixels.empty());
  EXPECT_EQ(encode_png({}, 0, 0, {}), "");
}

TEST(EncodePng, EncodesTheRenderedPicture) {
  const std::vector<float> matrix(20, 0.5f);
  EXPECT_EQ(encode_png(matrix, 4, 5, plain_settings()),
            png_file(render_tfr_image(matrix, 4, 5, plain_settings())));
}

}  // namespace
}  // namespace tvn
