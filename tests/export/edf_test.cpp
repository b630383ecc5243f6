#include "export/edf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "base/files.h"
#include "tests/export/comma_locale.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

using std::string_literals::operator""s;

constexpr std::size_t k_header = 768;
constexpr std::uint64_t k_start = 1736242509;  // 2025-01-07 09:35:09 UTC, by date -u -d @1736242509

// The zone in which local time is told, for as long as the object lives.
class TimeZone {
 public:
  explicit TimeZone(const char* rule) {
    setenv("TZ", rule, 1);
    tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
  ~TimeZone() {
    unsetenv("TZ");
    tzset();
  }
};

std::string padded(std::string text, std::size_t width) {
  text.resize(width, ' ');
  return text;
}

std::string file_of(const std::vector<double>& samples, const std::string& name = "anna",
                    std::vector<EdfAnnotation> annotations = {}) {
  return edf_file(samples, 130, name, std::move(annotations), k_start);
}

// The annotation bytes of a record, at 130 samples per second.
std::string annotations_in(const std::string& file, std::size_t record) {
  return file.substr(k_header + record * 380 + 260, 120);
}

std::string zero_filled(std::string text) {
  text.resize(120, '\0');
  return text;
}

int sample_in(const std::string& file, std::size_t index) {
  const std::size_t at = k_header + index / 130 * 380 + index % 130 * 2;
  const auto low = static_cast<unsigned char>(file.at(at));
  const auto high = static_cast<unsigned char>(file.at(at + 1));
  return static_cast<std::int16_t>(high << 8 | low);
}

TEST(Edf, HeaderIsAsTheFormatAndThisWriterLayItOut) {
  const TimeZone utc("UTC0");
  const std::string file = edf_file(std::vector<double>(260, 0.0), 130, "Jane Doe", {}, k_start);
  const std::string expected =
      "0       " + padded("X X X Jane_Doe", 80) +
      padded("Startdate 07-JAN-2025 X X TalvernLive", 80) + "07.01.25" + "09.35.09" + "768     " +
      padded("EDF+C", 44) + "2       " + "1       " + "2   " + padded("ECG", 16) +
      "EDF Annotations " + padded("Polar H10 chest strap", 80) + padded("", 80) + "uV      " +
      "        " + "-32767  " + "-1      " + "32767   " + "1       " + "-32767  " + "-32768  " +
      "32767   " + "32767   " + padded("HP:5Hz LP:49Hz", 80) + padded("", 80) + "130     " +
      "60      " + padded("", 32) + padded("", 32);
  ASSERT_EQ(expected.size(), k_header);
  EXPECT_EQ(file.substr(0, k_header), expected);
  EXPECT_EQ(file.size(), k_header + 2 * 380);
}

TEST(Edf, DateAndTimeAreLocalSummerTimeIncluded) {
  const TimeZone berlin("CET-1CEST,M3.5.0,M10.5.0/3");
  // 2024-12-31 23:30:05 UTC and 2024-07-01 22:00:00 UTC.
  const std::string winter = edf_file(std::vector<double>{1}, 130, "", {}, 1735687805);
  EXPECT_EQ(winter.substr(88, 80), padded("Startdate 01-JAN-2025 X X TalvernLive", 80));
  EXPECT_EQ(winter.substr(168, 16), "01.01.2500.30.05");
  const std::string summer = edf_file(std::vector<double>{1}, 130, "", {}, 1719871200);
  EXPECT_EQ(summer.substr(88, 80), padded("Startdate 02-JUL-2024 X X TalvernLive", 80));
  EXPECT_EQ(summer.substr(168, 16), "02.07.2400.00.00");
}

TEST(Edf, EveryMonthHasItsEnglishAbbreviation) {
  const TimeZone utc("UTC0");
  const std::vector<std::string> months = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                           "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
  for (std::size_t month = 0; month < 12; ++month) {
    // The middle of each month of 1970, within its days whatever the lengths before it.
    const auto seconds =
        static_cast<std::uint64_t>((30.4 * static_cast<double>(month) + 14) * 86400);
    const std::string file = edf_file(std::vector<double>{1}, 130, "", {}, seconds);
    EXPECT_EQ(file.substr(101, 8), months[month] + "-1970");
  }
}

TEST(Edf, WithoutAStartTimeItIsNow) {
  const TimeZone utc("UTC0");
  const auto before = static_cast<std::uint64_t>(time(nullptr));
  const std::string now = edf_file(std::vector<double>{1}, 130, "", {}, 0);
  const auto after = static_cast<std::uint64_t>(time(nullptr));
  std::vector<std::string> possible;
  for (std::uint64_t t = before; t <= after; ++t) {
    possible.push_back(edf_file(std::vector<double>{1}, 130, "", {}, t));
  }
  EXPECT_THAT(possible, testing::Contains(now));
}

TEST(Edf, AStartTimeBeyondTheCalendarIsBroughtToItsEnd) {
  const TimeZone utc("UTC0");
  const std::string file =
      edf_file(std::vector<double>{1}, 130, "", {}, std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(file.substr(88, 80), padded("Startdate 31-DEC-9999 X X TalvernLive", 80));
}

TEST(Edf, ThePatientFieldHoldsTheName) {
  const auto patient = [](const std::string& name) { return file_of({1}, name).substr(8, 80); };
  EXPECT_EQ(patient(""), padded("X X X X", 80));
  EXPECT_EQ(patient(" a  b "), padded("X X X _a__b_", 80));
  EXPECT_EQ(patient("J\xC3\xB6rg\x7F\t!"), padded("X X X J  rg  !", 80));
  EXPECT_EQ(patient(std::string(100, 'n')), "X X X " + std::string(74, 'n'));
  EXPECT_EQ(patient("\xC3\x96l \xC3\xA9"), padded("X X X   l_", 80));
  EXPECT_EQ(patient(" "), padded("X X X _", 80));
  EXPECT_EQ(patient("a\0b"s), padded("X X X a b", 80));
}

TEST(Edf, RecordsAreSecondsFilledUpWithZeros) {
  std::vector<double> samples(131, 7.0);
  samples[130] = 9.0;
  const std::string file = file_of(samples);
  EXPECT_EQ(file.substr(236, 8), "2       ");
  ASSERT_EQ(file.size(), k_header + 2 * 380);
  EXPECT_EQ(sample_in(file, 129), 7);
  EXPECT_EQ(sample_in(file, 130), 9);
  for (std::size_t i = 131; i < 260; ++i) ASSERT_EQ(sample_in(file, i), 0) << i;
  EXPECT_EQ(file_of(std::vector<double>(130, 1.0)).substr(236, 8), "1       ");
}

TEST(Edf, SamplesAreRoundedAndLimited) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const std::string file = file_of({40000.4, -40000, 12.5, -12.5, -0.4, 0.49999999999999994,
                                    32766.5, -32766.5, nan, inf, -inf, 258, -2, 1e300});
  const std::vector<int> expected = {32767,  -32767, 13,    -13,    0,   0,  32767,
                                     -32767, 0,      32767, -32767, 258, -2, 32767};
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(sample_in(file, i), expected[i]) << i;
  EXPECT_EQ(file.substr(k_header + 22, 2), "\x02\x01");  // 258, the low byte first
}

TEST(Edf, TheRateIsTheLengthOfARecord) {
  const std::string file = edf_file(std::vector<double>{1, 2, 3}, 2, "a", {{1.5, "4"}}, k_start);
  EXPECT_EQ(file.substr(k_header - 64 - 16, 16), "2       60      ");
  ASSERT_EQ(file.size(), k_header + 2 * 124);
  EXPECT_EQ(file.substr(k_header, 4), "\1\0\2\0"s);
  EXPECT_EQ(file.substr(k_header + 4, 120), zero_filled("+0\x14\x14\0"s));
  EXPECT_EQ(file.substr(k_header + 124, 4), "\3\0\0\0"s);
  EXPECT_EQ(file.substr(k_header + 128, 120), zero_filled("+1\x14\x14\0+1.500\x14"
                                                          "4\x14\0"s));
  // Two records of one sample and the annotations.
  EXPECT_EQ(edf_file(std::vector<double>{1, 2}, 1, "", {}, k_start).size(), k_header + 2 * 122);
}

TEST(Edf, MarkersStandInTheRecordOfTheirSecond) {
  const std::string file = file_of(std::vector<double>(13 * 130, 0.0), "a",
                                   {{12.25, "2"}, {2.0, "9"}, {1.9996, "1"}, {0.0, "3"}});
  EXPECT_EQ(annotations_in(file, 0), zero_filled("+0\x14\x14\0+0.000\x14"
                                                 "3\x14\0"s));
  EXPECT_EQ(annotations_in(file, 1), zero_filled("+1\x14\x14\0+2.000\x14"
                                                 "1\x14\0"s));
  EXPECT_EQ(annotations_in(file, 2), zero_filled("+2\x14\x14\0+2.000\x14"
                                                 "9\x14\0"s));
  EXPECT_EQ(annotations_in(file, 3), zero_filled("+3\x14\x14\0"s));
  EXPECT_EQ(annotations_in(file, 12), zero_filled("+12\x14\x14\0+12.250\x14"
                                                  "2\x14\0"s));
}

TEST(Edf, MarkersAtTheEndOrWithoutATimeAreLeftOut) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const std::string file = file_of(std::vector<double>(130, 0.0), "a",
                                   {{nan, "1"}, {1.0, "2"}, {inf, "3"}, {-inf, "4"}, {0.5, "5"}});
  EXPECT_EQ(annotations_in(file, 0), zero_filled("+0\x14\x14\0+0.500\x14"
                                                 "5\x14\0"s));
}

