// Drawing on a PDF page: operations that append to the page's content stream, one line each
// (PDF Reference, third edition, version 1.4, chapters 4 and 5).
//
// Lengths are points of 1/72 inch; the origin is the page's lower left corner, y grows upwards.
// Numbers have up to 6 significant digits. PDF knows neither exponents nor "nan": see
// append_pdf_number. An operation with a number that is not finite is left out whole.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tvn {

// Red, green and blue from 0 to 1.
struct PdfColour {
  double r, g, b;
};

constexpr PdfColour pdf_grey(double level) {
  return {level, level, level};
}

inline constexpr PdfColour k_pdf_black = pdf_grey(0);

// The average width of a glyph in parts of the font size, by which texts are centred and
// right-aligned; digits are somewhat wider, points and commas narrower.
inline constexpr double k_pdf_glyph_width = 0.52;

// Where plots lie on the page, whatever they show: the same second stands at the same x in the
// heart-rate chart and in the pictures below it.
inline constexpr double k_plot_left = 98;
inline constexpr double k_plot_width = 430;

// A moment that the user marked.
struct PdfMarker {
  double seconds;     // from the recording's start
  std::string label;  // the marker's number
};

// The operand as text: up to 6 significant digits in general notation. Where that has an exponent
// the value is brought to the page's range instead: beyond +-32767, the largest real number that
// PDF readers must bear (Annex C), to that limit, far outside any page; below 0.0001 points, which
// nobody can see, to 0. Zero has no sign. `value` must be finite.
void append_pdf_number(std::string& content, double value);

// One line of text whose baseline starts at (x, y), in Helvetica or Helvetica-Bold of `size`.
// Bytes are shown in the font's own encoding: ASCII is safe.
void pdf_text(std::string& content, std::string_view text, bool bold, double x, double y,
              double size, const PdfColour& colour);

// Grey 9-point text turned to read upwards.
void pdf_text_rotated(std::string& content, std::string_view text, double x, double y);

void pdf_fill_rect(std::string& content, double x, double y, double w, double h,
                   const PdfColour& colour);

void pdf_line(std::string& content, double x1, double y1, double x2, double y2, double width,
              const PdfColour& colour);

// The image resource `name` in the rectangle of w x h points at (x, y).
void pdf_image(std::string& content, std::string_view name, double x, double y, double w, double h);

// Dashed vertical lines across a plot that spans total_seconds over k_plot_width, from y over the
// height h; with labels above when asked. Markers outside the plot are left out, all of them when
// total_seconds is not above 0.
void pdf_marker_lines(std::string& content, std::span<const PdfMarker> markers, bool with_labels,
                      double total_seconds, double y, double h);

}  // namespace tvn
