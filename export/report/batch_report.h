// The report of one person's recordings, a PDF: first a page with the summary and one TVN strip per
// recording, continued on as many pages as it takes, then a page per recording with its heart rate
// and time-frequency pictures.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "export/pdf/pdf_content.h"
#include "export/pdf/pdf_file.h"
#include "export/report/report.h"
#include "picture/rgb_image.h"

namespace tvn {

// A recording as its page needs it; see Report.
struct BatchRecording {
  std::string name;
  std::span<const double> cycle_values;
  double mean = 0;
  std::span<const double> hr_series;
  std::span<const PdfMarker> markers;
  const RgbImage& high_time;
  const RgbImage& high_frequency;
};

// What is kept of a recording until the report is written: some 100 KB, whatever its length.
struct BatchReportEntry {
  std::string name;
  std::vector<double> cycle_values;
  double mean = 0;
  std::string page_content;  // the page but for its footer
  PdfPicture high_time;
  PdfPicture high_frequency;
};

struct BatchReport {
  std::string name;  // of the person
  ReportTable table;
  char sex = 'M';         // 'F' or 'M'
  std::int32_t age = 40;  // years
  std::vector<BatchReportEntry> recordings;
};

// Draws a recording's page and compresses its pictures; the costly part, which may run on any
// thread. cycle_seconds: breathing in and out; not above 0: no cycle grid.
BatchReportEntry batch_report_entry(const BatchRecording& recording, double cycle_seconds);

// The file's bytes, with the recordings in the order given.
std::string batch_report_pdf(BatchReport report);

// Writes that file at `path` in one go. False when it could not be opened or not written whole.
bool write_batch_report(const std::string& path, BatchReport report);

}  // namespace tvn