TEST(Edf, OnsetsBeforeTheStartHaveOneSign) {
  const std::string file = file_of({1}, "a", {{-0.0, "1"}, {-0.0001, "2"}, {-1.5, "3"}});
  EXPECT_EQ(annotations_in(file, 0), zero_filled("+0\x14\x14\0-1.500\x14"
                                                 "3\x14\0+0.000\x14"
                                                 "2\x14\0+0.000\x14"
                                                 "1\x14\0"s));
}

TEST(Edf, WhatDoesNotFitARecordIsDroppedAndWhatFitsIsStillWritten) {
  // 5 bytes of time stamp and 10 for each marker of one digit: 11 of those make 115 of 120 bytes.
  std::vector<EdfAnnotation> annotations;
  std::string expected = "+0\x14\x14\0"s;
  for (int i = 0; i < 10; ++i) {
    annotations.push_back({0.1 * i, "1"});
    expected += "+0." + std::to_string(i) +
                "00\x14"
                "1\x14\0"s;
  }
  annotations.push_back({0.91, "a text of many letters"});
  annotations.push_back({0.92, "2"});
  annotations.push_back({0.93, "3"});
  expected +=
      "+0.920\x14"
      "2\x14\0"s;
  const std::string file = file_of(std::vector<double>(260, 0.0), "a", annotations);
  EXPECT_EQ(annotations_in(file, 0), zero_filled(expected));
  EXPECT_EQ(annotations_in(file, 1), zero_filled("+1\x14\x14\0"s));
}

