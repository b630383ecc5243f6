#include "export/report/report_logo.h"

#include <gtest/gtest.h>

#include "tests/export/report/logo_fixture.h"

namespace tvn {
namespace {

TEST(ReportLogo, IsPresentOnlyWithBytesAndASize) {
  EXPECT_FALSE(report_logo().is_present());
  set_report_logo("jpeg", 0, 10);
  EXPECT_FALSE(report_logo().is_present());
  set_report_logo("", 10, 10);
  EXPECT_FALSE(report_logo().is_present());
  set_report_logo("jpeg", 1, 1);
  EXPECT_TRUE(report_logo().is_present());
  set_report_logo("jpeg", 700, 175);
  EXPECT_TRUE(report_logo().is_present());
  EXPECT_EQ(report_logo().width, 700);
  EXPECT_EQ(report_logo().height, 175);
  set_report_logo("", 0, 0);  // other tests begin without one
}

TEST(ReportLogo, IsPlacedAtTheUpperRightCorner) {
  const LogoInPlace logo("jpeg bytes", 600, 300);
  std::string content;
  draw_logo(content);
  EXPECT_EQ(content, "q 118 0 0 59 437 759 cm /Logo Do Q\n");
  EXPECT_EQ(logo_resource(11), " /Logo 11 0 R");
  EXPECT_EQ(logo_object(),
            "<< /Type /XObject /Subtype /Image /Width 600 /Height 300 /ColorSpace /DeviceRGB "
            "/BitsPerComponent 8 /Filter /DCTDecode /Length 10 >>\nstream\njpeg bytes\nendstream");
}

TEST(ReportLogo, WithoutOneThereIsNoTraceOfIt) {
  std::string content;
  draw_logo(content);
  EXPECT_EQ(content, "");
  EXPECT_EQ(logo_resource(11), "");
  const LogoInPlace without_size("jpeg bytes", 600, 0);
  draw_logo(content);
  EXPECT_EQ(content, "");
  EXPECT_EQ(logo_resource(11), "");
}

}  // namespace
}  // namespace tvn
