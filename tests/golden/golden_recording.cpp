#include "tests/golden/golden_recording.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>

#include "tests/analysis/plain_forms.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/analysis/tfr/plain_tfr.h"
#include "tests/export/pdf_parts.h"

namespace tvn::golden {
namespace {

constexpr double k_two_pi = 6.283185307179586;
constexpr double k_rate = 130;
constexpr double k_seconds = 84.3;
constexpr std::size_t k_picture_width = 1200, k_picture_height = 320;
constexpr std::size_t k_breath_row = 160;  // 0.02 Hz + 160 * 0.0005 Hz = 0.1 Hz

// Seconds from a beat to the next. The breath moves them; two beats come early, and one is missing.
double interval_after(int beat, double at) {
  const double rr = 0.82 + 0.07 * std::sin(k_two_pi * at / k_cycle);
  if (beat == 29 || beat == 70) return 0.6 * rr;
  if (beat == 30 || beat == 71) return 1.4 * rr;
  return beat == 50 ? 2 * rr : rr;
}

double mean_of(const std::vector<double>& values) {
  double sum = 0;
  for (const double value : values) sum += value;
  return sum / static_cast<double>(values.size());
}

double deviation_of(const std::vector<double>& values) {
  const double mean = mean_of(values);
  double sum = 0;
  for (const double value : values) sum += (value - mean) * (value - mean);
  return std::sqrt(sum / static_cast<double>(values.size()));
}

// The level that is normal for a woman of this age.
double level() {
  return 9.465 - 0.02832 * k_age;
}

double chart_seconds(const Numbers& wanted) {
  return 0.1 * static_cast<double>(wanted.hr.size());
}

double chart_x(const Numbers& wanted, double seconds) {
  return seconds / chart_seconds(wanted) * 430 + 98;
}

// The numbers of each line of a page that has this text, up to it.
std::vector<std::vector<double>> numbers_before(const std::string& page, const std::string& text) {
  std::vector<std::vector<double>> found;
  std::istringstream lines(page);
  for (std::string line; std::getline(lines, line);) {
    if (line.find(text) == std::string::npos) continue;
    std::vector<double> row;
    std::istringstream words(line);
    for (std::string word; words >> word;) {
      if (word.find_first_not_of("-.0123456789") == std::string::npos)
        row.push_back(std::stod(word));
    }
    found.push_back(row);
  }
  return found;
}

using Pixel = std::array<int, 3>;

// The nine colours of the map, evenly spaced.
Pixel map_colour(double t) {
  constexpr int stops[9][3] = {{59, 76, 192},   {98, 130, 234},  {141, 176, 254},
                               {184, 208, 249}, {221, 221, 221}, {245, 196, 173},
                               {244, 154, 123}, {222, 96, 77},   {180, 4, 38}};
  const int i = std::min(static_cast<int>(8 * t), 7);
  Pixel pixel;
  for (int k = 0; k < 3; ++k) {
    pixel[static_cast<std::size_t>(k)] =
        static_cast<int>(stops[i][k] + (8 * t - i) * (stops[i + 1][k] - stops[i][k]));
  }
  return pixel;
}

Pixel colour_of(double power, const Scale& scale) {
  const double low = scale.centre - scale.half_range;
  const double t = std::clamp((power - low) / (2 * scale.half_range), 0.0, 1.0);
  if (std::log(std::max(power, 1e-30)) > level()) return map_colour(t);
  const int grey = static_cast<int>(std::floor((1 - t) * 255 + 0.5));
  return {grey, grey, grey};
}

bool is_near(const Pixel& a, const Pixel& b) {
  return std::abs(a[0] - b[0]) <= 1 && std::abs(a[1] - b[1]) <= 1 && std::abs(a[2] - b[2]) <= 1;
}

// The columns at which cycles begin.
std::vector<bool> cycle_columns(std::size_t n_samples) {
  std::vector<bool> begins(k_picture_width);
  const auto total = static_cast<double>(n_samples);
  for (double sample = 0; sample < total; sample += k_cycle * k_rate) {
    begins[static_cast<std::size_t>(sample / total * k_picture_width)] = true;
  }
  return begins;
}

std::string inflated(const std::string& object) {
  const std::string stream = pdf_stream(object);
  std::string bytes(k_picture_width * k_picture_height * 3, '\0');
  uLongf length = bytes.size();
  EXPECT_EQ(uncompress(reinterpret_cast<Bytef*>(bytes.data()), &length,
                       reinterpret_cast<const Bytef*>(stream.data()), stream.size()),
            Z_OK);
  EXPECT_EQ(length, bytes.size());
  return bytes;
}

}  // namespace

std::vector<double> ecg() {
  std::vector<double> samples(static_cast<std::size_t>(k_seconds * k_rate));
  synthetic::Noise noise(7);
  for (double& sample : samples) sample = 12 * noise.normal();
  int beat = 0;
  for (double at = 0.5; at < k_seconds; at += interval_after(beat++, at)) {
    const double centre = at * k_rate;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const double u = (static_cast<double>(i) - centre) / 1.5;
      if (std::abs(u) < 6) samples[i] += 1100 * std::exp(-0.5 * u * u);
    }
  }
  std::fill(samples.begin() + 7800, samples.begin() + 8190, 0.0);  // from 60 s to 63 s
  return samples;
}

