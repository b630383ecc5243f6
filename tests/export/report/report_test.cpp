#include "export/report/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "base/files.h"
#include "tests/export/comma_locale.h"
#include "tests/export/pdf_parts.h"
#include "tests/export/report/logo_fixture.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();

Report small_report() {
  Report report;
  report.name = "anna (1)";
  report.table = {{"Sex / Age", "F / 40"}, {"Cycle length", "16 s"}};
  report.cycle_values = {9.8322, k_nan};
  report.hr_series = {60, 80, 70};
  report.high_time = {2, 1, std::vector<std::uint8_t>(6, 200)};
  report.high_frequency = {4, 1, std::vector<std::uint8_t>(12, 100)};
  report.sex = 'F';
  report.age = 40;
  report.markers = {{0.15, "1"}};
  report.mean = 9.8322;
  report.cycle_seconds = 16;
  return report;
}

TEST(Report, TheFirstPageIsDrawnToTheByte) {
  // Two table rows: the strip's title stands at 752 - 32 - 18, its base 60 below.
  EXPECT_EQ(pdf_pages(report_pdf(small_report())).at(0),
            "0 0 0 rg BT /F2 17 Tf 56 802 Td (Talvern Live - report) Tj ET\n"
            "0 0 0 rg BT /F2 12 Tf 56 776 Td (Recording: anna \\(1\\)) Tj ET\n"
            "0.33 0.33 0.33 rg BT /F1 11 Tf 60 752 Td (Sex / Age:) Tj ET\n"
            "0 0 0 rg BT /F1 11 Tf 210 752 Td (F / 40) Tj ET\n"
            "0.33 0.33 0.33 rg BT /F1 11 Tf 60 736 Td (Cycle length:) Tj ET\n"
            "0 0 0 rg BT /F1 11 Tf 210 736 Td (16 s) Tj ET\n"
            "0 0 0 rg BT /F2 13 Tf 56 702 Td (TVN \\(logpower\\)) Tj ET\n"
            "0.78 0.325 0.21 rg 56 642 240.9 46 re f\n"
            "1 1 1 rg BT /F1 8.5 Tf 170.12 661.75 Td (9.8) Tj ET\n"
            "0.3 0.3 0.3 rg BT /F1 8 Tf 174.67 630 Td (0) Tj ET\n"
            "0.9 0.9 0.9 rg 297.5 642 240.9 46 re f\n"
            "0.3 0.3 0.3 rg BT /F1 8 Tf 416.17 630 Td (1) Tj ET\n"
            "0.3 0.3 0.3 rg BT /F1 9 Tf 283.46 616 Td (Cycles) Tj ET\n"
            "0 0 0 rg BT /F2 10 Tf 56 596 Td (pow \\(mean\\): 9.832) Tj ET\n"
            "0.5 0.5 0.5 rg BT /F1 8 Tf 275 22 Td (Page 1 of 2) Tj ET\n");
}

TEST(Report, TheSecondPageHoldsChartAndPictures) {
  const std::string page = pdf_pages(report_pdf(small_report())).at(1);
  EXPECT_THAT(page, StartsWith("0 0 0 rg BT /F2 12 Tf 56 802 Td (Recording: anna \\(1\\)) Tj ET\n"
                               "0 0 0 rg BT /F2 13 Tf 98 784 Td (Mean HR) Tj ET\n"
                               "0.7 0.7 0.7 RG 0.5 w 98 660 m 98 770 l S\n"));
  // 215 and 107.5 points high; markers stand at half of the chart's 0.3 s.
  EXPECT_THAT(page, HasSubstr("BT /F2 11 Tf 98 617 Td (TFR - high time resolution) Tj ET\n"
                              "q 430 0 0 215 98 399 cm /Im1 Do Q\n"));
  EXPECT_THAT(page, HasSubstr(" d 313 399 m 313 614 l S [] 0 d\n"));
  EXPECT_THAT(page, HasSubstr("BT /F2 11 Tf 98 382 Td (TFR - high frequency resolution) Tj ET\n"
                              "q 430 0 0 107.5 98 271.5 cm /Im2 Do Q\n"));
  EXPECT_THAT(page,
              testing::EndsWith("0.5 0.5 0.5 rg BT /F1 8 Tf 275 22 Td (Page 2 of 2) Tj ET\n"));
}

