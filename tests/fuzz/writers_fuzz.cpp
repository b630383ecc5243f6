// Any values, texts and markers through the writers of EDF+ and PDF files, which are then read back
// by their formats' own rules. The first two bytes divide the input into texts and values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/rounding.h"
#include "export/edf.h"
#include "export/report/report.h"
#include "tests/export/pdf_parts.h"
#include "tests/fuzz/wild_values.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

// The whole number in an EDF header's field.
std::size_t field(const std::string& file, std::size_t at, std::size_t length) {
  return static_cast<std::size_t>(std::stoul(file.substr(at, length)));
}

void check_edf(const std::vector<double>& samples, const std::string& text) {
  std::vector<tvn::EdfAnnotation> annotations;
  for (std::size_t i = 0; i < std::min<std::size_t>(samples.size(), 20); ++i) {
    annotations.push_back({samples[i] / 100, text.substr(0, i)});
  }
  const std::string file = tvn::edf_file(samples, 130, text, annotations, 1700000000);
  require(file.empty() == samples.empty());
  if (file.empty()) return;
  const std::size_t header = field(file, 184, 8), records = field(file, 236, 8);
  require(header == 256 * 3 && field(file, 252, 4) == 2);
  const std::size_t ecg = field(file, 256 + 216 * 2, 8), notes = field(file, 256 + 216 * 2 + 8, 8);
  require(ecg == 130 && records == (samples.size() + 129) / 130);
  const std::size_t record = 2 * (ecg + notes);
  require(file.size() == header + records * record);
  require(std::all_of(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(header),
                      [](char c) { return c >= 32 && c < 127; }));
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const std::size_t at = header + i / ecg * record + 2 * (i % ecg);
    const auto low = static_cast<unsigned char>(file[at]);
    const auto value =
        static_cast<std::int16_t>(low | static_cast<unsigned char>(file[at + 1]) << 8);
    const double wanted =
        std::isnan(samples[i]) ? 0 : std::clamp(std::round(samples[i]), -32767.0, 32767.0);
    require(value == wanted);
  }
}

void check_pdf(const std::vector<double>& values, const std::string& text) {
  tvn::Report report;
  report.name = text;
  report.table = {{text.substr(0, 20), text}, {"Sex / Age", text.substr(text.size() / 2)}};
  report.cycle_values.assign(
      values.begin(),
      values.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(values.size(), 300)));
  report.hr_series = values;
  report.age = tvn::truncate_to<std::int32_t>(values.empty() ? 40 : values.front());
  report.mean = values.empty() ? std::nan("") : values.back();
  report.cycle_seconds = values.size() > 1 ? values[1] : 16;
  for (const double value : values) {
    if (report.markers.size() < 30) report.markers.push_back({value, text.substr(0, 3)});
  }
  report.high_time = {2, 2, std::vector<std::uint8_t>(12, 77)};
  report.high_frequency = {1, 3, std::vector<std::uint8_t>(9, 200)};
  // A file that is not as it should be ends the process.
  GTEST_FLAG_SET(throw_on_failure, true);
  require(!tvn::pdf_objects(tvn::report_pdf(report)).empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t text_size = std::min<std::size_t>(data[0] + 256u * (data[1] % 4), size - 2);
  const std::string text(reinterpret_cast<const char*>(data + 2), text_size);
  const auto values = tvn::fuzz::wild_values({data + 2 + text_size, size - 2 - text_size}, 20000);
  check_edf(values, text);
  check_pdf(values, text);
  return 0;
}
