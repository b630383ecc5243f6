#include "export/report/batch_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "base/files.h"
#include "tests/export/pdf_parts.h"
#include "tests/export/report/logo_fixture.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();

BatchReportEntry entry(const std::string& name, const std::vector<double>& cycle_values) {
  const RgbImage image = {4, 2, std::vector<std::uint8_t>(24, 100)};
  const std::vector<double> hr = {60, 80, 70};
  const std::vector<PdfMarker> markers = {{0.15, "1"}};
  return batch_report_entry({name, cycle_values, 9.8322, hr, markers, image, image}, 16);
}

BatchReport batch(std::size_t recordings) {
  BatchReport report;
  report.name = "Group";
  report.table = {{"Date", "2025-01-07 09:35"}, {"Sex / Age", "F / 40"}, {"Cycle length", "16 s"}};
  report.sex = 'F';
  for (std::size_t i = 0; i < recordings; ++i) {
    report.recordings.push_back(entry("recording_" + std::to_string(i), {9.8322, k_nan}));
  }
  return report;
}

// Where texts of a page stand.
struct Placed {
  double x, y, size;
  std::string text;
};

// The lines of a page's content that end with `ending`, split at blanks.
std::vector<std::vector<std::string>> lines_with(const std::string& page,
                                                 const std::string& ending) {
  std::vector<std::vector<std::string>> found;
  std::istringstream lines(page);
  for (std::string line; std::getline(lines, line);) {
    if (!line.ends_with(ending)) continue;
    std::istringstream words(line);
    found.push_back({});
    for (std::string word; words >> word;) found.back().push_back(word);
  }
  return found;
}

// r g b rg BT /F1 size Tf x y Td (text) Tj ET
std::vector<Placed> placed_texts(const std::string& page) {
  std::vector<Placed> placed;
  for (const auto& words : lines_with(page, ") Tj ET")) {
    placed.push_back({std::stod(words[8]), std::stod(words[9]), std::stod(words[6]), words[11]});
  }
  return placed;
}

// The lower edges of the strips, from top to bottom: r g b rg x y w h re f
std::vector<double> strip_bases(const std::string& page) {
  std::vector<double> bases;
  for (const auto& words : lines_with(page, " re f")) {
    const double base = std::stod(words[5]);
    if (bases.empty() || bases.back() != base) bases.push_back(base);
  }
  return bases;
}

TEST(BatchReport, TheFirstPageNamesThePersonAndWarns) {
  const std::string page = pdf_pages(batch_report_pdf(batch(1))).at(0);
  // Three rows: the table ends at 704.
  EXPECT_THAT(page, HasSubstr("0 0 0 rg BT /F2 13 Tf 56 776 Td (Name: Group) Tj ET\n"));
  EXPECT_THAT(page, HasSubstr("0.55 0.3 0 rg BT /F1 9 Tf 62 694 Td (Batch processing: age & sex "
                              "were not set per person, so the age/sex-normalised level) Tj ET\n"
                              "0.55 0.3 0 rg BT /F1 9 Tf 62 682 Td (may be inaccurate - the "
                              "red/grey colour thresholds below should be ignored. For an) Tj ET\n"
                              "0.55 0.3 0 rg BT /F1 9 Tf 62 670 Td (interpretable report, use "
                              "'Import folder' and set the correct age and sex for this person.) "
                              "Tj ET\n"));
  EXPECT_THAT(page, HasSubstr("0.1 0.1 0.1 rg BT /F1 8.5 Tf 56 "));
  EXPECT_THAT(page, HasSubstr("0.78 0.325 0.21 rg 194 "));  // the level of a woman of 40
  EXPECT_THAT(page, HasSubstr("0 0 0 rg BT /F2 13 Tf 56 644 Td (TVN \\(logpower\\)) Tj ET\n"));
  EXPECT_THAT(page, HasSubstr("0.3 0.3 0.3 rg BT /F1 9 Tf 352.46 574 Td (Cycles) Tj ET\n"));
  EXPECT_THAT(page, HasSubstr("0.5 0.5 0.5 rg BT /F1 8 Tf 262 22 Td (Page 1 of 2) Tj ET\n"));
}

