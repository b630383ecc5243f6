// Random reports, opened by qpdf, MuPDF and Poppler, three readers that others wrote; none of them
// has anything to say.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "export/report/batch_report.h"
#include "export/report/report.h"
#include "tests/export/pdf_parts.h"
#include "tests/export/report/logo_fixture.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

constexpr int k_reports = 200;
constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double k_infinity = std::numeric_limits<double>::infinity();

class Random {
 public:
  double between(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(engine_);
  }
  std::size_t below(std::size_t n) { return engine_() % n; }
  bool one_in(std::size_t n) { return below(n) == 0; }

  // Mostly an ordinary value, now and then one that no report expects.
  double odd(double low, double high) {
    const std::vector<double> odd_ones = {k_nan,  k_infinity, -k_infinity, 0,    -0.0,
                                          1e-300, 1e300,      -1e300,      1e-5, 1234567};
    return one_in(40) ? odd_ones[below(odd_ones.size())] : between(low, high);
  }

  std::vector<double> odd_values(std::size_t most, double low, double high) {
    std::vector<double> values(below(most + 1));
    const bool all_missing = one_in(10);
    for (double& value : values) value = all_missing ? k_nan : odd(low, high);
    return values;
  }

  // Texts of any bytes, the marks of PDF strings among them.
  std::string text(std::size_t most) {
    if (one_in(3)) return "anna (1) \\ \xC3\xB6";
    std::string text(below(most + 1), ' ');
    for (char& c : text)
      c = one_in(8) ? "()\\\n\r\0/<>%"[below(10)] : static_cast<char>(below(256));
    return text;
  }

  RgbImage image() {
    if (one_in(20)) return {};
    RgbImage image;
    image.width = static_cast<std::uint32_t>(1 + below(one_in(10) ? 1200 : 40));
    image.height = static_cast<std::uint32_t>(1 + below(20));
    image.pixels.assign(std::size_t{image.width} * image.height * 3, 77);
    return image;
  }

  std::vector<PdfMarker> markers(double seconds) {
    std::vector<PdfMarker> markers(one_in(3) ? below(501) : below(4));
    for (PdfMarker& marker : markers) {
      marker = {odd(-10, seconds + 10), std::to_string(1 + below(9))};
    }
    return markers;
  }

  ReportTable table() {
    ReportTable table(below(12));
    for (auto& row : table) row = {text(30), text(300)};
    return table;
  }

 private:
  std::mt19937 engine_{20250107};
};

std::vector<double> random_rates(Random& random) {
  return random.odd_values(random.one_in(10) ? 36000 : 3000, 40, 180);
}

std::string random_report(Random& random) {
  Report report;
  report.name = random.text(300);
  report.table = random.table();
  report.cycle_values = random.odd_values(random.one_in(5) ? 2000 : 40, -5, 15);
  report.hr_series = random_rates(random);
  report.high_time = random.image();
  report.high_frequency = random.image();
  report.sex = random.one_in(2) ? 'F' : 'M';
  report.age =
      static_cast<std::int32_t>(random.odd(-1e9, 1e9) > 0 ? random.below(120) : 2147483647);
  report.markers = random.markers(0.1 * static_cast<double>(report.hr_series.size()));
  report.mean = random.odd(-5, 15);
  report.cycle_seconds = random.odd(0.1, 30);
  return report_pdf(report);
}

std::string random_batch(Random& random) {
  BatchReport report;
  report.name = random.text(300);
  report.table = random.table();
  report.age = static_cast<std::int32_t>(random.below(120));
  for (std::size_t left = random.below(random.one_in(10) ? 35 : 4); left > 0; --left) {
    const std::vector<double> cycles = random.odd_values(random.one_in(5) ? 2000 : 40, -5, 15);
    const std::vector<double> hr = random_rates(random);
    const std::vector<PdfMarker> markers = random.markers(300);
    const RgbImage high_time = random.image();
    const RgbImage high_frequency = random.image();
    report.recordings.push_back(batch_report_entry(
        {random.text(300), cycles, random.odd(-5, 15), hr, markers, high_time, high_frequency},
        random.odd(0.1, 30)));
  }
  return batch_report_pdf(report);
}

std::string real_logo() {
  std::string bytes;
  EXPECT_TRUE(read_file(TVN_SOURCE_DIR "/assets/report_logo.jpg", bytes));
  return bytes;
}

