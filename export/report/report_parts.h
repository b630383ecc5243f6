// What the reports of one recording and of several have in common.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "export/pdf/pdf_content.h"
#include "export/pdf/pdf_file.h"
#include "export/report/report.h"

namespace tvn {

// Where texts and strips begin on a page.
inline constexpr double k_page_left = 56;

// The head of page 1: title, a line below it, and the table. Returns the y below the table.
double draw_report_head(std::string& content, std::string_view line, double line_size,
                        const ReportTable& table);

// The bold line at the top of a later page, beside the logo.
void draw_top_line(std::string& content, std::string_view line, double size);

// "TVN (logpower)" or what else stands above a strip.
void draw_strip_title(std::string& content, std::string_view title, double y);

// The caption below a strip.
void draw_cycles_caption(std::string& content, double x, double base);

// The page of a recording but for logo and page number: its name, heart rate and both pictures, of
// the given resource names.
struct RecordingPage {
  std::string_view name;
  std::span<const double> hr_series;
  std::span<const PdfMarker> markers;
  double cycle_seconds;
  const PdfPicture& high_time;
  const PdfPicture& high_frequency;
};
void draw_recording_page(std::string& content, const RecordingPage& page,
                         std::string_view high_time_name, std::string_view high_frequency_name);

// The logo and "Page 1 of 2" at the foot, starting at x.
void draw_page_number(std::string& content, std::size_t page, std::size_t count, double x);

// "7 0 R"
std::string pdf_reference(std::size_t object_number);

// The body of a page object. fonts: object numbers of Helvetica and Helvetica-Bold; xobjects: the
// entries of the XObject resources, such as " /Im1 9 0 R", or none.
struct PageFonts {
  std::size_t regular, bold;
};
std::string page_object(const PageFonts& fonts, std::string_view xobjects, std::size_t contents);

// Both pictures of a recording, compressed side by side unless `threads` is 1: that takes longest
// of a whole report.
struct PicturePair {
  PdfPicture high_time, high_frequency;
};
PicturePair picture_pair(const RgbImage& high_time, const RgbImage& high_frequency,
                         unsigned threads = 2);

}  // namespace tvn