TEST(Report, ObjectsHaveTheirFixedNumbers) {
  const LogoInPlace logo("jpeg", 700, 175);
  const std::vector<std::string> objects = pdf_objects(report_pdf(small_report()));
  ASSERT_EQ(objects.size(), 11u);
  EXPECT_EQ(objects[0], "<< /Type /Catalog /Pages 2 0 R >>");
  EXPECT_EQ(objects[1], "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 2 >>");
  EXPECT_EQ(objects[2],
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Resources << /Font << /F1 7 0 R "
            "/F2 8 0 R >> /XObject << /Logo 11 0 R >> >> /Contents 5 0 R >>");
  EXPECT_EQ(objects[3],
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Resources << /Font << /F1 7 0 R "
            "/F2 8 0 R >> /XObject << /Im1 9 0 R /Im2 10 0 R /Logo 11 0 R >> >> "
            "/Contents 6 0 R >>");
  EXPECT_THAT(objects[4], StartsWith("<< /Length "));
  EXPECT_EQ(objects[6], "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  EXPECT_EQ(objects[7], "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica-Bold >>");
  EXPECT_THAT(objects[8], HasSubstr("/Width 2 /Height 1 "));
  EXPECT_THAT(objects[9], HasSubstr("/Width 4 /Height 1 "));
  EXPECT_THAT(objects[10], HasSubstr("/Filter /DCTDecode /Length 4 >>\nstream\njpeg\nendstream"));
  for (const std::string& page : pdf_pages(report_pdf(small_report()))) {
    EXPECT_THAT(page, HasSubstr("q 118 0 0 29.5 437 788.5 cm /Logo Do Q\n0.5 0.5 0.5 rg"));
  }
}

TEST(Report, WithoutALogoThereIsNoTraceOfIt) {
  const std::string file = report_pdf(small_report());
  const std::vector<std::string> objects = pdf_objects(file);
  ASSERT_EQ(objects.size(), 10u);
  EXPECT_EQ(objects[2],
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Resources << /Font << /F1 7 0 R "
            "/F2 8 0 R >> >> /Contents 5 0 R >>");
  EXPECT_EQ(objects[3],
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Resources << /Font << /F1 7 0 R "
            "/F2 8 0 R >> /XObject << /Im1 9 0 R /Im2 10 0 R >> >> /Contents 6 0 R >>");
  EXPECT_THAT(file, Not(HasSubstr("Logo")));
}

TEST(Report, AnEmptyTablePutsTheStripsTitleAt734) {
  Report report = small_report();
  report.table.clear();
  EXPECT_THAT(pdf_pages(report_pdf(report)).at(0),
              HasSubstr(" Tf 56 734 Td (TVN \\(logpower\\)) Tj ET\n"));
}

TEST(Report, MissingValuesAreSaidToBeMissing) {
  Report report = small_report();
  report.cycle_values = {k_nan, k_nan};
  report.mean = k_nan;
  const std::string file = report_pdf(report);
  EXPECT_THAT(pdf_texts(pdf_pages(file).at(0)), Contains("pow (mean): n/a"));
  EXPECT_THAT(pdf_texts(pdf_pages(file).at(0)), Not(Contains("nan")));
}

TEST(Report, ADozenMarkersStayInOneLineWithinThePage) {
  Report report = small_report();
  std::string markers;
  for (int i = 0; i < 12; ++i) markers += "9 @ 3456.7 s, ";
  report.table = {{"Markers", markers + "..."}};
  const std::string page = pdf_pages(report_pdf(report)).at(0);
  // 345 points for about 870.
  EXPECT_THAT(page, HasSubstr("39 Tz\n0 0 0 rg BT /F1 11 Tf 210 752 Td (" + markers +
                              "...) Tj ET\n100 Tz\n"));
}

TEST(Report, ALongNameStopsBeforeTheLogo) {
  const LogoInPlace logo("jpeg", 700, 175);
  Report report = small_report();
  report.name = std::string(100, 'n');
  const std::vector<std::string> pages = pdf_pages(report_pdf(report));
  // "Recording: " and 100 letters of 7.332 points are 799.8 wide; 499 and 373 there are.
  const std::string line = "0 0 0 rg BT /F2 12 Tf 56 ";
  EXPECT_THAT(pages.at(0), HasSubstr("62 Tz\n" + line + "776 Td (Recording: " + report.name));
  EXPECT_THAT(pages.at(1), HasSubstr("46 Tz\n" + line + "802 Td (Recording: " + report.name));
}

TEST(Report, IsWrittenInOneGo) {
  const TemporaryFolder folder;
  EXPECT_TRUE(write_report(folder / "a.pdf", small_report()));
  std::string written;
  ASSERT_TRUE(read_file(folder / "a.pdf", written));
  EXPECT_EQ(written, report_pdf(small_report()));
  EXPECT_FALSE(write_report(folder / "no/a.pdf", small_report()));
}

TEST(Report, ADecimalCommaInTheLocaleChangesNothing) {
  const std::string before = report_pdf(small_report());
  const CommaLocale comma;
  EXPECT_EQ(report_pdf(small_report()), before);
}

}  // namespace
}  // namespace tvn
