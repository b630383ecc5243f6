#include "export/pdf/helvetica.h"

#include <array>
#include <cstdint>

namespace tvn {
namespace {

constexpr char k_first = 32;
constexpr char k_last = 126;
constexpr std::uint16_t k_digit_width = 556;

using Widths = std::array<std::uint16_t, k_last - k_first + 1>;

constexpr Widths k_regular = {
    278, 278, 355, 556, 556, 889, 667, 222, 333, 333, 389, 584, 278, 333,  278, 278, 556, 556, 556,
    556, 556, 556, 556, 556, 556, 556, 278, 278, 584, 584, 584, 556, 1015, 667, 667, 722, 722, 667,
    611, 778, 722, 278, 500, 667, 556, 833, 722, 778, 667, 778, 722, 667,  611, 722, 667, 944, 667,
    667, 611, 278, 278, 278, 469, 556, 222, 556, 556, 500, 556, 556, 278,  556, 556, 222, 222, 500,
    222, 833, 556, 556, 556, 556, 333, 500, 278, 556, 500, 722, 500, 500,  500, 334, 260, 334, 584};

constexpr Widths k_bold = {
    278, 333, 474, 556, 556, 889, 722, 278, 333, 333, 389, 584, 278, 333, 278, 278, 556, 556, 556,
    556, 556, 556, 556, 556, 556, 556, 333, 333, 584, 584, 584, 611, 975, 722, 722, 722, 722, 667,
    611, 778, 722, 278, 556, 722, 611, 833, 722, 778, 667, 778, 722, 667, 611, 722, 667, 944, 667,
    667, 611, 333, 278, 333, 584, 556, 278, 556, 611, 556, 611, 556, 333, 611, 611, 278, 278, 556,
    278, 889, 611, 611, 611, 611, 389, 556, 333, 611, 556, 778, 556, 556, 500, 389, 280, 389, 584};

}  // namespace

double helvetica_width(char c, bool bold) {
  if (c < k_first || c > k_last) return k_digit_width;
  return (bold ? k_bold : k_regular)[static_cast<std::size_t>(c - k_first)];
}

double helvetica_width(std::string_view text, bool bold, double size) {
  double width = 0;
  for (const char c : text) width += helvetica_width(c, bold);
  return width * size / 1000;
}

}  // namespace tvn
