#include "export/pdf/pdf_content.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "base/number_text.h"

namespace tvn {
namespace {

constexpr double k_largest_real = 32767;
constexpr int k_digits = 6;
constexpr PdfColour k_marker_colour = {0.12, 0.25, 0.55};
constexpr double k_marker_label_size = 7;
constexpr double k_marker_label_gap = 2;

bool all_finite(std::initializer_list<double> values) {
  return std::ranges::all_of(values, [](double value) { return std::isfinite(value); });
}

// Each operand with a space after it.
void append_operands(std::string& content, std::initializer_list<double> values) {
  for (const double value : values) {
    append_pdf_number(content, value);
    content += ' ';
  }
}

void append_escaped(std::string& content, std::string_view text) {
  for (const char c : text) {
    if (c == '(' || c == ')' || c == '\\') content += '\\';
    content += c;
  }
}

void append_marker_line(std::string& content, double x, double y, double h) {
  append_operands(content, {k_marker_colour.r, k_marker_colour.g, k_marker_colour.b});
  content += "RG 0.7 w [2 2] 0 d ";
  append_operands(content, {x, y});
  content += "m ";
  append_operands(content, {x, y + h});
  content += "l S [] 0 d\n";
}

}  // namespace

void append_pdf_number(std::string& content, double value) {
  const double limited = std::clamp(value, -k_largest_real, k_largest_real);
  const std::string text = general_text(limited, k_digits);
  content += text.find('e') == std::string::npos ? text : "0";
}

void pdf_text(std::string& content, std::string_view text, bool bold, double x, double y,
              double size, const PdfColour& colour) {
  if (!all_finite({x, y, size, colour.r, colour.g, colour.b})) return;
  append_operands(content, {colour.r, colour.g, colour.b});
  content += bold ? "rg BT /F2 " : "rg BT /F1 ";
  append_operands(content, {size});
  content += "Tf ";
  append_operands(content, {x, y});
  content += "Td (";
  append_escaped(content, text);
  content += ") Tj ET\n";
}

void pdf_text_rotated(std::string& content, std::string_view text, double x, double y) {
  if (!all_finite({x, y})) return;
  content += "0.3 0.3 0.3 rg BT /F1 9 Tf 0 1 -1 0 ";
  append_operands(content, {x, y});
  content += "Tm (";
  append_escaped(content, text);
  content += ") Tj ET\n";
}

void pdf_fill_rect(std::string& content, double x, double y, double w, double h,
                   const PdfColour& colour) {
  if (!all_finite({x, y, w, h, colour.r, colour.g, colour.b})) return;
  append_operands(content, {colour.r, colour.g, colour.b});
  content += "rg ";
  append_operands(content, {x, y, w, h});
  content += "re f\n";
}

void pdf_line(std::string& content, double x1, double y1, double x2, double y2, double width,
              const PdfColour& colour) {
  if (!all_finite({x1, y1, x2, y2, width, colour.r, colour.g, colour.b})) return;
  append_operands(content, {colour.r, colour.g, colour.b});
  content += "RG ";
  append_operands(content, {width});
  content += "w ";
  append_operands(content, {x1, y1});
  content += "m ";
  append_operands(content, {x2, y2});
  content += "l S\n";
}

void pdf_image(std::string& content, std::string_view name, double x, double y, double w,
               double h) {
  if (!all_finite({x, y, w, h})) return;
  content += "q ";
  append_operands(content, {w, 0, 0, h, x, y});
  content += "cm /";
  content += name;
  content += " Do Q\n";
}

void pdf_marker_lines(std::string& content, std::span<const PdfMarker> markers, bool with_labels,
                      double total_seconds, double y, double h) {
  if (!(total_seconds > 0) || !all_finite({total_seconds, y, h})) return;
  for (const PdfMarker& marker : markers) {
    if (!(marker.seconds >= 0 && marker.seconds <= total_seconds)) continue;
    const double x = marker.seconds / total_seconds * k_plot_width + k_plot_left;
    append_marker_line(content, x, y, h);
    if (!with_labels) continue;
    const auto length = static_cast<double>(marker.label.size());
    const double width = length * k_pdf_glyph_width * k_marker_label_size;
    pdf_text(content, marker.label, true, x - width * 0.5, y + h + k_marker_label_gap,
             k_marker_label_size, k_marker_colour);
  }
}

}  // namespace tvn