std::vector<Marker> markers() {
  return {{260, 4}, {1950, 1}, {5200, 9}};
}

std::string rr_export() {
  std::string text = "Kubios HRV\nRR INTERVAL DATA\n,Time,RR\n";
  for (int i = 0; i < 80; ++i) {
    const double rr = i == 40 ? 1700 : std::round(850 + 60 * std::sin(i * 0.5));
    text += ",1," + std::to_string(static_cast<int>(rr)) + "\n";
  }
  return text;
}

Numbers numbers_of(std::size_t n_samples, std::vector<double> rr) {
  Numbers wanted{n_samples, std::move(rr), {}, {}, 0, {}, {}};
  wanted.hr = plain::build_hr_series(n_samples, wanted.rr, k_rate);
  const plain::TfrRows rows(n_samples, wanted.rr, k_cycle, k_rate);
  const std::vector<double> high_time = rows.row(0.1, 3), high_frequency = rows.row(0.1, 10);
  wanted.high_time = {2 * mean_of(high_time), 2 * deviation_of(high_time)};
  wanted.high_frequency = {mean_of(high_frequency), 1.5 * deviation_of(high_frequency)};
  for (std::size_t from = 0; from + 1300 <= n_samples; from += 1300) {  // whole cycles
    double sum = 0;
    for (std::size_t i = from; i < from + 1300; ++i) sum += std::log(high_frequency[i]);
    wanted.cycles.push_back(sum / 1300);
  }
  wanted.mean = mean_of(wanted.cycles);
  return wanted;
}

const Numbers& numbers() {
  static const Numbers wanted = [] {
    const std::vector<double> samples = ecg();
    return numbers_of(samples.size(), plain::detect_rr_intervals(samples, 300, k_rate));
  }();
  return wanted;
}

std::vector<std::vector<std::string>> csv_cells(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    rows.emplace_back();
    for (std::size_t at = 0; at <= line.size();) {
      const std::size_t end = std::min(line.find(',', at), line.size());
      rows.back().push_back(line.substr(at, end - at));
      at = end + 1;
    }
  }
  return rows;
}

// The scale reaches at least from 40 to 120 beats per minute.
void expect_curve(const std::string& page, const Numbers& wanted) {
  const auto [least, most] = std::ranges::minmax(wanted.hr);
  const double low = std::max(std::min(std::floor((least - 5) / 5) * 5, 40.0), 20.0);
  const double high = std::max(std::ceil((most + 5) / 5) * 5, 120.0);
  const std::string begin = "0.90 0.35 0.10 RG 1.2 w\n";
  const std::size_t at = page.find(begin);
  ASSERT_NE(at, std::string::npos);
  std::istringstream curve(page.substr(at + begin.size()));
  const std::size_t step = std::max<std::size_t>(wanted.hr.size() / 455, 1);
  for (std::size_t i = 0; i < wanted.hr.size(); i += step) {
    double x = 0, y = 0;
    std::string pen;
    curve >> x >> y >> pen;
    EXPECT_EQ(pen, i == 0 ? "m" : "l");
    EXPECT_NEAR(x, chart_x(wanted, 0.1 * static_cast<double>(i)), 0.001);
    ASSERT_NEAR(y, (wanted.hr[i] - low) / (high - low) * 110 + 660, 0.001) << i;
  }
  std::string end;
  curve >> end;
  EXPECT_EQ(end, "S");
}

