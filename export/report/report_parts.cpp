#include "export/report/report_parts.h"

#include <future>

#include "export/pdf/fitted_text.h"
#include "export/report/hr_chart.h"
#include "export/report/report_logo.h"
#include "export/report/tfr_block.h"

namespace tvn {
namespace {

// How far texts reach: to the logo's right edge, or to a gap before its left one.
constexpr double k_page_right = 555;
constexpr double k_beside_logo = 429;

constexpr double k_table_top = 752;
constexpr double k_table_pitch = 16;
constexpr double k_label_left = 60;
constexpr double k_value_left = 210;
constexpr double k_first_picture_top = 614;

// Leaves names of a hundred letters whole, beside the logo too.
constexpr double k_narrowest_name = 0.45;
// A dozen markers stand in one line, which takes letters of a third of their width.
constexpr double k_narrowest_value = 1.0 / 3;

void draw_table(std::string& content, const ReportTable& table) {
  double y = k_table_top;
  for (const auto& [label, value] : table) {
    pdf_text_within(content, label + ":", false, k_label_left, y, 11, pdf_grey(0.33),
                    {k_value_left - k_label_left - 6});
    pdf_text_within(content, value, false, k_value_left, y, 11, k_pdf_black,
                    {k_page_right - k_value_left, k_narrowest_value});
    y -= k_table_pitch;
  }
}

}  // namespace

double draw_report_head(std::string& content, std::string_view line, double line_size,
                        const ReportTable& table) {
  pdf_text(content, "Talvern Live - report", true, k_page_left, 802, 17, k_pdf_black);
  pdf_text_within(content, line, true, k_page_left, 776, line_size, k_pdf_black,
                  {k_page_right - k_page_left, k_narrowest_name});
  draw_table(content, table);
  return k_table_top - k_table_pitch * static_cast<double>(table.size());
}

void draw_top_line(std::string& content, std::string_view line, double size) {
  const double right = report_logo().is_present() ? k_beside_logo : k_page_right;
  pdf_text_within(content, line, true, k_page_left, 802, size, k_pdf_black,
                  {right - k_page_left, k_narrowest_name});
}

void draw_strip_title(std::string& content, std::string_view title, double y) {
  pdf_text(content, title, true, k_page_left, y, 13, k_pdf_black);
}

void draw_cycles_caption(std::string& content, double x, double base) {
  pdf_text(content, "Cycles", false, x, base - 26, 9, pdf_grey(0.3));
}

void draw_recording_page(std::string& content, const RecordingPage& page,
                         std::string_view high_time_name, std::string_view high_frequency_name) {
  draw_top_line(content, "Recording: " + std::string(page.name), 12);
  pdf_text(content, "Mean HR", true, k_plot_left, 784, 13, k_pdf_black);
  draw_hr_chart(content, page.hr_series, page.markers, page.cycle_seconds);
  const double seconds = hr_chart_seconds(page.hr_series.size());
  const double next =
      tfr_block(content, page.high_time, high_time_name, "TFR - high time resolution", page.markers,
                seconds, k_first_picture_top);
  tfr_block(content, page.high_frequency, high_frequency_name, "TFR - high frequency resolution",
            page.markers, seconds, next);
}

void draw_page_number(std::string& content, std::size_t page, std::size_t count, double x) {
  draw_logo(content);
  pdf_text(content, "Page " + std::to_string(page) + " of " + std::to_string(count), false, x, 22,
           8, pdf_grey(0.5));
}

std::string pdf_reference(std::size_t object_number) {
  return std::to_string(object_number) + " 0 R";
}

std::string page_object(const PageFonts& fonts, std::string_view xobjects, std::size_t contents) {
  std::string object = "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842]";
  object += " /Resources << /Font << /F1 " + pdf_reference(fonts.regular) + " /F2 " +
            pdf_reference(fonts.bold) + " >>";
  if (!xobjects.empty()) {
    object += " /XObject <<";
    object += xobjects;
    object += " >>";
  }
  return object + " >> /Contents " + pdf_reference(contents) + " >>";
}

PicturePair picture_pair(const RgbImage& high_time, const RgbImage& high_frequency,
                         unsigned threads) {
  if (threads < 2) return {pdf_picture(high_time), pdf_picture(high_frequency)};
  auto first = std::async([&] { return pdf_picture(high_time); });
  PdfPicture second = pdf_picture(high_frequency);
  return {first.get(), std::move(second)};
}

}  // namespace tvn
