// The heart-rate chart of a report's page.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "export/pdf/pdf_content.h"

namespace tvn {

// The seconds that a chart of n values (10 per second) spans; 1 for fewer than two.
double hr_chart_seconds(std::size_t n);

// Draws the chart over k_plot_width, between y 660 and 770: cycle grid, markers, axes with their
// labels, the curve, in beats per minute. hr_series: one value every 0.1 s; values that are not
// finite leave gaps. cycle_seconds: not above 0: no grid.
void draw_hr_chart(std::string& content, std::span<const double> hr_series,
                   std::span<const PdfMarker> markers, double cycle_seconds);

}  // namespace tvn