TEST(BatchReport, TheFirstPageHoldsTheseTextsAndNoOthers) {
  const std::vector<std::string> texts = pdf_texts(pdf_pages(batch_report_pdf(batch(1))).at(0));
  ASSERT_GT(texts.size(), 11u);
  EXPECT_THAT(std::span(texts).first(8),
              ElementsAre("Talvern Live - report", "Name: Group", "Date:", "2025-01-07 09:35",
                          "Sex / Age:", "F / 40", "Cycle length:", "16 s"));
  // Three lines of warning; a cycle without a value has its number alone.
  EXPECT_THAT(std::span(texts).subspan(11),
              ElementsAre("TVN (logpower)", "recording_0", "pow (mean): 9.832", "9.8", "0", "1",
                          "Cycles", "Page 1 of 2"));
}

TEST(BatchReport, ThePersonsOwnValuesNeedNoWarning) {
  BatchReport report = batch(1);
  const std::string general = pdf_pages(batch_report_pdf(report)).at(0);
  report.own_values = true;
  const std::string own = pdf_pages(batch_report_pdf(report)).at(0);
  EXPECT_THAT(pdf_texts(general), Contains(HasSubstr("were not set per person")));
  EXPECT_THAT(pdf_texts(own), Not(Contains(HasSubstr("were not set per person"))));
  EXPECT_EQ(strip_bases(own), strip_bases(general));
}

TEST(BatchReport, EachRecordingHasAPageOfItsOwn) {
  const LogoInPlace logo("jpeg", 700, 175);
  const std::string file = batch_report_pdf(batch(3));
  const std::vector<std::string> objects = pdf_objects(file);
  const std::vector<std::string> pages = pdf_pages(file);
  ASSERT_EQ(pages.size(), 4u);
  EXPECT_EQ(objects[1], "<< /Type /Pages /Kids [6 0 R 8 0 R 12 0 R 16 0 R] /Count 4 >>");
  EXPECT_EQ(objects[7],
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Resources << /Font << /F1 3 0 R "
            "/F2 4 0 R >> /XObject << /ImA 10 0 R /ImB 11 0 R /Logo 5 0 R >> >> "
            "/Contents 9 0 R >>");
  EXPECT_THAT(objects[9], HasSubstr("/Subtype /Image /Width 4 /Height 2 "));
  for (std::size_t i = 0; i < 3; ++i) {
    const std::string& page = pages[i + 1];
    EXPECT_THAT(pdf_texts(page), Contains("Recording: recording_" + std::to_string(i)));
    EXPECT_THAT(page, HasSubstr("q 430 0 0 215 98 399 cm /ImA Do Q\n"));
    EXPECT_THAT(page, HasSubstr("q 430 0 0 215 98 164 cm /ImB Do Q\n"));
    EXPECT_THAT(page, HasSubstr("Tf 262 22 Td (Page " + std::to_string(i + 2) + " of 4) Tj ET\n"));
    EXPECT_THAT(page, HasSubstr("/Logo Do Q\n"));
  }
}

TEST(BatchReport, ThirtyRecordingsContinueOnFurtherPagesWithoutOverlap) {
  const std::vector<std::string> pages = pdf_pages(batch_report_pdf(batch(30)));
  std::size_t rows = 0;
  for (std::size_t i = 0; i + 30 < pages.size(); ++i) {
    const std::vector<double> bases = strip_bases(pages[i]);
    rows += bases.size();
    for (std::size_t k = 1; k < bases.size(); ++k) {
      EXPECT_GE(bases[k - 1] - bases[k], 30 + 12 + 4) << "strip, numbers and a gap";
    }
    EXPECT_GE(bases.back() - 26, 22 + 8) << "the caption stands above the page number";
    for (const Placed& placed : placed_texts(pages[i])) EXPECT_GE(placed.y, 22) << placed.text;
  }
  // The first strip stands 44 below its title, the next ones 56 below one another.
  EXPECT_EQ(strip_bases(pages[0]),
            (std::vector{600., 544., 488., 432., 376., 320., 264., 208., 152., 96.}));
  EXPECT_EQ(rows, 30u);
  EXPECT_EQ(pages.size(), 33u);
  EXPECT_THAT(pages[1], StartsWith("0 0 0 rg BT /F2 13 Tf 56 802 Td (Name: Group) Tj ET\n"
                                   "0 0 0 rg BT /F2 13 Tf 56 770 Td (TVN \\(logpower\\), "
                                   "continued) Tj ET\n"));
  EXPECT_THAT(pdf_texts(pages[2]), Contains("Page 3 of 33"));
}

