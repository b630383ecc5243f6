// One recording of a batch, from its file to what the report and the table need of it.
#pragma once

#include <optional>
#include <string>

#include "export/export_texts.h"
#include "export/recording_analysis.h"
#include "export/report/batch_report.h"

namespace tvn {

struct BatchResult {
  LogPowerColumn column;
  BatchReportEntry entry;
};

// Reads the file at `path` as an RR export of Kubios, where it looks like one, or as a raw ECG of
// 130 samples per second with the markers beside it. None when it cannot be read, has fewer than 3
// RR intervals, is shorter than a breathing cycle or, as an RR export, has intervals that are not
// above 0; nor when it is longer than 48 h or larger than 1 GB, which standard error then tells
// with its path.
std::optional<BatchResult> analyse_file(const std::string& path, const AnalysisSettings& settings);

}  // namespace tvn
