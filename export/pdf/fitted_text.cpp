#include "export/pdf/fitted_text.h"

#include <cmath>

#include "export/pdf/helvetica.h"

namespace tvn {

void pdf_text_within(std::string& content, std::string_view text, bool bold, double x, double y,
                     double size, const PdfColour& colour, const TextSpace& space) {
  const double natural = helvetica_width(text, bold, size);
  if (natural <= space.width) {
    pdf_text(content, text, bold, x, y, size, colour);
    return;
  }
  const std::string shown = shortened_text(text, bold, size, space.width / space.narrowest);
  // Whole per cent, rounded down so that the text never grows beyond its space.
  const double shown_width = helvetica_width(shown, bold, size);
  append_pdf_number(content, std::floor(space.width / shown_width * 100));
  content += " Tz\n";
  pdf_text(content, shown, bold, x, y, size, colour);
  content += "100 Tz\n";
}

void pdf_text_without_ink(std::string& content, std::string_view text, bool bold, double x,
                          double y, double size, const PdfColour& colour) {
  content += "3 Tr\n";
  pdf_text(content, text, bold, x, y, size, colour);
  content += "0 Tr\n";
}

std::string shortened_text(std::string_view text, bool bold, double size, double width) {
  if (helvetica_width(text, bold, size) <= width) return std::string(text);
  constexpr std::string_view k_dots = "...";
  double left = width - helvetica_width(k_dots, bold, size);
  std::size_t front = 0;
  std::size_t back = 0;
  for (;;) {  // one letter from the front, one from the end; ends before they meet
    const char next = front <= back ? text[front] : text[text.size() - 1 - back];
    left -= helvetica_width(next, bold) * size / 1000;
    if (left < 0) break;
    (front <= back ? front : back) += 1;
  }
  std::string shown(text.substr(0, front));
  shown += k_dots;
  return shown += text.substr(text.size() - back);
}

}  // namespace tvn
