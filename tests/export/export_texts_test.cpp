#include "export/export_texts.h"

#include <gmock/gmock.h>
#include <locale.h>

#include <cmath>
#include <limits>

namespace tvn {
namespace {

using testing::ElementsAre;
using testing::Pair;

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();

// As printf("%.6g") writes them.
TEST(HrText, HasSixSignificantDigits) {
  const double rates[] = {60, 72.1234567, 1e-5, 123456789, 70.00001};
  EXPECT_EQ(hr_text(rates), "60\n72.1235\n1e-05\n1.23457e+08\n70\n");
  EXPECT_EQ(hr_text({}), "");
}

LogPowerColumn column(const std::string& heading, std::vector<double> values, double mean,
                      std::vector<Marker> markers = {}, const std::string& markers_heading = "") {
  return {heading, std::move(values), mean, std::move(markers), markers_heading};
}

TEST(LogPowerTable, OfOneRecordingWithoutMarkers) {
  const LogPowerColumn anna = column("anna", {8.125, k_nan, 9.5}, 8.8125);
  EXPECT_EQ(log_power_table({&anna, 1}, 16), "cycle,anna\n0,8.125\n1,\n2,9.5\npow,8.8125\n");
}

TEST(LogPowerTable, WithoutAnyValueHasAnEmptyMean) {
  const LogPowerColumn anna = column("anna", {k_nan}, k_nan, {{0, 3}}, "markers");
  EXPECT_EQ(log_power_table({&anna, 1}, 16), "cycle,anna,markers\n0,,3\npow,,\n");
}

TEST(LogPowerTable, AMarkerAtACyclesEndBelongsToTheNext) {
  // 16 s are 2080 samples.
  const std::vector<Marker> markers = {{2080, 1}, {2079, 2}, {0, 9}, {4160, 4}, {3000, 5}};
  const LogPowerColumn anna = column("anna", {1, 2}, 1.5, markers, "markers");
  EXPECT_EQ(log_power_table({&anna, 1}, 16), "cycle,anna,markers\n0,1,2 9\n1,2,1 5\npow,1.5,\n");
}

TEST(LogPowerTable, OfSeveralRecordings) {
  const LogPowerColumn columns[] = {column("a", {1, 2}, 1.5),
                                    column("b, \"loud\"", {3}, 3, {{0, 7}}, "b, \"loud\"_markers"),
                                    column("c\nd", {}, k_nan)};
  EXPECT_EQ(log_power_table(columns, 10),
            "cycle,a,\"b, \"\"loud\"\"\",\"b, \"\"loud\"\"_markers\",\"c\nd\"\n"
            "0,1,3,7,\n"
            "1,2,,,\n"
            "pow,1.5,3,,\n");
}

ReportSettings settings() {
  return {"F", 34, 5.5, 6.45, 11.95};
}

TEST(RecordingTable, TellsPersonBreathingAndRecording) {
  // 33410 / 130 = 257.0; 1 / 11.95 = 0.08368.
  const ReportTable table = recording_table(settings(), 0, 21, 33410, 301, {});
  EXPECT_THAT(
      table, ElementsAre(
                 Pair("Date", testing::MatchesRegex("19(69-12-31|70-01-01) [0-9][0-9]:[0-9][0-9]")),
                 Pair("Sex / Age", "F / 34"), Pair("Periods", "in 5.5 s / out 6.45 s"),
                 Pair("Cycle length", "11.95 s"), Pair("Expected frequency", "0.0837 Hz"),
                 Pair("Cycles recorded", "21"), Pair("Duration", "257 s"), Pair("R-peaks", "301")));
}

TEST(RecordingTable, ListsTwelveMarkers) {
  std::vector<Marker> markers;
  for (int i = 0; i < 12; ++i) markers.push_back({13 * i, 1 + i % 9});
  const auto listed = [&] { return recording_table(settings(), 0, 1, 1, 1, markers).back(); };
  const std::string twelve =
      "1 @ 0.0 s, 2 @ 0.1 s, 3 @ 0.2 s, 4 @ 0.3 s, 5 @ 0.4 s, 6 @ 0.5 s, 7 @ 0.6 s, 8 @ 0.7 s, "
      "9 @ 0.8 s, 1 @ 0.9 s, 2 @ 1.0 s, 3 @ 1.1 s";
  EXPECT_THAT(listed(), Pair("Markers", twelve));
  for (int i = 0; i < 3; ++i) markers.push_back({2000, 5});
  EXPECT_THAT(listed(), Pair("Markers", twelve + ", ..."));
}

TEST(BatchTable, LeavesOutWhatBelongsToOneRecording) {
  EXPECT_THAT(
      batch_table(settings(), report_date(0)),
      ElementsAre(Pair("Date", testing::_), Pair("Sex / Age", "F / 34"),
                  Pair("Periods", "in 5.5 s / out 6.45 s"), Pair("Cycle length", "11.95 s")));
}

TEST(ExportTexts, AreTheSameInALocaleWithADecimalComma) {
  ASSERT_NE(setlocale(LC_NUMERIC, "de_DE.UTF-8"), nullptr) << "run the tests through ./test";
  const double rates[] = {72.5};
  EXPECT_EQ(hr_text(rates), "72.5\n");
  const LogPowerColumn anna = column("anna", {8.125}, 8.125);
  EXPECT_EQ(log_power_table({&anna, 1}, 16), "cycle,anna\n0,8.125\npow,8.125\n");
  EXPECT_EQ(recording_table(settings(), 0, 1, 130, 1, {})[2].second, "in 5.5 s / out 6.45 s");
  setlocale(LC_NUMERIC, "C");
}

TEST(ReportMarkers, AreSecondsAndNumbers) {
  const Marker marker{260, 4};
  const std::vector<PdfMarker> markers = report_markers({&marker, 1});
  ASSERT_EQ(markers.size(), 1u);
  EXPECT_EQ(markers[0].seconds, 2);
  EXPECT_EQ(markers[0].label, "4");
}

}  // namespace
}  // namespace tvn
