// One recording of a batch, from its file to what report and tables need of it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "export/export_texts.h"
#include "export/recording_analysis.h"
#include "export/report/batch_report.h"

namespace tvn {

// Why a file gives no result.
enum class NoResult {
  unreadable,
  too_large,  // more than 1 GB
  too_long,   // more than 48 h
  no_samples,
  few_beats,      // fewer than 3 RR intervals
  odd_intervals,  // of an RR export, that are not above 0
  too_short,      // less than a breathing cycle
};

// As it follows "is left out, as it ": "is longer than 48 h".
std::string_view reason_text(NoResult reason);

// What the tables of a batch tell of a recording beside its log power.
struct RecordingNumbers {
  double seconds = 0;          // length
  std::size_t beats = 0;       // RR intervals
  double mean_heart_rate = 0;  // beats per minute: of the heart-rate series that the report shows
  double last_tvn = 0;         // the last one that is defined; NaN without any
  // Whether more than half of the intervals are none that a heart has, 0.33 to 1.5 s, or the beats
  // are fewer or more for the recording's length: then most likely its rate is another one.
  bool is_no_heart = false;
  bool is_raw_ecg = false;  // and no RR export, which has no rate
};

struct BatchResult {
  LogPowerColumn column;
  BatchReportEntry entry;
  RecordingNumbers numbers;
};

struct BatchOutcome {
  std::optional<BatchResult> result;
  NoResult reason = NoResult::unreadable;  // without a result
};

struct BatchReading {
  double rate = 130;     // samples per second of raw ECG texts
  unsigned threads = 2;  // 1 for a caller that analyses recordings side by side
};

// The name of a recording without its folder and extension.
std::string recording_label(const std::string& path);

// Reads the file at `path` as an RR export of Kubios, where it looks like one, or as a raw ECG with
// the markers beside it, and analyses it. Any thread.
BatchOutcome analyse_file(const std::string& path, const AnalysisSettings& settings,
                          const BatchReading& reading = {});

}  // namespace tvn
