#include "export/report/hr_chart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "tests/export/pdf_parts.h"

namespace tvn {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double k_infinity = std::numeric_limits<double>::infinity();

std::string chart(const std::vector<double>& hr, const std::vector<PdfMarker>& markers = {},
                  double cycle_seconds = 0) {
  std::string content;
  draw_hr_chart(content, hr, markers, cycle_seconds);
  return content;
}

std::size_t count_of(const std::string& content, const std::string& token) {
  return static_cast<std::size_t>(std::ranges::count(pdf_tokens(content), token));
}

TEST(HrChart, IsDrawnToTheByte) {
  // Three values: 0.3 s. The scale is 40 to 120: 60 stands a quarter of the height up, 80 half.
  const std::string expected =
      "0.7 0.7 0.7 RG 0.5 w 98 660 m 98 770 l S\n"
      "0.7 0.7 0.7 RG 0.5 w 384.667 660 m 384.667 770 l S\n"
      "0.12 0.25 0.55 RG 0.7 w [2 2] 0 d 241.333 660 m 241.333 770 l S [] 0 d\n"
      "0.12 0.25 0.55 rg BT /F2 7 Tf 239.513 772 Td (5) Tj ET\n"
      "0.55 0.55 0.55 RG 0.8 w 98 660 m 98 770 l S\n"
      "0.55 0.55 0.55 RG 0.8 w 98 660 m 528 660 l S\n"
      "0.55 0.55 0.55 RG 0.6 w 95 660 m 98 660 l S\n"
      "0.3 0.3 0.3 rg BT /F1 8 Tf 83.68 657 Td (40) Tj ET\n"
      "0.55 0.55 0.55 RG 0.6 w 95 687.5 m 98 687.5 l S\n"
      "0.3 0.3 0.3 rg BT /F1 8 Tf 83.68 684.5 Td (60) Tj ET\n"
      "0.55 0.55 0.55 RG 0.6 w 95 715 m 98 715 l S\n"
      "0.3 0.3 0.3 rg BT /F1 8 Tf 83.68 712 Td (80) Tj ET\n"
      "0.55 0.55 0.55 RG 0.6 w 95 742.5 m 98 742.5 l S\n"
      "0.3 0.3 0.3 rg BT /F1 8 Tf 79.52 739.5 Td (100) Tj ET\n"
      "0.55 0.55 0.55 RG 0.6 w 95 770 m 98 770 l S\n"
      "0.3 0.3 0.3 rg BT /F1 8 Tf 79.52 767 Td (120) Tj ET\n"
      "0.3 0.3 0.3 rg BT /F1 9 Tf 0 1 -1 0 68 691 Tm (HR \\(BPM\\)) Tj ET\n"
      "0.90 0.35 0.10 RG 1.2 w\n"
      "98 687.5 m\n"
      "241.333 715 l\n"
      "384.667 701.25 l\n"
      "S\n"
      "0.3 0.3 0.3 rg BT /F1 9 Tf 294.28 644 Td (Time \\(s\\)) Tj ET\n"
      "0.3 0.3 0.3 rg BT /F1 8 Tf 95 646 Td (0) Tj ET\n"
      "0.3 0.3 0.3 rg BT /F1 8 Tf 523.84 646 Td (0) Tj ET\n";
  EXPECT_EQ(chart({60, 80, 70}, {{0.1, "5"}}, 0.2), expected);
}

std::vector<std::string> ticks(const std::vector<double>& hr) {
  std::vector<std::string> texts = pdf_texts(chart(hr));
  texts.resize(static_cast<std::size_t>(std::ranges::find(texts, "HR (BPM)") - texts.begin()));
  return texts;
}

TEST(HrChart, TheScaleTakesInEveryRateFromTwentyUpwards) {
  EXPECT_THAT(ticks({55, 95}), ElementsAre("40", "60", "80", "100", "120"));
  // 20 to 205
  EXPECT_THAT(ticks({10, 200}),
              ElementsAre("20", "40", "60", "80", "100", "120", "140", "160", "180", "200"));
  // (44 - 5) / 5 is cut to 7: 35; (116 + 5) / 5 is raised to 25: 125.
  EXPECT_THAT(ticks({44, 116}), ElementsAre("35", "55", "75", "95", "115"));
  EXPECT_THAT(ticks({}), ElementsAre("40", "60", "80", "100", "120"));
}

TEST(HrChart, RatesNoHeartHasLeaveTheLabelsReadable) {
  EXPECT_LE(ticks({60, 5000}).size(), 21u);
  EXPECT_LE(ticks({60, 1e300}).size(), 21u);
  EXPECT_LE(ticks({-1e300, 60}).size(), 21u);
  EXPECT_EQ(ticks({60, 410})[1], "60");  // 40 to 415: still every twenty
}

TEST(HrChart, FewerThanTwoValuesAreNoCurve) {
  for (const std::vector<double>& hr : {std::vector<double>{}, {70.0}, {k_nan, k_nan}}) {
    const std::string content = chart(hr, {{1.0, "1"}, {1.01, "2"}}, 0.25);
    EXPECT_THAT(content, HasSubstr("0.5 0.5 0.5 rg BT /F1 10 Tf 98 715 Td "
                                   "(\\(heart-rate series unavailable\\)) Tj ET\n"));
    EXPECT_THAT(pdf_texts(content), Not(Contains("Time (s)")));
    EXPECT_THAT(content, Not(HasSubstr("0.90 0.35 0.10")));
  }
  // The plot then stands for one second: five grid lines, one of two markers.
  const std::string content = chart({}, {{1.0, "1"}, {1.01, "2"}}, 0.25);
  EXPECT_EQ(count_of(content, "S"), 5u + 1u + 2u + 5u);
  EXPECT_THAT(content, HasSubstr(" 528 660 m 528 770 l S [] 0 d\n"));
}

TEST(HrChart, ALongCurveIsThinnedToThePage) {
  // 36000 / 455 is 79 in whole numbers: values 0, 79, ... 35945 make 456 points.
  const std::string content = chart(std::vector<double>(36000, 70.0));
  EXPECT_EQ(count_of(content, "l"), 2u + 5u + 455u);
  EXPECT_THAT(content, HasSubstr("\n"
                                 "527.343 701.25 l\nS\n"));  // 3594.5 / 3600 * 430 + 98
  EXPECT_THAT(pdf_texts(content).back(), "3600");
  EXPECT_EQ(count_of(chart(std::vector<double>(909, 70.0)), "l"), 2u + 5u + 908u);
  EXPECT_EQ(count_of(chart(std::vector<double>(910, 70.0)), "l"), 2u + 5u + 454u);
}

TEST(HrChart, TheSecondsAreRounded) {
  EXPECT_EQ(pdf_texts(chart(std::vector<double>(2574, 70.0))).back(), "257");
  EXPECT_EQ(pdf_texts(chart(std::vector<double>(2576, 70.0))).back(), "258");
}

TEST(HrChart, MissingRatesAreGapsInTheCurve) {
  EXPECT_THAT(chart({k_nan, 60, k_infinity, 80, 80, -k_infinity}),
              HasSubstr("0.90 0.35 0.10 RG 1.2 w\n"
                        "169.667 687.5 m\n"
                        "313 715 m\n"
                        "384.667 715 l\n"
                        "S\n"));
}

TEST(HrChart, TheGridEndsWithThePlot) {
  // 160 s and cycles of 16 s: the last line lies on the right edge.
  EXPECT_EQ(count_of(chart(std::vector<double>(1600, 70.0), {}, 16), "S"), 11u + 2u + 5u + 1u);
  EXPECT_THAT(chart(std::vector<double>(1600, 70.0), {}, 16),
              HasSubstr("0.7 0.7 0.7 RG 0.5 w 528 660 m 528 770 l S\n"));
  for (const double none : {0.0, -1.0, k_nan, 1e-9}) {
    EXPECT_EQ(count_of(chart({70, 70}, {}, none), "S"), 2u + 5u + 1u) << none;
  }
}

}  // namespace
}  // namespace tvn
