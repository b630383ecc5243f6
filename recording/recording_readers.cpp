#include "recording/recording_readers.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "base/decimal.h"

namespace tvn {
namespace {

constexpr std::size_t k_kubios_head_bytes = 4000;
constexpr double k_target_rate = 130.0;
constexpr double k_most_samples = 100e6;

// Takes the next line off the front of `rest`, without its line feed.
std::string_view take_line(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('\n'), rest.size());
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return line;
}

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

bool looks_like_kubios(std::string_view text) {
  std::string head(text.substr(0, k_kubios_head_bytes));
  for (char& c : head) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
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

std::vector<double> parse_raw_ecg(std::string_view text) {
  std::vector<double> samples;
  while (!text.empty()) {
    const std::string_view cell = first_cell(take_line(text));
    if (!holds_only_number_characters(cell)) continue;
    const DecimalScan scan = scan_decimal(cell);
    if (scan.status == DecimalStatus::ok) samples.push_back(scan.value);
  }
  return samples;
}

std::vector<double> resample_to_130(std::vector<double> samples, double rate) {
  const auto count = static_cast<double>(samples.size());
  if (!(rate > 0.0) || samples.size() < 2 || std::abs(rate - k_target_rate) < 0.5) return samples;
  const double wanted = std::round(count / rate * k_target_rate);
  if (!(wanted > 1.0 && wanted <= k_most_samples)) return samples;
  std::vector<double> resampled(static_cast<std::size_t>(wanted));
  for (std::size_t i = 0; i < resampled.size(); ++i) {
    const double position = static_cast<double>(i) / k_target_rate * rate;
    const double whole = std::trunc(position);
    if (whole + 1.0 < count) {
      const auto k = static_cast<std::size_t>(whole);
      const double fraction = position - whole;
      resampled[i] = samples[k] * (1.0 - fraction) + samples[k + 1] * fraction;
    } else {
      resampled[i] = samples.back();
    }
  }
  return resampled;
}

}  // namespace tvn