void expect_grid(const std::string& page, const Numbers& wanted, double cycle_seconds) {
  const auto lines = numbers_before(page, "0.7 0.7 0.7 RG 0.5 w ");
  const auto count = static_cast<std::size_t>(chart_seconds(wanted) / cycle_seconds) + 1;
  ASSERT_EQ(lines.size(), count);
  for (std::size_t k = 0; k < count; ++k) {
    const double x = chart_x(wanted, static_cast<double>(k) * cycle_seconds);
    EXPECT_NEAR(lines[k][4], x, 0.001);
    EXPECT_EQ(lines[k][5], 660);
    EXPECT_EQ(lines[k][7], 770);
  }
}

// Over the curve with its key, and over both pictures.
void expect_marker_lines(const std::string& page, const Numbers& wanted,
                         const std::vector<Marker>& markers) {
  const auto lines = numbers_before(page, "0.12 0.25 0.55 RG 0.7 w [2 2] 0 d ");
  ASSERT_EQ(lines.size(), 3 * markers.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const auto sample = static_cast<double>(markers[i % markers.size()].sample_index);
    EXPECT_NEAR(lines[i][5], chart_x(wanted, sample / k_rate), 0.001);
  }
  std::vector<std::string> keys;
  for (const Marker& marker : markers) keys.push_back(std::to_string(marker.key));
  const std::vector<std::string> texts = pdf_texts(page);
  EXPECT_NE(std::search(texts.begin(), texts.end(), keys.begin(), keys.end()), texts.end());
}

void expect_strip(const std::string& page, const Numbers& wanted, double left, double width) {
  auto cells = numbers_before(page, " re f");
  std::erase_if(cells, [&](const auto& cell) { return cell[3] < left - 0.001; });
  ASSERT_EQ(cells.size(), wanted.cycles.size());
  const double slot = width / static_cast<double>(wanted.cycles.size());
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const double d = wanted.cycles[i] - level();
    const double t = d > 0 ? std::min(d / 3, 1.0) : std::min(-d / 5, 1.0);
    const double grey = 0.82 - 0.34 * t;
    EXPECT_NEAR(cells[i][0], d > 0 ? 0.96 - 0.36 * t : grey, 1e-4);
    EXPECT_NEAR(cells[i][1], d > 0 ? 0.55 - 0.45 * t : grey, 1e-4);
    EXPECT_NEAR(cells[i][2], d > 0 ? 0.35 - 0.28 * t : grey, 1e-4);
    EXPECT_NEAR(cells[i][3], left + static_cast<double>(i) * slot, 0.001);
    EXPECT_NEAR(cells[i][5], slot - 0.6, 0.001);
  }
}

void expect_picture(const std::string& object, const Numbers& wanted, bool high_time) {
  ASSERT_NE(object.find("/Width 1200 /Height 320 "), std::string::npos);
  const std::string bytes = inflated(object);
  const TfrPictures tfr = compute_tfr_pictures(wanted.n_samples, wanted.rr, k_cycle, k_rate);
  const std::vector<float>& powers = (high_time ? tfr.tfr3 : tfr.tfr10).values;
  const Scale scale = high_time ? wanted.high_time : wanted.high_frequency;
  const std::vector<bool> cycle_begins = cycle_columns(wanted.n_samples);
  std::size_t different = 0;
  for (std::size_t y = 0; y < k_picture_height; ++y) {
    const std::size_t row = k_picture_height - 1 - y;
    for (std::size_t x = 0; x < k_picture_width; ++x) {
      const auto* shown =
          reinterpret_cast<const unsigned char*>(bytes.data()) + (y * k_picture_width + x) * 3;
      Pixel expected = colour_of(powers[row * k_picture_width + x], scale);
      if (row == k_breath_row || row == k_breath_row + 1) expected = {20, 150, 20};
      if (cycle_begins[x]) expected = {30, 30, 30};
      different += is_near(expected, {shown[0], shown[1], shown[2]}) ? 0 : 1;
    }
  }
  EXPECT_EQ(different, 0u);
}

std::vector<std::string> pictures_of(const std::string& file) {
  std::vector<std::string> pictures;
  for (const std::string& object : pdf_objects(file)) {
    if (object.find("/Filter /FlateDecode") != std::string::npos) pictures.push_back(object);
  }
  return pictures;
}

}  // namespace tvn::golden