// Half of them of one recording, half of several.
template <typename Use>
void for_each_report(Use use) {
  const LogoInPlace logo(real_logo(), 700, 175);
  Random random;
  for (int i = 0; i < k_reports; ++i) {
    SCOPED_TRACE("report " + std::to_string(i));
    use(i, i % 2 == 0 ? random_report(random) : random_batch(random));
  }
}

// What a shell command writes to either output.
std::string output_of(const std::string& command) {
  FILE* pipe = popen(("exec 2>&1; " + command).c_str(), "r");
  if (pipe == nullptr) return "no shell";
  std::string output;
  for (int c; (c = fgetc(pipe)) != EOF;) output += static_cast<char>(c);
  const int status = pclose(pipe);
  return status == 0 ? output : output + "[exit status " + std::to_string(status) + "]";
}

// What the three readers say about the PDF files in a folder: nothing when all is well. -N spares
// MuPDF the colour profiles, which some builds lack and complain about.
std::string complaints_about(const std::string& folder) {
  return output_of("cd '" + folder + R"(' && for f in *.pdf; do
      qpdf --check $f >/dev/null || echo "$f: qpdf"
      mutool draw -q -N -r 20 -F ppm -o /dev/null $f || echo "$f: mutool"
      pdftoppm -r 20 $f >/dev/null || echo "$f: pdftoppm"
    done)");
}

TEST(PdfReader, ThreeReadersSayNothingAboutTwoHundredReports) {
  const TemporaryFolder folder;
  for_each_report([&](int i, const std::string& file) {
    ASSERT_TRUE(pdf_write(folder / std::to_string(i) + ".pdf", file));
  });
  EXPECT_EQ(complaints_about(folder.path()), "");
}

// The test above can fail: each reader notices a damaged file.
TEST(PdfReader, TheReadersDoComplain) {
  const TemporaryFolder folder;
  Random random;
  std::string file = random_report(random);
  file.resize(file.size() / 2);
  ASSERT_TRUE(pdf_write(folder / "damaged.pdf", file));
  const std::string complaints = complaints_about(folder.path());
  EXPECT_THAT(complaints, testing::HasSubstr("damaged.pdf: qpdf"));
  EXPECT_THAT(complaints, testing::HasSubstr("Syntax"));   // Poppler's word
  EXPECT_THAT(complaints, testing::HasSubstr("error: "));  // MuPDF's
}

TEST(PdfReader, TextWithoutInkCanBeSearched) {
  const TemporaryFolder folder;
  Report report;
  report.name = std::string(60, 'n');
  report.cycle_values.assign(200, 8.75);
  ASSERT_TRUE(write_report(folder / "a.pdf", report));
  const std::string text = output_of("pdftotext -raw '" + folder / "a.pdf" + "' -");
  EXPECT_THAT(text, testing::HasSubstr("Recording: " + report.name));
  EXPECT_THAT(text, testing::HasSubstr("186"));  // between 180 and 190, which have ink
}

bool is_digits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

// As PDF Reference 1.4, section 3.2.2, has numbers: no exponent, no "nan".
bool is_pdf_number(std::string_view token) {
  if (token.starts_with('-')) token.remove_prefix(1);
  const std::size_t point = token.find('.');
  if (point == token.npos) return is_digits(token);
  return is_digits(token.substr(0, point)) && is_digits(token.substr(point + 1));
}

// The operators and names of the reports, and the dash patterns "[2 2]" and "[]" in their pieces.
bool is_pdf_word(const std::string& token) {
  static const std::set<std::string> words = {
      "rg", "RG", "BT",  "ET",  "Tf",   "Td",   "Tm",    "Tj",   "Tz",  "Tr", "re",
      "f",  "w",  "m",   "l",   "S",    "d",    "q",     "Q",    "cm",  "Do", "[2",
      "2]", "[]", "/F1", "/F2", "/Im1", "/Im2", "/Logo", "/ImA", "/ImB"};
  return words.contains(token);
}

TEST(PdfReader, EveryNumberOfAPageIsOneInPdf) {
  for_each_report([&](int, const std::string& file) {
    for (const std::string& page : pdf_pages(file)) {
      for (const std::string& token : pdf_tokens(page)) {
        ASSERT_TRUE(is_pdf_number(token) || is_pdf_word(token)) << token;
      }
    }
  });
}

}  // namespace
}  // namespace tvn
