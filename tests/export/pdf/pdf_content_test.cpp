#include "export/pdf/pdf_content.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/export/comma_locale.h"

namespace tvn {
namespace {

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double k_infinity = std::numeric_limits<double>::infinity();

std::string number(double value) {
  std::string content;
  append_pdf_number(content, value);
  return content;
}

TEST(PdfNumber, HasSixSignificantDigitsAndNoTrailingZeros) {
  EXPECT_EQ(number(98.0), "98");
  EXPECT_EQ(number(0.3), "0.3");
  EXPECT_EQ(number(2.0 / 3), "0.666667");
  EXPECT_EQ(number(842), "842");
  EXPECT_EQ(number(0.55), "0.55");
  EXPECT_EQ(number(818 - 59.123456), "758.877");
  EXPECT_EQ(number(-12.5), "-12.5");
  EXPECT_EQ(number(1234.5678), "1234.57");
}

// The limits of real numbers in "PDF Reference", third edition, Annex C.
TEST(PdfNumber, NeverHasAnExponentOrASignOfZero) {
  EXPECT_EQ(number(1e6), "32767");
  EXPECT_EQ(number(-1e300), "-32767");
  EXPECT_EQ(number(32766.9), "32766.9");
  EXPECT_EQ(number(0.0001), "0.0001");
  EXPECT_EQ(number(0.000099), "0");
  EXPECT_EQ(number(-1e-17), "0");
  EXPECT_EQ(number(-0.0), "0");
}

TEST(PdfText, IsOneLineInEitherFont) {
  std::string content;
  pdf_text(content, "Talvern", true, 56, 802, 17, k_pdf_black);
  pdf_text(content, "b", false, 60.25, 2.0 / 3, 8.5, {0.55, 0.3, 0.0});
  EXPECT_EQ(content,
            "0 0 0 rg BT /F2 17 Tf 56 802 Td (Talvern) Tj ET\n"
            "0.55 0.3 0 rg BT /F1 8.5 Tf 60.25 0.666667 Td (b) Tj ET\n");
}

TEST(PdfText, EscapesWhatEndsATextAndCopiesEveryOtherByte) {
  std::string content;
  pdf_text(content, "a(b)c\\d\xC3\xB6\n", false, 1, 2, 3, k_pdf_black);
  EXPECT_EQ(content, "0 0 0 rg BT /F1 3 Tf 1 2 Td (a\\(b\\)c\\\\d\xC3\xB6\n) Tj ET\n");
}

TEST(PdfText, TurnedTextReadsUpwards) {
  std::string content;
  pdf_text_rotated(content, "HR (BPM)", 68, 691);
  EXPECT_EQ(content, "0.3 0.3 0.3 rg BT /F1 9 Tf 0 1 -1 0 68 691 Tm (HR \\(BPM\\)) Tj ET\n");
}

TEST(PdfShapes, AreOneLineEach) {
  std::string content;
  pdf_fill_rect(content, 56, 500.5, 29.5875, 46, {0.78, 0.325, 0.21});
  pdf_line(content, 98, 660, 528, 770, 0.5, pdf_grey(0.7));
  pdf_image(content, "Im1", 98, 499.333333333, 430, 114.666666667);
  EXPECT_EQ(content,
            "0.78 0.325 0.21 rg 56 500.5 29.5875 46 re f\n"
            "0.7 0.7 0.7 RG 0.5 w 98 660 m 528 770 l S\n"
            "q 430 0 0 114.667 98 499.333 cm /Im1 Do Q\n");
}

TEST(PdfShapes, AnOperationWithANumberThatIsNotFiniteIsLeftOut) {
  for (const double bad : {k_nan, k_infinity, -k_infinity}) {
    std::string content;
    pdf_text(content, "a", true, bad, 2, 3, k_pdf_black);
    pdf_text(content, "a", true, 1, 2, bad, k_pdf_black);
    pdf_text(content, "a", true, 1, 2, 3, {0, bad, 0});
    pdf_text_rotated(content, "a", 1, bad);
    pdf_fill_rect(content, 1, 2, bad, 4, k_pdf_black);
    pdf_fill_rect(content, 1, 2, 3, 4, pdf_grey(bad));
    pdf_line(content, 1, 2, 3, bad, 5, k_pdf_black);
    pdf_line(content, 1, 2, 3, 4, bad, k_pdf_black);
    pdf_image(content, "a", 1, 2, 3, bad);
    EXPECT_EQ(content, "");
  }
}

TEST(PdfMarkerLines, SpanThePlotAndCarryLabels) {
  const std::vector<PdfMarker> markers = {{100, "9"}, {25, "12"}, {0, "1"}};
  std::string content;
  pdf_marker_lines(content, markers, true, 100, 660, 110);
  // One glyph of size 7 counts 0.52 * 7 = 3.64 points: half of it left of the line.
  EXPECT_EQ(content,
            "0.12 0.25 0.55 RG 0.7 w [2 2] 0 d 528 660 m 528 770 l S [] 0 d\n"
            "0.12 0.25 0.55 rg BT /F2 7 Tf 526.18 772 Td (9) Tj ET\n"
            "0.12 0.25 0.55 RG 0.7 w [2 2] 0 d 205.5 660 m 205.5 770 l S [] 0 d\n"
            "0.12 0.25 0.55 rg BT /F2 7 Tf 201.86 772 Td (12) Tj ET\n"
            "0.12 0.25 0.55 RG 0.7 w [2 2] 0 d 98 660 m 98 770 l S [] 0 d\n"
            "0.12 0.25 0.55 rg BT /F2 7 Tf 96.18 772 Td (1) Tj ET\n");
  for (const double seconds : {100.0, 0.5}) {
    content.clear();
    const std::vector<PdfMarker> middle = {{seconds / 2, "1"}};
    pdf_marker_lines(content, middle, false, seconds, 10.5, 20);
    EXPECT_EQ(content, "0.12 0.25 0.55 RG 0.7 w [2 2] 0 d 313 10.5 m 313 30.5 l S [] 0 d\n");
  }
}

TEST(PdfMarkerLines, LeaveOutWhatLiesOutsideThePlot) {
  const std::vector<PdfMarker> outside = {
      {100.001, "1"}, {-0.001, "2"}, {k_nan, "3"}, {k_infinity, "4"}};
  std::string content;
  pdf_marker_lines(content, outside, true, 100, 660, 110);
  const std::vector<PdfMarker> inside = {{0, "1"}};
  for (const double seconds : {0.0, -1.0, k_nan, k_infinity}) {
    pdf_marker_lines(content, inside, true, seconds, 660, 110);
  }
  EXPECT_EQ(content, "");
}

TEST(PdfContent, ADecimalCommaInTheLocaleChangesNothing) {
  const CommaLocale comma;
  std::string content;
  pdf_line(content, 0.5, 1234.5, 3, 4, 0.5, k_pdf_black);
  EXPECT_EQ(content, "0 0 0 RG 0.5 w 0.5 1234.5 m 3 4 l S\n");
}

}  // namespace
}  // namespace tvn
