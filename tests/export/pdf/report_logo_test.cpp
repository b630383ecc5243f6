#include "export/pdf/report_logo.h"

#include <gtest/gtest.h>

namespace tvn {
namespace {

TEST(ReportLogo, IsPresentOnlyWithBytesAndASize) {
  EXPECT_FALSE(report_logo().is_present());
  set_report_logo("jpeg", 0, 10);
  EXPECT_FALSE(report_logo().is_present());
  set_report_logo("", 10, 10);
  EXPECT_FALSE(report_logo().is_present());
  set_report_logo("jpeg", 700, 175);
  EXPECT_TRUE(report_logo().is_present());
  EXPECT_EQ(report_logo().width, 700);
  EXPECT_EQ(report_logo().height, 175);
  set_report_logo("", 0, 0);  // other tests begin without one
}

}  // namespace
}  // namespace tvn
