#include "export/edf.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <ctime>
#include <utility>

#include "base/files.h"
#include "base/number_text.h"
#include "base/rounding.h"

namespace tvn {
namespace {

constexpr std::size_t k_header_bytes = 768;  // 256 for the file and for each of two signals
// Of annotations per record: the time stamp and some ten markers.
constexpr std::size_t k_annotation_samples = 60;
constexpr std::size_t k_annotation_bytes = 2 * k_annotation_samples;
constexpr double k_digital_limit = 32767;  // symmetric, so that 0 microvolts is digital 0
constexpr std::uint64_t k_end_of_year_9999 = 253402300799;  // the date field has four digits
constexpr char k_text_end = 0x14;
constexpr char k_list_end = 0x00;

constexpr std::array<std::string_view, 12> k_months = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                                       "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};

bool is_shown(char c) {
  return c > 32 && c < 127;
}

// A header field: `width` bytes, left-aligned, ASCII only.
std::string field(std::string_view text, std::size_t width) {
  std::string padded(text.substr(0, width));
  padded.resize(width, ' ');
  std::ranges::replace_if(
      padded, [](char c) { return !is_shown(c); }, ' ');
  return padded;
}

std::string whole(double value) {
  return fixed_text(value, 0);
}

std::string two_digits(int value) {
  const std::string text = std::to_string(value);
  return text.size() < 2 ? '0' + text : text;
}

std::tm local_time(std::uint64_t start_time) {
  const std::uint64_t now = static_cast<std::uint64_t>(std::time(nullptr));
  const std::uint64_t seconds = std::min(start_time == 0 ? now : start_time, k_end_of_year_9999);
  const auto when = static_cast<std::time_t>(seconds);
  std::tm parts{};
  localtime_r(&when, &parts);
  return parts;
}

std::string patient_field(std::string_view name) {
  std::string shown(name.empty() ? "X" : name);
  std::replace(shown.begin(), shown.end(), ' ', '_');
  return field("X X X " + shown, 80);
}

std::string recording_field(const std::tm& start) {
  return field("Startdate " + two_digits(start.tm_mday) + '-' +
                   std::string(k_months[static_cast<std::size_t>(start.tm_mon)]) + '-' +
                   std::to_string(start.tm_year + 1900) + " X X TalvernLive",
               80);
}

// One header field of both signals.
std::string fields(std::string_view ecg, std::string_view annotations, std::size_t width) {
  return field(ecg, width) + field(annotations, width);
}

std::string file_header(std::size_t records, std::string_view name, const std::tm& start) {
  const auto dotted = [](int a, int b, int c) {
    return field(two_digits(a) + '.' + two_digits(b) + '.' + two_digits(c), 8);
  };
  return field("0", 8) + patient_field(name) + recording_field(start) +
         dotted(start.tm_mday, start.tm_mon + 1, start.tm_year % 100) +
         dotted(start.tm_hour, start.tm_min, start.tm_sec) + field(whole(k_header_bytes), 8) +
         field("EDF+C", 44) + field(whole(static_cast<double>(records)), 8) + field("1", 8) +
         field("2", 4);
}

std::string signal_headers(std::int32_t rate) {
  return fields("ECG", "EDF Annotations", 16) + fields("Polar H10 chest strap", "", 80) +
         fields("uV", "", 8) + fields(whole(-k_digital_limit), "-1", 8) +
         fields(whole(k_digital_limit), "1", 8) + fields(whole(-k_digital_limit), "-32768", 8) +
         fields(whole(k_digital_limit), "32767", 8) + fields("HP:5Hz LP:49Hz", "", 80) +
         fields(whole(rate), whole(k_annotation_samples), 8) + fields("", "", 32);
}

void append_sample(std::string& file, double microvolts) {
  const double limited = std::clamp(microvolts, -k_digital_limit, k_digital_limit);
  const auto bits = static_cast<std::uint16_t>(round_to_integer<std::int16_t>(limited));
  file += static_cast<char>(bits & 0xFF);
  file += static_cast<char>(bits >> 8);
}

// A time-stamped annotation list; an onset before the recording's start brings its own sign.
std::string annotation_list(const EdfAnnotation& annotation) {
  const std::string onset = fixed_text(annotation.onset, 3);
  return (onset.front() == '-' ? "" : "+") + onset + k_text_end + annotation.text + k_text_end +
         k_list_end;
}

std::vector<EdfAnnotation> in_order(std::vector<EdfAnnotation> annotations) {
  std::erase_if(annotations, [](const EdfAnnotation& a) { return !std::isfinite(a.onset); });
  std::stable_sort(annotations.begin(), annotations.end(),
                   [](const auto& a, const auto& b) { return a.onset < b.onset; });
  return annotations;
}

// The annotation bytes of successive records: each annotation is looked at once, in the record of
// its second, and dropped when it does not fit there.
class AnnotationSignal {
 public:
  explicit AnnotationSignal(std::vector<EdfAnnotation> annotations)
      : annotations_(in_order(std::move(annotations))) {}

  void append_next(std::string& file) {
    const std::size_t begin = file.size();
    file += '+' + whole(record_) + k_text_end + k_text_end + k_list_end;
    for (; next_ < annotations_.size() && annotations_[next_].onset < record_ + 1; ++next_) {
      const std::string list = annotation_list(annotations_[next_]);
      if (file.size() - begin + list.size() <= k_annotation_bytes) file += list;
    }
    file.resize(begin + k_annotation_bytes, '\0');
    ++record_;
  }

 private:
  std::vector<EdfAnnotation> annotations_;
  std::size_t next_ = 0;
  double record_ = 0;  // also its second
};

}  // namespace

std::string edf_file(std::span<const double> samples, std::int32_t rate, std::string_view name,
                     std::vector<EdfAnnotation> annotations, std::uint64_t start_time) {
  if (rate < 1 || samples.empty()) return "";
  const auto per_record = static_cast<std::size_t>(rate);
  const std::size_t records = (samples.size() - 1) / per_record + 1;
  std::string file = file_header(records, name, local_time(start_time)) + signal_headers(rate);
  if (file.size() != k_header_bytes) return "";
  file.reserve(file.size() + records * (2 * per_record + k_annotation_bytes));
  AnnotationSignal signal(std::move(annotations));
  for (std::size_t record = 0; record < records; ++record) {
    const std::size_t begin = record * per_record;
    const auto block = samples.subspan(begin, std::min(per_record, samples.size() - begin));
    for (const double sample : block) append_sample(file, sample);
    file.append(2 * (per_record - block.size()), '\0');
    signal.append_next(file);
  }
  return file;
}

bool write_edf(const std::string& path, std::span<const double> samples, std::int32_t rate,
               std::string_view name, std::vector<EdfAnnotation> annotations,
               std::uint64_t start_time) {
  const std::string file = edf_file(samples, rate, name, std::move(annotations), start_time);
  return !file.empty() && write_file(path, file);
}

}  // namespace tvn
