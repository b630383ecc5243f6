// The report of one person's recordings, a PDF: first a page with the summary and one TVN strip per
// recording, continued on as many pages as it takes, then a page per recording with its heart rate
// and time-frequency pictures.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
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

// A recording's page: some 100 KB, whatever its length.
struct BatchReportPage {
  std::string content;  // but for its footer
  PdfPicture high_time;
  PdfPicture high_frequency;
};

// What is kept of a recording until the report is written.
struct BatchReportEntry {
  std::string name;
  std::vector<double> cycle_values;
  double mean = 0;
  BatchReportPage page;
};

// What the first page says of the person, and what the strips' colours are measured by.
struct BatchReportHead {
  std::string name;  // of the person
  ReportTable table;
  char sex = 'M';           // 'F' or 'M'
  std::int32_t age = 40;    // years
  bool own_values = false;  // sex and age are this person's own, so that nothing is to be warned of
};

struct BatchReport : BatchReportHead {
  std::vector<BatchReportEntry> recordings;
};

// Draws a recording's page and compresses its pictures; the costly part, which may run on any
// thread, and takes another one for one of the pictures unless `threads` is 1. cycle_seconds:
// breathing in and out; not above 0: no cycle grid.
BatchReportEntry batch_report_entry(const BatchRecording& recording, double cycle_seconds,
                                    unsigned threads = 2);

// Writes the file with the recordings in the order given; take_page(i) gives up the i-th one's
// page, and is called once for each, in their order. Memory for one page and all strips.
using TakePage = std::function<BatchReportPage(std::size_t)>;
void write_batch_report(const BatchReportHead& head, std::span<const BatchReportEntry> recordings,
                        const TakePage& take_page, const ByteSink& sink);

// The file's bytes, with the recordings in the order given.
std::string batch_report_pdf(BatchReport report);

// Writes that file at `path` in one go. False when it could not be opened or not written whole.
bool write_batch_report(const std::string& path, BatchReport report);

}  // namespace tvn
