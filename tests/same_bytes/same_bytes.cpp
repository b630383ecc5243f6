// Prints one SHA-256 per result of the analysis and per file made from it, for the recordings named
// on the command line and for signals made here. tests/same_bytes/compare holds the outputs of
// several compilers and processors against each other: the same recording gives the same bytes.
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "analysis/rhythm/hr_series.h"
#include "analysis/rhythm/tvn_series.h"
#include "base/files.h"
#include "export/edf.h"
#include "export/export_texts.h"
#include "export/recording_analysis.h"
#include "export/report/report.h"
#include "picture/png.h"
#include "recording/raw_ecg.h"
#include "recording/resampling.h"
#include "tests/same_bytes/made_signals.h"
#include "tools/sha256.h"

namespace tvn {
namespace {

const ReportSettings k_settings = {"F", 33, 5, 11, 16};
constexpr std::uint64_t k_start_time = 1700000000;  // seconds since 1970
const std::vector<Marker> k_markers = {{1300, 1}, {6500, 7}, {20000, 9}};

void print(const std::string& signal, const char* result, std::string_view bytes) {
  for (const char c : sha256(bytes)) std::printf("%02x", static_cast<unsigned char>(c));
  std::printf("  %s: %s, %zu bytes\n", signal.c_str(), result, bytes.size());
}

// The bits of the values, lowest byte first. Every NaN is the same one: which of them a processor
// makes is its own affair, and no file or picture tells them apart.
template <typename Value>
void print_values(const std::string& signal, const char* result, std::span<const Value> values) {
  using Bits = std::conditional_t<sizeof(Value) == 8, std::uint64_t, std::uint32_t>;
  std::string bytes;
  for (const Value value : values) {
    const Value known = std::isnan(value) ? std::numeric_limits<Value>::quiet_NaN() : value;
    const Bits bits = std::bit_cast<Bits>(known);
    for (std::size_t i = 0; i < sizeof bits; ++i) {
      bytes += static_cast<char>(static_cast<unsigned char>(bits >> (8 * i) & 0xFF));
    }
  }
  print(signal, result, bytes);
}

void print_pictures(const std::string& signal, const TfrPictures& tfr) {
  print_values<float>(signal, "picture of high time resolution", tfr.tfr3.values);
  print_values<float>(signal, "picture of high frequency resolution", tfr.tfr10.values);
  print_values<double>(signal, "log power per cycle", tfr.cycle_log_power);
  const double scales[] = {tfr.tfr3_centre, tfr.tfr3_half_range, tfr.tfr10_centre,
                           tfr.tfr10_half_range};
  print_values<double>(signal, "colour scales", scales);
}

void print_files(const std::string& signal, std::span<const double> ecg,
                 const std::vector<double>& rr, const std::vector<double>& hr,
                 const RhythmAnalysis& rhythm) {
  RhythmImages images = draw_rhythm(rhythm.tfr, {sex_letter(k_settings.sex), k_settings.age, 16});
  print(signal, "PNG of high time resolution", png_file(images.high_time));
  print(signal, "PNG of high frequency resolution", png_file(images.high_frequency));
  const LogPowerColumn column{signal, rhythm.tfr.cycle_log_power, rhythm.mean_log_power, k_markers,
                              "markers"};
  print(signal, "table of log powers", log_power_table({&column, 1}, k_settings.cycle_seconds));
  Report report;
  report.name = signal;
  report.table = recording_table(k_settings, k_start_time, rhythm.tfr.cycle_log_power.size(),
                                 ecg.size(), rr.size(), k_markers);
  report.cycle_values = rhythm.tfr.cycle_log_power;
  report.hr_series = hr;
  report.high_time = std::move(images.high_time);
  report.high_frequency = std::move(images.high_frequency);
  report.sex = sex_letter(k_settings.sex);
  report.age = k_settings.age;
  report.markers = report_markers(k_markers);
  report.mean = rhythm.mean_log_power;
  report.cycle_seconds = k_settings.cycle_seconds;
  print(signal, "PDF", report_pdf(report));
}

void print_all(const std::string& signal, const std::vector<double>& ecg) {
  const std::vector<double> rr = rr_intervals_of(ecg);
  const std::vector<double> hr = build_hr_series(ecg, rr, 130);
  print_values<double>(signal, "samples", ecg);
  print_values<double>(signal, "RR intervals", rr);
  print_values<double>(signal, "heart rate", hr);
  print_values<double>(
      signal, "TVN value",
      compute_tvn_series(rr, static_cast<std::int32_t>(ecg.size()), 2, 16, 130, 0.1));
  print(signal, "text of heart rates", hr_text(hr));
  print(signal, "EDF+", edf_file(ecg, 130, signal, {{10, "1"}, {50, "7"}}, k_start_time));
  const auto rhythm = analyse_rhythm(ecg.size(), rr, k_settings.cycle_seconds);
  if (!rhythm) {
    std::printf("%s: no pictures\n", signal.c_str());
    return;
  }
  print_pictures(signal, rhythm->tfr);
  print_files(signal, ecg, rr, hr, *rhythm);
}

int print_everything(std::span<char*> recordings) {
  for (const std::string path : recordings) {
    std::string text;
    if (!read_file(path, text)) {
      std::fprintf(stderr, "%s cannot be read\n", path.c_str());
      return 1;
    }
    const std::vector<double> ecg = parse_raw_ecg(text);
    const std::string name = path.substr(path.rfind('/') + 1);
    print_all(name, ecg);
    print_values<double>(name, "resampled", std::span<const double>(resample_to_130(ecg, 250)));
  }
  for (const MadeSignal& signal : made_signals()) print_all(signal.name, signal.ecg);
  return 0;
}

}  // namespace
}  // namespace tvn

int main(int count, char** arguments) {
  setenv("TZ", "UTC", 1);  // NOLINT(concurrency-mt-unsafe): there is one thread
  return tvn::print_everything({arguments + 1, static_cast<std::size_t>(count - 1)});
}
