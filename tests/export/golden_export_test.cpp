// Every file of an export of the golden recording, and which of them each input changes.
#include <gmock/gmock.h>
#include <time.h>

#include <functional>

#include "export/export_job.h"
#include "tests/export/pdf_parts.h"
#include "tests/golden/golden_recording.h"
#include "tests/session/session_fixture.h"

namespace tvn {
namespace {

using testing::ElementsAre;

class GoldenExportTest : public SessionTest {
 protected:
  GoldenExportTest() {
    const std::vector<double> ecg = golden::ecg();
    const SessionLock hold(engine_.lock);
    engine_.mode = "replay";
    engine_.replay_len = engine_.replay_pos = static_cast<std::int64_t>(ecg.size());
    engine_.replay_ecg = EcgBuffer(ecg);
    engine_.markers = golden::markers();
    engine_.name_id = "Eva M";
    engine_.indur = golden::k_indur;
    engine_.outdur = golden::k_outdur;
    engine_.cycle_seconds = golden::k_cycle;
    engine_.sex = "F";
    engine_.age = golden::k_age;
    engine_.run_started_at = golden::k_started_at;
  }

  // What an export of the session wrote last, by the ends of the names.
  std::string content(const std::string& end) {
    const std::string name = get(&Engine::name_id) == "Eva M" ? "Eva_M" : "Ada";
    std::string text = "(missing)";
    read_file(folder_path_ + "/" + name + end, text);
    return text;
  }
  void export_now() {
    std::filesystem::remove_all(folder_ / "exports");
    const ExportSnapshot snapshot = [this] {
      const SessionLock hold(engine_.lock);
      return take_export(engine_);
    }();
    run_export(engine_, snapshot);
    ASSERT_EQ(get(&Engine::export_status), "done");
    folder_path_ = folder_ / "exports/" + snapshot.name + "_export";
  }
  std::string folder_path_;
};

std::string local_time(std::time_t when, const char* format) {
  tm parts{};
  localtime_r(&when, &parts);
  char text[64];
  return {text, strftime(text, sizeof text, format, &parts)};
}

TEST_F(GoldenExportTest, TextsHoldTheRecordingAndItsRate) {
  export_now();
  std::istringstream samples(content("_ECG.txt")), rates(content("_HR.txt"));
  std::string line;
  for (const double sample : golden::ecg()) {
    ASSERT_TRUE(std::getline(samples, line));
    ASSERT_EQ(line, std::to_string(std::lround(sample)));
  }
  EXPECT_FALSE(std::getline(samples, line));
  for (const double rate : golden::numbers().hr) {
    ASSERT_TRUE(std::getline(rates, line));
    ASSERT_NEAR(std::stod(line), rate, 0.00051);  // 6 digits
  }
  EXPECT_FALSE(std::getline(rates, line));
  EXPECT_EQ(content("_markers.csv"),
            "marker,sample_index,seconds\n4,260,2.000\n1,1950,15.000\n9,5200,40.000\n");
}

TEST_F(GoldenExportTest, TheTableHoldsTheLogPowerOfEachCycle) {
  export_now();
  const golden::Numbers& wanted = golden::numbers();
  ASSERT_EQ(wanted.cycles.size(), 8u);  // of 84.3 s
  const auto rows = golden::csv_cells(content("_TVN_logpower.csv"));
  ASSERT_EQ(rows.size(), 10u);
  EXPECT_THAT(rows[0], ElementsAre("cycle", "Eva_M", "markers"));
  const std::vector<std::string> keys = {"4", "1", "", "", "9", "", "", ""};
  for (std::size_t i = 0; i < 8; ++i) {
    ASSERT_EQ(rows[i + 1].size(), 3u);
    EXPECT_EQ(rows[i + 1][0], std::to_string(i));
    EXPECT_NEAR(std::stod(rows[i + 1][1]), wanted.cycles[i], 6e-5);
    EXPECT_EQ(rows[i + 1][2], keys[i]);
  }
  EXPECT_EQ(rows[9][0], "pow");
  EXPECT_NEAR(std::stod(rows[9][1]), wanted.mean, 6e-5);
  EXPECT_EQ(rows[9][2], "");
}

// The fields' places are those of the EDF specification (Kemp et al. 1992).
TEST_F(GoldenExportTest, TheEdfFileHoldsNameStartSamplesAndMarkers) {
  export_now();
  const std::string edf = content(".edf");
  EXPECT_EQ(edf.substr(8, 80), "X X X Eva_M" + std::string(69, ' '));
  EXPECT_EQ(edf.substr(168, 16), local_time(golden::k_started_at, "%d.%m.%y%H.%M.%S"));
  EXPECT_EQ(edf.substr(236, 8), "85      ");
  const std::vector<double> ecg = golden::ecg();
  ASSERT_EQ(edf.size(), 768u + 85 * 380);
  for (std::size_t i = 0; i < 85 * 130; ++i) {
    const std::size_t at = 768 + i / 130 * 380 + i % 130 * 2;
    const auto low = static_cast<unsigned char>(edf[at]),
               high = static_cast<unsigned char>(edf[at + 1]);
    const auto value = static_cast<std::int16_t>(high << 8 | low);
    ASSERT_EQ(value, i < ecg.size() ? std::lround(ecg[i]) : 0) << i;
  }
  const auto annotations = [&edf](std::size_t record) {
    const std::string text = edf.substr(768 + record * 380 + 260, 120);
    return text.substr(0, text.find_last_not_of('\0') + 1);
  };
  using namespace std::string_literals;
  EXPECT_EQ(annotations(1), "+1\x14\x14"s);
  EXPECT_EQ(annotations(2),
            "+2\x14\x14\0+2.000\x14"
            "4\x14"s);
  EXPECT_EQ(annotations(15),
            "+15\x14\x14\0+15.000\x14"
            "1\x14"s);
  EXPECT_EQ(annotations(40),
            "+40\x14\x14\0+40.000\x14"
            "9\x14"s);
}

TEST_F(GoldenExportTest, TheReportTellsEverything) {
  const std::string before = local_time(std::time(nullptr), "%Y-%m-%d %H:%M");
  export_now();
  const std::string after = local_time(std::time(nullptr), "%Y-%m-%d %H:%M");
  const golden::Numbers& wanted = golden::numbers();
  const std::vector<std::string> pages = pdf_pages(content("_report.pdf"));
  ASSERT_EQ(pages.size(), 2u);
  std::vector<std::string> texts = pdf_texts(pages[0]);
  ASSERT_GT(texts.size(), 38u);
  EXPECT_THAT(texts[3], testing::AnyOf(before, after));
  char mean[32];
  std::snprintf(mean, sizeof mean, "pow (mean): %.3f", wanted.mean);
  std::vector<std::string> all = {"Talvern Live - report",
                                  "Recording: Eva_M",
                                  "Date:",
                                  texts[3],
                                  "Sex / Age:",
                                  "F / 63",
                                  "Periods:",
                                  "in 6 s / out 4 s",
                                  "Cycle length:",
                                  "10 s",
                                  "Expected frequency:",
                                  "0.1 Hz",
                                  "Cycles recorded:",
                                  "8",
                                  "Duration:",
                                  "84.3 s",
                                  "R-peaks:",
                                  std::to_string(wanted.rr.size()),
                                  "Markers:",
                                  "4 @ 2.0 s, 1 @ 15.0 s, 9 @ 40.0 s",
                                  "TVN (logpower)"};
  for (std::size_t i = 0; i < 8; ++i) {
    char value[32];
    std::snprintf(value, sizeof value, "%.2g", wanted.cycles[i]);
    all.insert(all.end(), {value, std::to_string(i)});
  }
  all.insert(all.end(), {"Cycles", mean, "Page 1 of 2"});
  EXPECT_EQ(texts, all);
  golden::expect_strip(pages[0], wanted, 56, 483);
  golden::expect_curve(pages[1], wanted);
  golden::expect_grid(pages[1], wanted, golden::k_cycle);
  golden::expect_marker_lines(pages[1], wanted, golden::markers());
  const std::vector<std::string> pictures = golden::pictures_of(content("_report.pdf"));
  ASSERT_EQ(pictures.size(), 2u);
  golden::expect_picture(pictures[0], wanted, true);
  golden::expect_picture(pictures[1], wanted, false);
}

// Every input changes what it should, and nothing else.
TEST_F(GoldenExportTest, EveryInputShowsWhereItShould) {
  using Parts = std::map<std::string, std::string>;
  const auto parts = [this] {
    export_now();
    const std::string report = content("_report.pdf");
    std::vector<std::string> pages = pdf_pages(report);
    const std::string date = pdf_texts(pages[0])[3];
    pages[0].replace(pages[0].find(date), date.size(), "");  // a minute may have gone by
    return Parts{{"ECG", content("_ECG.txt")},
                 {"HR", content("_HR.txt")},
                 {"list", content("_markers.csv")},
                 {"EDF", content(".edf")},
                 {"table", content("_TVN_logpower.csv")},
                 {"page 1", pages[0]},
                 {"page 2", pages[1]},
                 {"picture 1", golden::pictures_of(report)[0]},
                 {"picture 2", golden::pictures_of(report)[1]}};
  };
  const struct {
    const char* input;
    std::function<void(Engine&)> change;
    std::vector<std::string> changed;
  } inputs[] = {
      {"nothing", [](Engine&) {}, {}},
      {"sex",
       [](Engine& e) TVN_REQUIRES(e.lock) { e.sex = "M"; },
       {"page 1", "picture 1", "picture 2"}},
      {"age",
       [](Engine& e) TVN_REQUIRES(e.lock) { e.age = 20; },
       {"page 1", "picture 1", "picture 2"}},
      {"periods", [](Engine& e) TVN_REQUIRES(e.lock) { e.indur = 5, e.outdur = 5; }, {"page 1"}},
      {"cycle",
       [](Engine& e) TVN_REQUIRES(e.lock) { e.cycle_seconds = 12; },
       {"page 1", "page 2", "picture 1", "picture 2", "table"}},
      {"a marker's place",
       [](Engine& e) TVN_REQUIRES(e.lock) { e.markers[1].sample_index += 1300; },
       {"EDF", "list", "page 1", "page 2", "table"}},
      {"a marker's key",
       [](Engine& e) TVN_REQUIRES(e.lock) { e.markers[1].key = 2; },
       {"EDF", "list", "page 1", "page 2", "table"}},
      {"start", [](Engine& e) TVN_REQUIRES(e.lock) { e.run_started_at += 3661; }, {"EDF"}},
      {"name",
       [](Engine& e) TVN_REQUIRES(e.lock) { e.name_id = "Ada"; },
       {"EDF", "page 1", "page 2", "table"}},
      {"length",
       [](Engine& e) TVN_REQUIRES(e.lock) { e.replay_pos -= 130; },
       {"ECG", "EDF", "HR", "page 1", "page 2", "picture 1", "picture 2", "table"}},
  };
  const Parts before = parts();
  for (const auto& [input, change, changed] : inputs) {
    const auto set = [&](const std::function<void(Engine&)>& action) {
      const SessionLock hold(engine_.lock);
      action(engine_);
    };
    const std::vector<Marker> markers = golden::markers();
    set(change);
    const Parts now = parts();
    std::vector<std::string> different;
    for (const auto& [part, bytes] : now) {
      if (bytes != before.at(part)) different.push_back(part);
    }
    EXPECT_EQ(different, changed) << input;
    set([&](Engine& e) TVN_REQUIRES(e.lock) {
      e.sex = "F", e.age = golden::k_age, e.indur = golden::k_indur, e.outdur = golden::k_outdur;
      e.cycle_seconds = golden::k_cycle, e.markers = markers, e.name_id = "Eva M";
      e.run_started_at = golden::k_started_at, e.replay_pos = e.replay_len;
    });
  }
}

}  // namespace
}  // namespace tvn
