#include "export/report/cycle_strip.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "base/number_text.h"
#include "export/pdf/fitted_text.h"
#include "export/pdf/helvetica.h"

namespace tvn {
namespace {

constexpr double k_gap = 0.6;                 // between cells, unless they are narrower than that
constexpr std::size_t k_fewest_thinned = 19;  // from here on odd numbers are left out
constexpr double k_narrow_slot = 20;
constexpr double k_number_size = 8;
constexpr double k_number_gap = 2;  // between numbers, at least
constexpr double k_value_gap = 1;   // between values, at least
constexpr double k_dark = 0.55;     // luminance below which text is white
constexpr int k_value_digits = 2;

double luminance(const PdfColour& colour) {
  return 0.299 * colour.r + 0.587 * colour.g + 0.114 * colour.b;
}

double centred(double middle, const std::string& text, double size) {
  return middle - static_cast<double>(text.size()) * k_pdf_glyph_width * size / 2;
}

// How the cells of a strip are labelled.
struct StripLabels {
  double slot;  // points per cycle
  double value_size;
  bool values_fit;
  std::size_t number_step;  // numbers with ink: every so many
};

bool values_fit(std::span<const double> values, double size, double slot) {
  return std::ranges::all_of(values, [&](double value) {
    return !std::isfinite(value) ||
           helvetica_width(general_text(value, k_value_digits), false, size) + k_value_gap <= slot;
  });
}

// The smallest of 2, 5, 10, 20, 50, 100, ... whose numbers do not touch. Of 5 and its multiples
// only every other one is shown, as odd numbers are left out.
std::size_t number_step(std::size_t n, double slot) {
  if (n < k_fewest_thinned) return 1;
  const std::string widest(std::to_string(n - 1).size(), '0');
  const double needed = helvetica_width(widest, false, k_number_size) + k_number_gap;
  for (std::size_t decade = 1;; decade *= 10) {
    for (const std::size_t step : {2 * decade, 5 * decade, 10 * decade}) {
      if (static_cast<double>(step) * slot >= needed) return step;
    }
  }
}

StripLabels labels_of(std::span<const double> values, double width) {
  const double slot = width / static_cast<double>(values.size());
  const double size = slot < k_narrow_slot ? 7 : 8.5;
  return {slot, size, values_fit(values, size, slot), number_step(values.size(), slot)};
}

void draw_label(std::string& content, bool with_ink, const std::string& text, double middle,
                double y, double size, const PdfColour& colour) {
  const double x = centred(middle, text, size);
  (with_ink ? pdf_text : pdf_text_without_ink)(content, text, false, x, y, size, colour);
}

}  // namespace

PdfColour cycle_colour(double value, double level) {
  if (!std::isfinite(value)) return pdf_grey(0.9);
  const double d = value - level;
  if (d > 0) {
    const double t = std::min(d / 3, 1.0);
    return {0.96 - 0.36 * t, 0.55 - 0.45 * t, 0.35 - 0.28 * t};
  }
  return pdf_grey(0.82 - 0.34 * std::min(d / -5, 1.0));
}

void draw_cycle_strip(std::string& content, std::span<const double> values, double level,
                      const StripPlace& place) {
  if (values.empty()) return;
  const StripLabels labels = labels_of(values, place.width);
  const double cell = labels.slot < k_gap ? labels.slot : labels.slot - k_gap;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double x = place.left + static_cast<double>(i) * labels.slot;
    const double middle = x + labels.slot / 2;
    const PdfColour colour = cycle_colour(values[i], level);
    pdf_fill_rect(content, x, place.base, cell, place.height, colour);
    if (std::isfinite(values[i])) {
      const double size = labels.value_size;
      draw_label(content, labels.values_fit, general_text(values[i], k_value_digits), middle,
                 place.base + place.height / 2 - size / 2 + 1, size,
                 pdf_grey(luminance(colour) < k_dark ? 1 : 0));
    }
    if (values.size() >= k_fewest_thinned && i % 2 == 1) continue;
    draw_label(content, i % labels.number_step == 0, std::to_string(i), middle, place.base - 12,
               k_number_size, pdf_grey(0.3));
  }
}

std::string mean_text(double mean) {
  return "pow (mean): " + (std::isfinite(mean) ? fixed_text(mean, 3) : "n/a");
}

}  // namespace tvn
