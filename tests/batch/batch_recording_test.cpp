#include "batch/batch_recording.h"

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>

#include "base/files.h"
#include "session/analysis_pass.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

class BatchRecordingTest : public testing::Test {
 protected:
  std::string add(const std::string& text, const std::string& name = "r.txt") {
    EXPECT_TRUE(write_file(folder_ / name, text));
    return folder_ / name;
  }
  std::string add_ecg(const synthetic::EcgSettings& settings) {
    std::string text;
    for (const double sample : synthetic::make_ecg(settings)) {
      text += std::to_string(std::lround(sample)) + "\n";
    }
    return add(text);
  }
  NoResult reason_for(const std::string& text) {
    const BatchOutcome outcome = analyse_file(add(text), {});
    EXPECT_FALSE(outcome.result);
    return outcome.reason;
  }
  static std::string kubios(const std::string& rows) { return "Kubios\nRR INTERVAL DATA\n" + rows; }

  TemporaryFolder folder_;
};

TEST_F(BatchRecordingTest, SaysWhyAFileGivesNothing) {
  EXPECT_EQ(reason_for(""), NoResult::no_samples);
  EXPECT_EQ(reason_for("a\nb\n"), NoResult::no_samples);
  EXPECT_EQ(reason_for("1\n2\n"), NoResult::few_beats);
  EXPECT_EQ(reason_for(kubios(",1,0.8\n,2,0.8\n")), NoResult::few_beats);
  EXPECT_EQ(reason_for(kubios(",1,0.8\n,2,0.8\n,3,0.8\n")), NoResult::too_short);
  EXPECT_EQ(reason_for(kubios(",1,-0.8\n,2,-0.8\n,3,-0.9\n,4,90\n,5,-0.7\n")),
            NoResult::odd_intervals);
  EXPECT_EQ(reason_for(kubios(",1,0\n,2,0\n,3,0\n,4,0\n,5,0\n")), NoResult::odd_intervals);
  EXPECT_EQ(reason_for(kubios(",1,1e300\n,2,1e300\n,3,1e300\n,4,1e308\n")), NoResult::too_long);
  EXPECT_EQ(analyse_file(folder_ / "none.txt", {}).reason, NoResult::unreadable);
  const std::string hole = add("");
  std::filesystem::resize_file(hole, 1'000'000'001);
  EXPECT_EQ(analyse_file(hole, {}).reason, NoResult::too_large);
}

// A pulse every 100 samples is one every 100 / 130 s.
TEST_F(BatchRecordingTest, TellsLengthBeatsAndRate) {
  std::string text = "Kubios\nRR INTERVAL DATA\n";
  for (int i = 0; i < 50; ++i) text += ",1,0.75\n";
  const BatchOutcome outcome = analyse_file(add(text), {});
  ASSERT_TRUE(outcome.result);
  EXPECT_EQ(outcome.result->numbers.seconds, 37.5);
  EXPECT_EQ(outcome.result->numbers.beats, 50u);
  EXPECT_DOUBLE_EQ(outcome.result->numbers.mean_heart_rate, 80);
  EXPECT_TRUE(std::isnan(outcome.result->numbers.last_tvn));  // of intervals that are all equal
  EXPECT_FALSE(outcome.result->numbers.is_no_heart);
}

// What the page shows at the end of a replay of the same samples.
TEST_F(BatchRecordingTest, TheLastTvnIsThatOfTheRun) {
  synthetic::EcgSettings settings;
  settings.seconds = 120;
  const std::string path = add_ecg(settings);
  std::vector<double> samples = synthetic::make_ecg(settings);
  for (double& sample : samples) sample = std::round(sample);
  RunningAnalysis analysis;
  const auto pass = compute_pass(EcgBuffer(samples).view(samples.size()), 16, analysis);
  const BatchOutcome outcome = analyse_file(path, {});
  ASSERT_TRUE(pass && outcome.result);
  EXPECT_EQ(outcome.result->numbers.last_tvn, pass->tvn);
  EXPECT_EQ(static_cast<int>(outcome.result->numbers.beats), pass->rr_count);
}

TEST_F(BatchRecordingTest, AnotherRateIsResampledAsAnImportIs) {
  synthetic::EcgSettings settings;
  settings.seconds = 120;
  settings.fs = 360;
  const std::string path = add_ecg(settings);
  const BatchOutcome outcome = analyse_file(path, {}, {360, 1});
  ASSERT_TRUE(outcome.result);
  EXPECT_EQ(outcome.result->numbers.seconds, 120);
  EXPECT_NEAR(outcome.result->numbers.mean_heart_rate, 60 / 0.85, 1);
  EXPECT_FALSE(outcome.result->numbers.is_no_heart);
  // At a wrong rate a beat would take 0.85 * 360 / 130 s.
  const BatchOutcome wrong = analyse_file(path, {});
  ASSERT_TRUE(wrong.result);
  EXPECT_TRUE(wrong.result->numbers.is_no_heart);
}

// Of 40 beats in 400 s the intervals that are not taken for artefacts are those of a heart.
TEST_F(BatchRecordingTest, TooFewBeatsForTheLengthAreNoHearts) {
  std::vector<double> ecg(52'000);
  for (std::size_t beat = 0; beat < 40; ++beat) {
    const std::size_t at = (beat / 4) * 5200 + (beat % 4) * 104 + 500;
    for (std::size_t i = 0; i < 5; ++i) ecg[at + i] = i == 2 ? 1000 : 400;
  }
  std::string text;
  for (const double sample : ecg) text += std::to_string(sample) + "\n";
  const BatchOutcome outcome = analyse_file(add(text), {});
  ASSERT_TRUE(outcome.result);
  EXPECT_TRUE(outcome.result->numbers.is_no_heart);
}

// Of 80 intervals, every fourth of them another one so that their mean lies within, too.
TEST_F(BatchRecordingTest, IntervalsFrom330To1500MillisecondsAreAHearts) {
  const auto is_no_heart = [this](const std::string& interval, const std::string& fourth) {
    std::string rows;
    for (int i = 0; i < 80; ++i) rows += ",1," + (i % 4 == 3 ? fourth : interval) + "\n";
    const BatchOutcome outcome = analyse_file(add(kubios(rows)), {});
    return !outcome.result || outcome.result->numbers.is_no_heart;
  };
  EXPECT_FALSE(is_no_heart("1.5", "1.4"));
  EXPECT_TRUE(is_no_heart("1.51", "1.4"));
  EXPECT_FALSE(is_no_heart("0.33", "0.36"));
  EXPECT_TRUE(is_no_heart("0.329", "0.36"));
  // The mean itself at its bound, which is exact here.
  EXPECT_FALSE(is_no_heart("1.5", "1.5"));
  EXPECT_TRUE(is_no_heart("1.5", "1.51"));
}

TEST_F(BatchRecordingTest, OneThreadGivesTheSameBytes) {
  synthetic::EcgSettings settings;
  settings.seconds = 90;
  const std::string path = add_ecg(settings);
  const BatchOutcome one = analyse_file(path, {}, {130, 1}), two = analyse_file(path, {});
  ASSERT_TRUE(one.result && two.result);
  EXPECT_EQ(one.result->column.values, two.result->column.values);
  EXPECT_EQ(one.result->entry.page.content, two.result->entry.page.content);
  EXPECT_EQ(one.result->entry.page.high_time.object, two.result->entry.page.high_time.object);
  EXPECT_EQ(one.result->entry.page.high_frequency.object,
            two.result->entry.page.high_frequency.object);
}

}  // namespace
}  // namespace tvn