TEST(Edf, ARecordsAnnotationsMayFillItToTheLastByte) {
  // 5 bytes of time stamp + 6 of onset + 3 of marks leave 106 of text.
  const auto record = [](std::size_t length) {
    return annotations_in(file_of({1}, "a", {{0.25, std::string(length, 't')}}), 0);
  };
  EXPECT_EQ(record(106), "+0\x14\x14\0+0.250\x14"s + std::string(106, 't') + "\x14\0"s);
  EXPECT_EQ(record(107), zero_filled("+0\x14\x14\0"s));
}

TEST(Edf, WritesNothingWithoutSamplesOrRate) {
  const TemporaryFolder folder;
  EXPECT_FALSE(write_edf(folder / "a.edf", {}, 130, "a", {}, k_start));
  EXPECT_FALSE(write_edf(folder / "a.edf", std::vector<double>{1}, 0, "a", {}, k_start));
  EXPECT_FALSE(write_edf(folder / "a.edf", std::vector<double>{1}, -5, "a", {}, k_start));
  EXPECT_FALSE(is_readable_file(folder / "a.edf"));
  EXPECT_FALSE(write_edf(folder / "no/a.edf", std::vector<double>{1}, 130, "a", {}, k_start));
}

TEST(Edf, ReplacesALongerFile) {
  const TemporaryFolder folder;
  ASSERT_TRUE(write_file(folder / "a.edf", std::string(100000, 'x')));
  EXPECT_TRUE(write_edf(folder / "a.edf", std::vector<double>{1}, 130, "a", {{0, "1"}}, k_start));
  std::string written;
  ASSERT_TRUE(read_file(folder / "a.edf", written));
  EXPECT_EQ(written, file_of({1}, "a", {{0, "1"}}));
}

TEST(Edf, ADecimalCommaInTheLocaleChangesNothing) {
  const std::vector<EdfAnnotation> annotations = {{1234.567, "1"}};
  const std::vector<double> samples(1300 * 130, 1.5);
  const std::string before = file_of(samples, "a", annotations);
  const CommaLocale comma;
  EXPECT_EQ(file_of(samples, "a", annotations), before);
  EXPECT_NE(before.find("+1234.567"), std::string::npos);
}

}  // namespace
}  // namespace tvn
