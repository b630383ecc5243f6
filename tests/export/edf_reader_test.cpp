// Files of random sessions, read back by EDFlib, a reader that others wrote.
#include <edflib.h>
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "base/files.h"
#include "base/names.h"
#include "export/edf.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

constexpr int k_sessions = 200;
constexpr double k_longest_minutes = 120;
// Markers are at least this far apart, so that a record has room for all of its second.
constexpr double k_marker_distance = 0.15;
constexpr double k_edf_second = 1e7;  // EDFlib counts units of 100 ns

struct Session {
  std::string name;
  std::vector<double> samples;
  std::vector<EdfAnnotation> markers;
  std::uint64_t start_time;
};

class Random {
 public:
  double between(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(engine_);
  }
  std::size_t below(std::size_t n) { return engine_() % n; }
  template <typename Values>
  void shuffle(Values& values) {
    std::shuffle(values.begin(), values.end(), engine_);
  }

 private:
  std::mt19937 engine_{20250107};
};

std::string random_name(Random& random) {
  const std::vector<std::string> names = {"",          "anna",
                                          "Jane Doe",  "J\xC3\xB6rg M\xC3\xBCller",
                                          " a  b ",    "\xC3\xA4\xC3\xB6\xC3\xBC",
                                          "_",         "-",
                                          "\xC3\x96l", "a\xC3\xA9"};
  const std::size_t choice = random.below(names.size() + 1);
  return choice < names.size() ? names[choice] : std::string(100, 'n');
}

// From 1 sample to 2 hours, short sessions as often as long ones.
Session random_session(Random& random, int number) {
  Session session;
  session.name = sanitise_name(random_name(random));  // as exports name their files
  const double longest = std::log(k_longest_minutes * 60 * 130);
  const auto drawn = static_cast<std::size_t>(std::exp(random.between(0, longest)));
  const std::size_t n = number == 0 ? 1 : number == 1 ? 2 * 3600 * 130 : drawn;
  for (std::size_t i = 0; i < n; ++i) session.samples.push_back(random.between(-40000, 40000));
  const double seconds = static_cast<double>(n) / 130;
  const auto places = static_cast<std::size_t>(seconds / k_marker_distance);
  const std::size_t markers = std::min<std::size_t>(number == 1 ? 500 : random.below(501), places);
  for (std::size_t i = 0; i < markers; ++i) {
    const auto sample = std::floor(static_cast<double>(i) * k_marker_distance * 130);
    session.markers.push_back({sample / 130, std::to_string(1 + random.below(9))});
  }
  random.shuffle(session.markers);
  // Within the years 1985 to 2084, all that the two-digit year of the format can tell.
  session.start_time = static_cast<std::uint64_t>(random.between(9.5e8, 2.5e9));
  return session;
}

void expect_start(const edf_hdr_struct& header, std::uint64_t start_time) {
  const auto when = static_cast<time_t>(start_time);
  tm parts{};
  localtime_r(&when, &parts);
  EXPECT_EQ(header.startdate_year, parts.tm_year + 1900);
  EXPECT_EQ(header.startdate_month, parts.tm_mon + 1);
  EXPECT_EQ(header.startdate_day, parts.tm_mday);
  EXPECT_EQ(header.starttime_hour, parts.tm_hour);
  EXPECT_EQ(header.starttime_minute, parts.tm_min);
  EXPECT_EQ(header.starttime_second, parts.tm_sec);
  EXPECT_EQ(header.starttime_subsecond, 0);
}

void expect_texts(const edf_hdr_struct& header) {
  EXPECT_EQ(header.filetype, EDFLIB_FILETYPE_EDFPLUS);
  EXPECT_STREQ(header.patientcode, "");  // "X", unknown
  EXPECT_EQ(std::string(header.equipment).substr(0, 11), "TalvernLive");
  ASSERT_EQ(header.edfsignals, 1);
  EXPECT_STREQ(header.signalparam[0].label, "ECG             ");
  EXPECT_STREQ(header.signalparam[0].physdimension, "uV      ");
  EXPECT_EQ(header.signalparam[0].smp_in_datarecord, 130);
}

void expect_signal(const edf_hdr_struct& header, const std::vector<double>& samples) {
  const auto n = static_cast<std::size_t>(header.signalparam[0].smp_in_file);
  ASSERT_EQ(n, (samples.size() + 129) / 130 * 130);
  std::vector<double> read(n);
  ASSERT_EQ(edfread_physical_samples(header.handle, 0, static_cast<int>(n), read.data()),
            static_cast<int>(n));
  for (std::size_t i = 0; i < n; ++i) {
    const double sample = i < samples.size() ? samples[i] : 0;
    const double written = std::clamp(sample, -32767.0, 32767.0);
    ASSERT_LE(std::abs(read[i] - written), 0.5 + 1e-9) << i;
    ASSERT_EQ(read[i], std::round(read[i])) << i;
  }
}

void expect_annotations(const edf_hdr_struct& header, std::vector<EdfAnnotation> markers) {
  std::sort(markers.begin(), markers.end(),
            [](const auto& a, const auto& b) { return a.onset < b.onset; });
  ASSERT_EQ(header.annotations_in_file, static_cast<long long>(markers.size()));
  for (std::size_t i = 0; i < markers.size(); ++i) {
    edf_annotation_struct annotation{};
    ASSERT_EQ(edf_get_annotation(header.handle, static_cast<int>(i), &annotation), 0);
    EXPECT_STREQ(annotation.annotation, markers[i].text.c_str());
    const double onset = static_cast<double>(annotation.onset) / k_edf_second;
    EXPECT_NEAR(onset, markers[i].onset, 0.0005 + 1e-9);
  }
}

TEST(EdfReader, ReadsTwoHundredRandomSessionsAsTheyWereWritten) {
  const TemporaryFolder folder;
  Random random;
  for (int i = 0; i < k_sessions; ++i) {
    const Session session = random_session(random, i);
    const std::string path = folder / std::to_string(i) + ".edf";
    ASSERT_TRUE(
        write_edf(path, session.samples, 130, session.name, session.markers, session.start_time));
    SCOPED_TRACE("session " + std::to_string(i) + ", name \"" + session.name + "\"");
    edf_hdr_struct header{};
    ASSERT_EQ(edfopen_file_readonly(path.c_str(), &header, EDFLIB_READ_ALL_ANNOTATIONS), 0)
        << header.filetype;
    expect_texts(header);
    expect_start(header, session.start_time);
    expect_signal(header, session.samples);
    expect_annotations(header, session.markers);
    EXPECT_EQ(edfclose_file(header.handle), 0);
  }
}

TEST(EdfReader, FindsTheNameInThePatientField) {
  const TemporaryFolder folder;
  const std::string path = folder / "a.edf";
  ASSERT_TRUE(write_edf(path, std::vector<double>{1}, 130, "Jane Doe", {}, 1736242509));
  edf_hdr_struct header{};
  ASSERT_EQ(edfopen_file_readonly(path.c_str(), &header, EDFLIB_READ_ALL_ANNOTATIONS), 0);
  EXPECT_EQ(std::string(header.patient_name).substr(0, 8), "Jane Doe");  // shows "_" as " "
  EXPECT_EQ(edfclose_file(header.handle), 0);
}

}  // namespace
}  // namespace tvn
