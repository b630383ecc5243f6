#include "recording/rr_export.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "base/decimal.h"
#include "base/text_lines.h"

namespace tvn {
namespace {

constexpr std::size_t k_kubios_head_bytes = 4000;

std::string_view trimmed(std::string_view cell) {
  const std::size_t first = cell.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return cell.substr(first, cell.find_last_not_of(" \t\r") - first + 1);
}

// The second and third cell of a row, trimmed; none when it has fewer than three cells.
std::optional<std::pair<std::string_view, std::string_view>> middle_cells(std::string_view line) {
  const std::size_t first = line.find(',');
  if (first == std::string_view::npos) return std::nullopt;
  const std::size_t second = line.find(',', first + 1);
  if (second == std::string_view::npos) return std::nullopt;
  const std::size_t third = std::min(line.find(',', second + 1), line.size());
  return std::pair{trimmed(line.substr(first + 1, second - first - 1)),
                   trimmed(line.substr(second + 1, third - second - 1))};
}

std::optional<double> whole_number_text(std::string_view cell) {
  const DecimalScan scan = scan_decimal(cell);
  if (scan.status != DecimalStatus::ok || scan.length != cell.size()) return std::nullopt;
  return scan.value;
}

// Moves `rest` past the line that heads the RR section; false when there is none.
bool skip_to_rr_section(std::string_view& rest) {
  while (!rest.empty()) {
    if (take_line(rest).find("RR INTERVAL DATA") != std::string_view::npos) return true;
  }
  return false;
}

}  // namespace

bool looks_like_kubios(std::string_view text) {
  const std::string head = lower_case(text.substr(0, k_kubios_head_bytes));
  const auto holds = [&head](std::string_view part) {
    return head.find(part) != std::string::npos;
  };
  return holds("kubios") || holds("hrv analysis results") || head.starts_with("sep=") ||
         holds("\nsep=");
}

std::vector<double> parse_kubios_rr(std::string_view text) {
  std::vector<double> intervals;
  if (!skip_to_rr_section(text)) return intervals;
  while (!text.empty()) {
    const auto cells = middle_cells(take_line(text));
    if (!cells) continue;
    const auto& [time_cell, interval_cell] = *cells;
    const std::optional<double> interval = whole_number_text(interval_cell);
    const bool is_data = interval && whole_number_text(time_cell);
    if (is_data) {
      intervals.push_back(*interval);
    } else if (!intervals.empty() && time_cell.empty() && interval_cell.empty()) {
      break;  // the section has ended; titles and notes before the data are passed over
    }
  }
  return intervals;
}

}  // namespace tvn
