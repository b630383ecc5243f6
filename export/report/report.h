// The report of one recording, a PDF of two A4 pages: summary, TVN strip and mean; heart rate and
// the two time-frequency pictures.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "export/pdf/pdf_content.h"
#include "picture/rgb_image.h"

namespace tvn {

// Labels (without ":") and values, from top to bottom.
using ReportTable = std::vector<std::pair<std::string, std::string>>;

struct Report {
  std::string name;  // of the recording
  ReportTable table;
  std::vector<double> cycle_values;  // log power per breathing cycle; NaN without a value
  std::vector<double> hr_series;     // beats per minute, one value every 0.1 s
  RgbImage high_time;                // time-frequency picture of high time resolution
  RgbImage high_frequency;           // and of high frequency resolution
  char sex = 'M';                    // 'F' or 'M'
  std::int32_t age = 40;             // years
  std::vector<PdfMarker> markers;
  double mean = 0;           // of the cycle values; may be NaN
  double cycle_seconds = 0;  // breathing in and out; not above 0: no cycle grid
};

// The file's bytes. An image without pixels is left out, values that are not finite show as
// missing, and a heart-rate series of fewer than two values is said to be unavailable. Texts that
// are too long for the page are set narrower. Nearly all of the time goes into compressing the two
// pictures, side by side on two threads; throws std::bad_alloc for want of memory.
std::string report_pdf(const Report& report);

// Writes that file at `path` in one go. False when it could not be opened or not written whole.
bool write_report(const std::string& path, const Report& report);

}  // namespace tvn
