#include "export/report/tfr_block.h"

#include <algorithm>

namespace tvn {
namespace {

constexpr double k_lowest = 40;  // above the page number
constexpr double k_gap = 20;     // below a picture, for the next one's title
constexpr double k_label_left = 70;
constexpr PdfColour k_label_grey = pdf_grey(0.3);

}  // namespace

double tfr_block(std::string& content, const PdfPicture& image, std::string_view name,
                 std::string_view title, std::span<const PdfMarker> markers, double total_seconds,
                 double top) {
  if (image.width < 1 || image.height < 1) return top;
  const double proportional = static_cast<double>(image.height) * k_plot_width / image.width;
  const double h = std::min(proportional, std::max(top - k_lowest, 1.0));
  const double y0 = top - h;
  pdf_text(content, title, true, k_plot_left, top + 3, 11, k_pdf_black);
  pdf_image(content, name, k_plot_left, y0, k_plot_width, h);
  pdf_text(content, "0.18", false, k_label_left, y0 + h - 6, 8, k_label_grey);
  pdf_text(content, "0.10", false, k_label_left, y0 + h / 2 - 3, 8, k_label_grey);
  pdf_text(content, "0.02", false, k_label_left, y0 - 1, 8, k_label_grey);
  pdf_text_rotated(content, "Frequency (Hz)", 58, y0 + h / 2 - 34);
  pdf_marker_lines(content, markers, false, total_seconds, y0, h);
  return y0 - k_gap;
}

}  // namespace tvn
