// Every file of a batch over the golden recording and an RR export, as one person.
#include <gmock/gmock.h>

#include <cmath>
#include <functional>

#include "batch/batch_job.h"
#include "export/export_texts.h"
#include "tests/analysis/plain_forms.h"
#include "tests/export/pdf_parts.h"
#include "tests/golden/golden_recording.h"
#include "tests/session/session_fixture.h"

namespace tvn {
namespace {

using testing::ElementsAre;

class GoldenBatchTest : public SessionTest {
 protected:
  GoldenBatchTest() {
    std::string text;
    for (const double sample : golden::ecg()) text += std::to_string(sample) + "\n";
    std::filesystem::create_directories(root());
    write("day 1.txt", text);
    write("rr.csv", golden::rr_export());
    write_markers(golden::markers());
    set_person();
  }
  ~GoldenBatchTest() override {
    wait_until([this] { return !engine_.batch_running; });
  }

  std::string root() { return folder_ / "root"; }
  void write(const std::string& name, const std::string& text) {
    ASSERT_TRUE(write_file(root() + "/" + name, text));
  }
  void write_markers(const std::vector<Marker>& markers) {
    std::string text = "marker,sample_index,seconds\n";
    for (const Marker& marker : markers) {
      text += std::to_string(marker.key) + "," + std::to_string(marker.sample_index) + ",\n";
    }
    write("day 1_markers.csv", text);
  }
  void set_person() {
    const SessionLock hold(engine_.lock);
    engine_.indur = golden::k_indur;
    engine_.outdur = golden::k_outdur;
    engine_.cycle_seconds = golden::k_cycle;
    engine_.sex = "F";
    engine_.age = golden::k_age;
  }
  void run(const std::string& name) {
    std::filesystem::remove_all(folder_ / "exports");
    ASSERT_TRUE(start_batch(engine_, root(), true, name));
    ASSERT_TRUE(wait_until([this] { return !engine_.batch_running; }));
    ASSERT_EQ(get(&Engine::batch_result), R"({"reports":1})");
    const std::string path = folder_ / "exports/" + name + "_export/" + name;
    ASSERT_TRUE(read_file(path + "_TVN_logpower.csv", table_));
    ASSERT_TRUE(read_file(path + "_report.pdf", report_));
  }
  std::string table_, report_;
};

// Of an RR export: in seconds and without artefacts, as long as its intervals.
golden::Numbers rr_numbers() {
  std::vector<double> rr;
  const auto rows = golden::csv_cells(golden::rr_export());
  for (std::size_t i = 3; i < rows.size(); ++i) rr.push_back(std::stod(rows[i][2]) / 1000);
  rr = plain::correct_rr_artifacts(rr);
  double seconds = 0;
  for (const double interval : rr) seconds += interval;
  return golden::numbers_of(static_cast<std::size_t>(std::lround(seconds * 130)), rr);
}

TEST_F(GoldenBatchTest, TheTableHoldsBothRecordings) {
  run("Eva");
  const golden::Numbers &ecg = golden::numbers(), rr = rr_numbers();
  ASSERT_EQ(ecg.cycles.size(), 8u);  // 84.3 s
  ASSERT_EQ(rr.cycles.size(), 6u);   // some 68 s
  const auto rows = golden::csv_cells(table_);
  ASSERT_EQ(rows.size(), 10u);
  EXPECT_THAT(rows[0], ElementsAre("cycle", "day 1", "day 1_markers", "Kubios RR (80 beats)"));
  const std::vector<std::string> keys = {"4", "1", "", "", "9", "", "", ""};
  for (std::size_t i = 0; i < 8; ++i) {
    const auto& row = rows[i + 1];
    ASSERT_EQ(row.size(), 4u);
    EXPECT_EQ(row[0], std::to_string(i));
    EXPECT_NEAR(std::stod(row[1]), ecg.cycles[i], 6e-5);
    EXPECT_EQ(row[2], keys[i]);
    if (i < 6) {
      EXPECT_NEAR(std::stod(row[3]), rr.cycles[i], 6e-5);
    } else {
      EXPECT_EQ(row[3], "");
    }
  }
  EXPECT_EQ(rows[9][0], "pow");
  EXPECT_NEAR(std::stod(rows[9][1]), ecg.mean, 6e-5);
  EXPECT_EQ(rows[9][2], "");
  EXPECT_NEAR(std::stod(rows[9][3]), rr.mean, 6e-5);
}

TEST_F(GoldenBatchTest, TheReportTellsEverything) {
  const std::string before = report_date(std::time(nullptr));
  run("Eva");
  const std::string after = report_date(std::time(nullptr));
  const golden::Numbers &ecg = golden::numbers(), rr = rr_numbers();
  const std::vector<std::string> pages = pdf_pages(report_);
  ASSERT_EQ(pages.size(), 3u);
  const std::vector<std::string> texts = pdf_texts(pages[0]);
  const std::vector<std::string> table(texts.begin(), texts.begin() + 10);
  EXPECT_THAT(table, ElementsAre("Talvern Live - report", "Name: Eva",
                                 "Date:", testing::AnyOf(before, after), "Sex / Age:", "F / 63",
                                 "Periods:", "in 6 s / out 4 s", "Cycle length:", "10 s"));
  for (const golden::Numbers* wanted : {&ecg, &rr}) {
    char mean[32];
    std::snprintf(mean, sizeof mean, "pow (mean): %.3f", wanted->mean);
    EXPECT_THAT(texts, testing::Contains(mean));
  }
  // The strips stand below one another, each in the order of its cycles.
  const std::size_t second = pages[0].find("(Kubios RR");
  ASSERT_NE(second, std::string::npos);
  golden::expect_strip(pages[0].substr(0, second), ecg, 194, 345);
  golden::expect_strip(pages[0].substr(second), rr, 194, 345);
  golden::expect_curve(pages[1], ecg);
  golden::expect_grid(pages[1], ecg, golden::k_cycle);
  golden::expect_marker_lines(pages[1], ecg, golden::markers());
  golden::expect_curve(pages[2], rr);
  golden::expect_grid(pages[2], rr, golden::k_cycle);
  golden::expect_marker_lines(pages[2], rr, {});
  const std::vector<std::string> pictures = golden::pictures_of(report_);
  ASSERT_EQ(pictures.size(), 4u);
  golden::expect_picture(pictures[0], ecg, true);
  golden::expect_picture(pictures[1], ecg, false);
  golden::expect_picture(pictures[2], rr, true);
  golden::expect_picture(pictures[3], rr, false);
}

// Every input changes what it should, and nothing else.
TEST_F(GoldenBatchTest, EveryInputShowsWhereItShould) {
  using Parts = std::map<std::string, std::string>;
  const auto parts = [this](const std::string& name) {
    run(name);
    std::vector<std::string> pages = pdf_pages(report_);
    const std::string date = pdf_texts(pages[0])[3];
    pages[0].replace(pages[0].find(date), date.size(), "");  // a minute may have gone by
    const std::vector<std::string> pictures = golden::pictures_of(report_);
    return Parts{{"table", table_},          {"page 1", pages[0]},       {"page 2", pages[1]},
                 {"page 3", pages[2]},       {"picture 1", pictures[0]}, {"picture 2", pictures[1]},
                 {"picture 3", pictures[2]}, {"picture 4", pictures[3]}};
  };
  using Names = std::vector<std::string>;
  const Names pictures = {"picture 1", "picture 2", "picture 3", "picture 4"};
  const auto with_pictures = [&](Names names) {
    names.insert(names.end(), pictures.begin(), pictures.end());
    return names;
  };
  Names of_cycle = with_pictures({"page 1", "page 2", "page 3"});
  of_cycle.push_back("table");
  const struct {
    const char* input;
    std::function<void(Engine&)> change;
    Names changed;
  } inputs[] = {
      {"sex", [](Engine& e) TVN_REQUIRES(e.lock) { e.sex = "M"; }, with_pictures({"page 1"})},
      {"age", [](Engine& e) TVN_REQUIRES(e.lock) { e.age = 20; }, with_pictures({"page 1"})},
      {"periods", [](Engine& e) TVN_REQUIRES(e.lock) { e.indur = 5, e.outdur = 5; }, {"page 1"}},
      {"cycle", [](Engine& e) TVN_REQUIRES(e.lock) { e.cycle_seconds = 12; }, of_cycle},
  };
  const Parts before = parts("Eva");
  const auto expect_changed = [&](const Parts& now, const Names& changed, const char* input) {
    Names different;
    for (const auto& [part, bytes] : now) {
      if (bytes != before.at(part)) different.push_back(part);
    }
    EXPECT_EQ(different, changed) << input;
  };
  for (const auto& [input, change, changed] : inputs) {
    {
      const SessionLock hold(engine_.lock);
      change(engine_);
    }
    expect_changed(parts("Eva"), changed, input);
    set_person();
  }
  expect_changed(parts("Eva"), {}, "nothing");
  expect_changed(parts("Ada"), {"page 1"}, "name");
  std::vector<Marker> markers = golden::markers();
  markers[1].key = 2;
  write_markers(markers);
  expect_changed(parts("Eva"), {"page 2", "table"}, "a marker");
}

}  // namespace
}  // namespace tvn
