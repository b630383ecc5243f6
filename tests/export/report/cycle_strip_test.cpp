#include "export/report/cycle_strip.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "analysis/tfr/image.h"
#include "tests/export/pdf_parts.h"

namespace tvn {
namespace {

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double k_infinity = std::numeric_limits<double>::infinity();
constexpr StripPlace k_place = {56, 483, 530, 46};

std::string strip(const std::vector<double>& values, double level = 8) {
  std::string content;
  draw_cycle_strip(content, values, level, k_place);
  return content;
}

// The lines of the strip whose ink is on.
std::vector<std::string> inked_texts(const std::string& content) {
  std::vector<std::string> texts;
  std::istringstream lines(content);
  bool ink = true;
  for (std::string line; std::getline(lines, line);) {
    if (line == "3 Tr") ink = false;
    if (line == "0 Tr") ink = true;
    if (ink) std::ranges::copy(pdf_texts(line), std::back_inserter(texts));
  }
  return texts;
}

void expect_colour(const PdfColour& colour, double r, double g, double b) {
  EXPECT_NEAR(colour.r, r, 1e-12);
  EXPECT_NEAR(colour.g, g, 1e-12);
  EXPECT_NEAR(colour.b, b, 1e-12);
}

TEST(CycleColour, RunsFromOrangeToRedAboveTheLevelAndIsGreyBelow) {
  const double level = normative_log_power('F', 40);
  EXPECT_NEAR(level, 8.3322, 1e-12);
  expect_colour(cycle_colour(9.8322, level), 0.78, 0.325, 0.21);
  expect_colour(cycle_colour(level + 3, level), 0.6, 0.1, 0.07);
  expect_colour(cycle_colour(level + 30, level), 0.6, 0.1, 0.07);
  expect_colour(cycle_colour(level - 2, level), 0.684, 0.684, 0.684);
  expect_colour(cycle_colour(level - 5, level), 0.48, 0.48, 0.48);
  expect_colour(cycle_colour(level - 50, level), 0.48, 0.48, 0.48);
  expect_colour(cycle_colour(level, level), 0.82, 0.82, 0.82);
  for (const double missing : {k_nan, k_infinity, -k_infinity}) {
    expect_colour(cycle_colour(missing, level), 0.9, 0.9, 0.9);
  }
}

TEST(CycleStrip, DrawsCellValueAndNumberOfEachCycle) {
  // Two cells of 241.5 points; the value 9.5 lies half a point above the level: t = 1/6. The label
  // "9.5" counts 3 * 0.52 * 8.5 = 13.26 points, and the second cell has none.
  EXPECT_EQ(strip({9.5, k_nan}, 9),
            "0.9 0.475 0.303333 rg 56 530 240.9 46 re f\n"
            "0 0 0 rg BT /F1 8.5 Tf 170.12 549.75 Td (9.5) Tj ET\n"
            "0.3 0.3 0.3 rg BT /F1 8 Tf 174.67 518 Td (0) Tj ET\n"
            "0.9 0.9 0.9 rg 297.5 530 240.9 46 re f\n"
            "0.3 0.3 0.3 rg BT /F1 8 Tf 416.17 518 Td (1) Tj ET\n");
}

TEST(CycleStrip, ValuesInDarkCellsAreWhite) {
  EXPECT_THAT(strip({20}, 8), testing::HasSubstr("1 1 1 rg BT /F1 8.5 Tf"));
  // Grey 0.48 is dark too; grey 0.684 is not.
  EXPECT_THAT(strip({1}, 8), testing::HasSubstr("1 1 1 rg BT /F1 8.5 Tf"));
  EXPECT_THAT(strip({6}, 8), testing::HasSubstr("0 0 0 rg BT /F1 8.5 Tf"));
}

TEST(CycleStrip, ValuesHaveTwoSignificantDigits) {
  EXPECT_THAT(
      pdf_texts(strip({12.34, -0.567, 0.0, -0.0, 7.96, 123})),
      testing::ElementsAre("12", "0", "-0.57", "1", "0", "2", "0", "3", "8", "4", "1.2e+02", "5"));
}

TEST(CycleStrip, WithTwentyCyclesOddNumbersAreLeftOut) {
  const std::vector<std::string> texts = pdf_texts(strip(std::vector<double>(20, 8.8)));
  std::vector<std::string> expected;
  for (int i = 0; i < 20; ++i) {
    expected.push_back("8.8");
    if (i % 2 == 0) expected.push_back(std::to_string(i));
  }
  EXPECT_EQ(texts, expected);
  const std::string content = strip(std::vector<double>(20, 8.8));
  EXPECT_THAT(content, testing::HasSubstr(" 56 530 23.55 46 re f\n"));  // 24.15 - 0.6
  EXPECT_THAT(content, testing::HasSubstr("/F1 8.5 Tf"));
  EXPECT_EQ(inked_texts(content), expected);
  EXPECT_EQ(pdf_texts(strip(std::vector<double>(18, k_nan))).size(), 18u);
  EXPECT_EQ(pdf_texts(strip(std::vector<double>(19, k_nan))).size(), 10u);
}

TEST(CycleStrip, NarrowCellsHaveSmallerValues) {
  EXPECT_THAT(strip(std::vector<double>(24, 8.8)), testing::HasSubstr("/F1 8.5 Tf"));
  EXPECT_THAT(strip(std::vector<double>(25, 8.8)), testing::HasSubstr("/F1 7 Tf"));
  std::string content;  // 26 cells of 20 points
  draw_cycle_strip(content, std::vector<double>(26, 8.8), 8, {0, 520, 0, 46});
  EXPECT_THAT(content, testing::HasSubstr("/F1 8.5 Tf"));
}

TEST(CycleStrip, WhatHasNoRoomIsTextWithoutInk) {
  const std::string content = strip(std::vector<double>(200, 8.8));
  EXPECT_EQ(pdf_texts(content).size(), 300u);  // 200 values and 100 even numbers
  // A number of three digits is 13.3 points wide, ten cells 24.15.
  std::vector<std::string> expected;
  for (int i = 0; i < 200; i += 10) expected.push_back(std::to_string(i));
  EXPECT_EQ(inked_texts(content), expected);
}

// Numbers that are drawn do not touch, whatever the number of cycles: by their real widths.
TEST(CycleStrip, NumbersNeverTouch) {
  for (std::size_t n = 1; n < 3000; n += n < 100 ? 1 : 97) {
    const auto texts = inked_texts(strip(std::vector<double>(n, k_nan)));
    ASSERT_GE(texts.size(), 1u);
    const double step = texts.size() > 1 ? std::stod(texts[1]) : static_cast<double>(n);
    const double widest = 0.556 * 8 * static_cast<double>(texts.back().size());
    EXPECT_GT(step * 483 / static_cast<double>(n), widest) << n;
    EXPECT_GE(texts.size(), std::min<std::size_t>(n, 9)) << n;
  }
}

TEST(CycleStrip, MoreThan805CellsStandWithoutGaps) {
  const auto width_of_cells = [](std::size_t n) {
    const std::string content = strip(std::vector<double>(n, k_nan));
    return pdf_tokens(content)[6];  // r g b rg x y w h re f
  };
  EXPECT_NEAR(std::stod(width_of_cells(804)), 483.0 / 804 - 0.6, 1e-9);
  EXPECT_NEAR(std::stod(width_of_cells(806)), 483.0 / 806, 1e-6);
  EXPECT_NEAR(std::stod(width_of_cells(3000)), 0.161, 1e-9);
}

// In the narrower strips of several recordings that begins with fewer cells: 345 / 0.6 = 575.
TEST(CycleStrip, CellsOfANarrowStripAreNeverOfNegativeWidth) {
  const auto width_of_cells = [](std::size_t n) {
    std::string content;
    draw_cycle_strip(content, std::vector<double>(n, k_nan), 8, {194, 345, 500, 30});
    return std::stod(pdf_tokens(content)[6]);  // r g b rg x y w h re f
  };
  EXPECT_NEAR(width_of_cells(574), 345.0 / 574 - 0.6, 1e-6);
  EXPECT_NEAR(width_of_cells(576), 345.0 / 576, 1e-6);
  EXPECT_NEAR(width_of_cells(805), 345.0 / 805, 1e-6);
}

TEST(CycleStrip, NoCyclesDrawNothing) {
  EXPECT_EQ(strip({}), "");
}

TEST(MeanText, HasThreeDecimals) {
  EXPECT_EQ(mean_text(11.38749), "pow (mean): 11.387");
  EXPECT_EQ(mean_text(-0.0001), "pow (mean): 0.000");
  EXPECT_EQ(mean_text(k_nan), "pow (mean): n/a");
  EXPECT_EQ(mean_text(-k_infinity), "pow (mean): n/a");
}

}  // namespace
}  // namespace tvn