TEST(BatchReport, NoTextsOfAStripPageLieOnOneAnother) {
  const std::string page = pdf_pages(batch_report_pdf(batch(30))).at(0);
  std::vector<Placed> left;
  std::ranges::copy_if(placed_texts(page), std::back_inserter(left),
                       [](const Placed& placed) { return placed.x < 70; });
  std::ranges::sort(left, std::ranges::greater(), &Placed::y);
  for (std::size_t i = 1; i < left.size(); ++i) {
    EXPECT_GE(left[i - 1].y - left[i].y, left[i].size * 0.9) << left[i].text;
  }
}

TEST(BatchReport, ALabelStaysBesideItsStrip) {
  BatchReport report = batch(0);
  report.recordings.push_back(entry(std::string(200, 'n'), {1}));
  const std::string page = pdf_pages(batch_report_pdf(report)).at(0);
  EXPECT_THAT(page, HasSubstr("60 Tz\n0.1 0.1 0.1 rg BT /F1 8.5 Tf 56 "));
  // At 0.6 of their width 216.7 points fit into the 130 beside the strip: dots and 44 letters of
  // 4.726.
  const std::string half(22, 'n');
  EXPECT_THAT(pdf_texts(page), Contains(half + "..." + half));
  EXPECT_THAT(page, HasSubstr(" 194 600 344.4 30 re f\n"));  // a gap of 0.6 at its right
}

TEST(BatchReport, TheMeanStandsBoldBelowItsLabel) {
  const std::string page = pdf_pages(batch_report_pdf(batch(1))).at(0);
  EXPECT_THAT(page, HasSubstr("0 0 0 rg BT /F2 8.5 Tf 56 "));
  const std::vector<Placed> placed = placed_texts(page);
  const auto label = std::ranges::find(placed, "(recording_0)", &Placed::text);
  ASSERT_NE(label, placed.end());
  EXPECT_EQ((label + 1)->text, "(pow");
  EXPECT_EQ((label + 1)->x, label->x);
  EXPECT_EQ((label + 1)->y, label->y - 12);
}

TEST(BatchReport, ARecordingWithoutCyclesSaysSo) {
  BatchReport report = batch(0);
  report.recordings.push_back(entry("short", {}));
  const std::string page = pdf_pages(batch_report_pdf(report)).at(0);
  EXPECT_THAT(pdf_texts(page), Contains("(no complete breathing cycle)"));
  // In the middle of the strip's height, from 644 - 14 - 30 on, and at its left end.
  EXPECT_THAT(page, HasSubstr("0.5 0.5 0.5 rg BT /F1 9 Tf 194 612 Td (\\(no complete"));
}

TEST(BatchReport, RowsWithoutRoomBelowALongTableStandOnTheNextPage) {
  BatchReport report = batch(3);
  report.table.resize(38, {"Row", "value"});
  const std::vector<std::string> pages = pdf_pages(batch_report_pdf(report));
  EXPECT_EQ(pages.size(), 5u);
  EXPECT_EQ(strip_bases(pages[0]).size(), 0u);
  EXPECT_EQ(strip_bases(pages[1]).size(), 3u);
}

TEST(BatchReport, WithoutRecordingsThereIsOnePage) {
  EXPECT_EQ(pdf_pages(batch_report_pdf(batch(0))).size(), 1u);
}

TEST(BatchReport, IsWrittenInOneGo) {
  const TemporaryFolder folder;
  EXPECT_TRUE(write_batch_report(folder / "a.pdf", batch(2)));
  std::string written;
  ASSERT_TRUE(read_file(folder / "a.pdf", written));
  EXPECT_EQ(written, batch_report_pdf(batch(2)));
  EXPECT_FALSE(write_batch_report(folder / "no/a.pdf", batch(2)));
}

}  // namespace
}  // namespace tvn
