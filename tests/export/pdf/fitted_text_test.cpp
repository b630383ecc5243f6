#include "export/pdf/fitted_text.h"

#include <gtest/gtest.h>

#include <string>

#include "export/pdf/helvetica.h"

namespace tvn {
namespace {

// Sums by ReportLab's stringWidth at size 1000.
TEST(HelveticaWidth, IsThatOfTheStandardFonts) {
  const std::string pangram = "The quick brown fox jumps over THE LAZY DOG";
  const std::string signs = "!\"#$%&()*+,-./0123456789:;<=>?@[\\]^_{|}~";
  EXPECT_DOUBLE_EQ(helvetica_width(pangram, false, 1000), 21729);
  EXPECT_DOUBLE_EQ(helvetica_width(pangram, true, 1000), 23060);
  EXPECT_DOUBLE_EQ(helvetica_width(signs, false, 1000), 18917);
  EXPECT_DOUBLE_EQ(helvetica_width(signs, true, 1000), 19626);
  EXPECT_NEAR(helvetica_width("1 @ 123.4 s, 2 @ 45.0 s", false, 11), 118.954, 1e-9);
  EXPECT_EQ(helvetica_width("", false, 11), 0);
  EXPECT_DOUBLE_EQ(helvetica_width("\xC3\n\x7F", false, 1000), 3 * 556);
}

// Sums over the codes 32 to 126 of Adobe's "Core 14 AFM Files", taken from those by awk: of the
// widths, and of width times place, which two that stand in each other's place would change.
TEST(HelveticaWidth, OfAllLettersTogether) {
  double regular = 0, bold = 0, regular_by_place = 0, bold_by_place = 0;
  for (char c = 32; c < 127; ++c) {
    const int place = c - 31;
    regular += helvetica_width(c, false);
    bold += helvetica_width(c, true);
    regular_by_place += place * helvetica_width(c, false);
    bold_by_place += place * helvetica_width(c, true);
  }
  EXPECT_EQ(regular, 49978);
  EXPECT_EQ(bold, 52352);
  EXPECT_EQ(regular_by_place, 2387504);
  EXPECT_EQ(bold_by_place, 2533791);
}

std::string within(const std::string& text, const TextSpace& space) {
  std::string content;
  pdf_text_within(content, text, false, 10, 20, 10, k_pdf_black, space);
  return content;
}

std::string shown(const std::string& text) {
  return "0 0 0 rg BT /F1 10 Tf 10 20 Td (" + text + ") Tj ET\n";
}

// A digit of size 10 is 5.56 points wide.
TEST(PdfTextWithin, WhatFitsIsSetAsItIs) {
  EXPECT_EQ(within("0000000000", {55.6}), shown("0000000000"));
}

TEST(PdfTextWithin, WhatDoesNotIsSetNarrower) {
  EXPECT_EQ(within("0000000000", {50}), "89 Tz\n" + shown("0000000000") + "100 Tz\n");
  EXPECT_EQ(within("0000000000", {28, 0.5}), "50 Tz\n" + shown("0000000000") + "100 Tz\n");
}

TEST(PdfTextWithin, WhatIsFarTooLongLosesItsMiddle) {
  // 25 / 0.5 = 50 points: three dots of 2.78 leave 41.66, which is 7 digits.
  EXPECT_EQ(within("0123456789", {25, 0.5}), "52 Tz\n" + shown("0123...789") + "100 Tz\n");
}

TEST(ShortenedText, KeepsBothEnds) {
  EXPECT_EQ(shortened_text("0123456789", false, 10, 55.6), "0123456789");
  EXPECT_EQ(shortened_text("0123456789", false, 10, 55.5), "0123...6789");
  EXPECT_EQ(shortened_text("0123456789", false, 10, 20), "0...9");
  EXPECT_EQ(shortened_text("0123456789", false, 10, 3), "...");
  // 21.66 points beside the dots: i, W, i of 2.22, 9.44 and 2.22; the next W has no room.
  EXPECT_EQ(shortened_text("iiiiiWWWWW", false, 10, 30), "ii...W");
  EXPECT_EQ(shortened_text("", false, 10, 0), "");
  // 11.66 points beside the dots: five letters of 2.22, and in bold four of 2.78.
  EXPECT_EQ(shortened_text("iiiiiiiiii", false, 10, 20), "iii...ii");
  EXPECT_EQ(shortened_text("iiiiiiiiii", true, 10, 20), "ii...ii");
  // 6.66 points: an i; the W at the end has no room, and nothing behind it counts.
  EXPECT_EQ(shortened_text("iiiiiiiiiW", false, 10, 15), "i...");
}

// In thousandths of the size: three dots of 278, digits of 556.
TEST(ShortenedText, KeepsTheLetterThatJustFits) {
  EXPECT_EQ(shortened_text("0123456789", false, 1000, 3 * 278 + 4 * 556), "01...89");
  EXPECT_EQ(shortened_text("0123456789", false, 1000, 3 * 278 + 4 * 556 - 0.1), "01...9");
}

TEST(PdfTextWithoutInk, IsInThePageAndLeavesTheNextTextVisible) {
  std::string content;
  pdf_text_without_ink(content, "7", false, 10, 20, 10, k_pdf_black);
  EXPECT_EQ(content, "3 Tr\n" + shown("7") + "0 Tr\n");
}

}  // namespace
}  // namespace tvn
