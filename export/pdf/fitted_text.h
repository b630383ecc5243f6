// Texts of any length in a place of given width. Sizes and positions in the reports are fixed, so a
// text that is too long is set in narrower letters, and one that is far too long loses its middle:
// recordings of one person mostly differ at the end of their names.
#pragma once

#include <string>
#include <string_view>

#include "export/pdf/pdf_content.h"

namespace tvn {

struct TextSpace {
  double width;            // points
  double narrowest = 0.6;  // part of their usual width that letters keep at least
};

// pdf_text, with the letters narrowed to the space where they need it. Linear.
void pdf_text_within(std::string& content, std::string_view text, bool bold, double x, double y,
                     double size, const PdfColour& colour, const TextSpace& space);

// pdf_text without ink: a text for which the page has no room, still there for searching and
// copying.
void pdf_text_without_ink(std::string& content, std::string_view text, bool bold, double x,
                          double y, double size, const PdfColour& colour);

// The beginning and the end of `text` with "..." between, within `width` points; the whole text
// when that fits, nothing but the dots when not even one letter does. Linear.
std::string shortened_text(std::string_view text, bool bold, double size, double width);

}  // namespace tvn
