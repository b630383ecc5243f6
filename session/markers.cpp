#include "session/markers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

#include "base/files.h"
#include "base/text_lines.h"

namespace tvn {
namespace {

constexpr int k_first_key = 1;
constexpr int k_last_key = 9;

bool is_marker_key(std::int64_t key) {
  return key >= k_first_key && key <= k_last_key;
}

// Takes a decimal integer off the front of `text`, leading white space and a sign included; none
// when there is no digit or the number does not fit 64 bits.
std::optional<std::int64_t> take_integer(std::string_view& text) {
  const std::size_t start = text.find_first_not_of(" \t\v\f\r");
  if (start == std::string_view::npos) return std::nullopt;
  std::string_view rest = text.substr(start);
  if (rest.starts_with("+") && !rest.starts_with("+-")) rest.remove_prefix(1);
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
  if (error != std::errc()) return std::nullopt;
  text = rest.substr(static_cast<std::size_t>(end - rest.data()));
  return value;
}

std::optional<Marker> parse_marker(std::string_view line) {
  const auto key = take_integer(line);
  if (!key || line.empty() || line.front() != ',') return std::nullopt;
  line.remove_prefix(1);
  const auto sample = take_integer(line);
  if (!sample || !is_marker_key(*key) || *sample < 0) return std::nullopt;
  return Marker{*sample, static_cast<std::int32_t>(*key)};
}

}  // namespace

bool add_marker(Engine& engine, int key) {
  const SessionLock hold(engine.lock);
  if (!is_marker_key(key) || !engine.running) return false;
  const std::int64_t sample = elapsed_samples(engine);
  if (!engine.markers.empty() && engine.markers.back().sample_index == sample) return false;
  engine.markers.push_back({sample, key});
  return true;
}

std::string markers_path(const std::string& path) {
  const std::size_t dot = path.rfind('.');
  const std::size_t slash = path.rfind('/');
  const bool has_extension =
      dot != std::string::npos && (slash == std::string::npos || dot > slash);
  return (has_extension ? path.substr(0, dot) : path) + "_markers.csv";
}

std::string marker_file_text(const std::vector<Marker>& markers) {
  std::string text = "marker,sample_index,seconds\n";
  for (const Marker& marker : markers) {
    std::array<char, 32> decimal;
    const auto end = std::to_chars(decimal.data(), decimal.data() + decimal.size(),
                                   marker_seconds(marker), std::chars_format::fixed, 3)
                         .ptr;
    text += std::to_string(marker.key) + ',' + std::to_string(marker.sample_index) + ',';
    text.append(decimal.data(), end);
    text += '\n';
  }
  return text;
}

std::vector<Marker> read_markers(const std::string& path) {
  std::string content;
  read_file(markers_path(path), content);
  std::vector<Marker> markers;
  std::string_view rest = content;
  while (!rest.empty()) {
    if (const auto marker = parse_marker(take_line(rest))) markers.push_back(*marker);
  }
  return markers;
}

}  // namespace tvn
