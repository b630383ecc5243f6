#include "export/report/hr_chart.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "base/number_text.h"
#include "base/rounding.h"

namespace tvn {
namespace {

constexpr double k_seconds_per_value = 0.1;
constexpr double k_bottom = 660;
constexpr double k_height = 110;
constexpr double k_top = k_bottom + k_height;
constexpr double k_right = k_plot_left + k_plot_width;
constexpr PdfColour k_axis_grey = pdf_grey(0.55);
constexpr PdfColour k_label_grey = pdf_grey(0.3);
constexpr double k_label_size = 8;
constexpr std::size_t k_segments = 455;  // about one per point of the page

// Rates beyond this are no heart's; they only come from intervals near zero.
constexpr double k_highest_rate = 100000;
constexpr int k_tick_step = 20;
constexpr int k_most_ticks = 20;      // more of them would overlap
constexpr double k_most_lines = 1e5;  // a grid denser than this is one grey area

struct ChartScale {
  double lo, hi;   // beats per minute
  double seconds;  // the whole width

  double x(double t) const { return t / seconds * k_plot_width + k_plot_left; }
  double y(double v) const {
    return (std::clamp(v, lo, hi) - lo) / (hi - lo) * k_height + k_bottom;
  }
};

ChartScale scale_of(std::span<const double> hr_series) {
  ChartScale scale{40, 120, hr_chart_seconds(hr_series.size())};
  for (const double rate : hr_series) {
    if (!std::isfinite(rate)) continue;
    scale.lo = std::min(scale.lo, std::floor((rate - 5) / 5) * 5);
    scale.hi = std::max(scale.hi, std::ceil((rate + 5) / 5) * 5);
  }
  scale.lo = std::max(scale.lo, 20.0);
  scale.hi = std::min(scale.hi, k_highest_rate);
  return scale;
}

// A text that ends at `right`, by its estimated width.
void text_up_to(std::string& content, std::string_view text, double right, double y) {
  const double width = static_cast<double>(text.size()) * k_pdf_glyph_width * k_label_size;
  pdf_text(content, text, false, right - width, y, k_label_size, k_label_grey);
}

void draw_cycle_grid(std::string& content, const ChartScale& scale, double cycle_seconds) {
  if (!(cycle_seconds > 0) || scale.seconds / cycle_seconds > k_most_lines) return;
  for (double k = 0; k * cycle_seconds <= scale.seconds + 0.000001; ++k) {
    const double x = scale.x(k * cycle_seconds);
    if (x <= k_right + 0.5) pdf_line(content, x, k_bottom, x, k_top, 0.5, pdf_grey(0.7));
  }
}

void draw_axes(std::string& content, const ChartScale& scale) {
  pdf_line(content, k_plot_left, k_bottom, k_plot_left, k_top, 0.8, k_axis_grey);
  pdf_line(content, k_plot_left, k_bottom, k_right, k_bottom, 0.8, k_axis_grey);
  const int lo = truncate_to<int>(scale.lo);
  const int hi = truncate_to<int>(scale.hi);
  const int step = k_tick_step * ((hi - lo - 1) / (k_tick_step * k_most_ticks) + 1);
  for (int v = lo; v <= hi; v += step) {
    const double y = scale.y(v);
    pdf_line(content, k_plot_left - 3, y, k_plot_left, y, 0.6, k_axis_grey);
    text_up_to(content, std::to_string(v), 92, y - 3);
  }
  pdf_text_rotated(content, "HR (BPM)", 68, 691);
}

// One path; a value that is missing ends a stretch, and the next one begins another.
void draw_curve(std::string& content, std::span<const double> hr_series, const ChartScale& scale) {
  const std::size_t step = std::max<std::size_t>(hr_series.size() / k_segments, 1);
  content += "0.90 0.35 0.10 RG 1.2 w\n";
  bool begins = true;
  for (std::size_t i = 0; i < hr_series.size(); i += step) {
    if (std::isfinite(hr_series[i])) {
      append_pdf_number(content, scale.x(static_cast<double>(i) * k_seconds_per_value));
      content += ' ';
      append_pdf_number(content, scale.y(hr_series[i]));
      content += begins ? " m\n" : " l\n";
    }
    begins = !std::isfinite(hr_series[i]);
  }
  content += "S\n";
}

bool has_curve(std::span<const double> hr_series) {
  return hr_series.size() >= 2 &&
         std::ranges::any_of(hr_series, [](double rate) { return std::isfinite(rate); });
}

}  // namespace

double hr_chart_seconds(std::size_t n) {
  return n >= 2 ? k_seconds_per_value * static_cast<double>(n) : 1;
}

void draw_hr_chart(std::string& content, std::span<const double> hr_series,
                   std::span<const PdfMarker> markers, double cycle_seconds) {
  const ChartScale scale = scale_of(hr_series);
  draw_cycle_grid(content, scale, cycle_seconds);
  pdf_marker_lines(content, markers, true, scale.seconds, k_bottom, k_height);
  draw_axes(content, scale);
  if (!has_curve(hr_series)) {
    pdf_text(content, "(heart-rate series unavailable)", false, k_plot_left, 715, 10,
             pdf_grey(0.5));
    return;
  }
  draw_curve(content, hr_series, scale);
  pdf_text(content, "Time (s)", false, 294.28, 644, 9, k_label_grey);
  pdf_text(content, "0", false, 95, 646, k_label_size, k_label_grey);
  text_up_to(content, fixed_text(std::round(scale.seconds), 0), k_right, 646);
}

}  // namespace tvn
