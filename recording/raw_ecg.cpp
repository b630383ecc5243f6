#include "recording/raw_ecg.h"

#include <algorithm>

#include "base/decimal.h"
#include "base/text_lines.h"

namespace tvn {
namespace {

bool holds_only_number_characters(std::string_view cell) {
  bool digit = false;
  for (const char c : cell) {
    if (c >= '0' && c <= '9') {
      digit = true;
    } else if (c != '+' && c != '-' && c != '.' && c != 'e' && c != 'E') {
      return false;
    }
  }
  return digit;
}

std::string_view first_cell(std::string_view line) {
  const std::string_view cell = line.substr(0, line.find(','));
  const std::size_t last = cell.find_last_not_of(" \r");
  return cell.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

}  // namespace

std::vector<double> parse_raw_ecg(std::string_view text, std::size_t most) {
  std::vector<double> samples;
  // A vector that grows would need twice the memory of a long recording, and more while it does.
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  samples.reserve(std::min(lines, most));
  while (!text.empty() && samples.size() < most) {
    const std::string_view cell = first_cell(take_line(text));
    if (!holds_only_number_characters(cell)) continue;
    const DecimalScan scan = scan_decimal(cell);
    if (scan.status == DecimalStatus::ok) samples.push_back(scan.value);
  }
  return samples;
}

}  // namespace tvn
