// The TVN strip of a report: one cell per breathing cycle, coloured by how far its log power lies
// above what is normal for the person, with the value in it and the cycle's number below.
#pragma once

#include <span>
#include <string>

#include "export/pdf/pdf_content.h"

namespace tvn {

struct StripPlace {
  double left, width;   // points
  double base, height;  // lower edge of the cells; the numbers stand 12 below it
};

// The colour of a cell: light orange to dark red above `level`, grey below it, light grey for a
// value that is not finite.
PdfColour cycle_colour(double value, double level);

// values: log power per cycle, not finite where there is none; level: the normal log power
// (normative_log_power). Values stand in their cells as long as they all fit; numbers are thinned
// out until they do not touch. What has no room stays in the page as text without ink.
void draw_cycle_strip(std::string& content, std::span<const double> values, double level,
                      const StripPlace& place);

// "pow (mean): " and the mean with 3 decimals, or "n/a" for one that is not finite.
std::string mean_text(double mean);

}  // namespace tvn
