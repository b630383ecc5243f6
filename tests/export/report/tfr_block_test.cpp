#include "export/report/tfr_block.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tvn {
namespace {

TEST(TfrBlock, DrawsTitlePictureAxisAndMarkers) {
  std::string content;
  const PdfPicture image = {860, 200, ""};
  const std::vector<PdfMarker> markers = {{50, "1"}, {101, "2"}};
  EXPECT_EQ(tfr_block(content, image, "Im1", "TFR", markers, 100, 614), 494);
  EXPECT_EQ(content,
            "0 0 0 rg BT /F2 11 Tf 98 617 Td (TFR) Tj ET\n"
            "q 430 0 0 100 98 514 cm /Im1 Do Q\n"
            "0.3 0.3 0.3 rg BT /F1 8 Tf 70 608 Td (0.18) Tj ET\n"
            "0.3 0.3 0.3 rg BT /F1 8 Tf 70 561 Td (0.10) Tj ET\n"
            "0.3 0.3 0.3 rg BT /F1 8 Tf 70 513 Td (0.02) Tj ET\n"
            "0.3 0.3 0.3 rg BT /F1 9 Tf 0 1 -1 0 58 530 Tm (Frequency \\(Hz\\)) Tj ET\n"
            "0.12 0.25 0.55 RG 0.7 w [2 2] 0 d 313 514 m 313 614 l S [] 0 d\n");
}

TEST(TfrBlock, AnImageWithoutPixelsIsNotDrawn) {
  std::string content;
  EXPECT_EQ(tfr_block(content, {0, 200, ""}, "Im1", "TFR", {}, 100, 614), 614);
  EXPECT_EQ(tfr_block(content, {200, 0, ""}, "Im1", "TFR", {}, 100, 614), 614);
  EXPECT_EQ(content, "");
  EXPECT_EQ(tfr_block(content, {1, 1, ""}, "Im1", "TFR", {}, 100, 614), 614 - 430 - 20);
  EXPECT_NE(content.find(" cm /Im1 Do Q\n"), std::string::npos);
}

TEST(TfrBlock, APictureStaysOnThePage) {
  std::string content;
  EXPECT_EQ(tfr_block(content, {100, 300, ""}, "Im1", "TFR", {}, 100, 614), 20);
  EXPECT_NE(content.find("q 430 0 0 574 98 40 cm /Im1 Do Q\n"), std::string::npos);
  EXPECT_EQ(tfr_block(content, {100, 300, ""}, "Im1", "TFR", {}, 100, 40), 40 - 1 - 20);
}

}  // namespace
}  // namespace tvn
