// A person's folder of a batch: the report and the table, as the page and the command write them.
#pragma once

#include <string>
#include <vector>

#include "base/files.h"
#include "batch/batch_recording.h"
#include "export/report/entry_spill.h"

namespace tvn {

// The name of a person's files and, with "_export" behind it, of the folder.
std::string person_label(const std::string& group_label);

// The person and the breathing, as the report tells them.
struct PersonSettings {
  ReportSettings report;
  std::string date;         // of report_date
  bool own_values = false;  // sex and age are this person's own
};

AnalysisSettings analysis_settings(const ReportSettings& settings);

// Collects a person's recordings. Memory for 8 MB of pages and a few hundred bytes per
// recording: what does not fit waits in a nameless file in `spill_folder`.
class BatchPerson {
 public:
  explicit BatchPerson(std::string spill_folder) : entries_(std::move(spill_folder)) {}

  void add(LogPowerColumn column, BatchReportEntry entry);
  bool is_empty() const { return columns_.empty(); }

  // Writes <label>_TVN_logpower.csv and <label>_report.pdf into the folder. Call it once.
  struct Written {
    WriteResult table, report;
  };
  Written write(const std::string& folder, const std::string& label,
                const PersonSettings& settings);

 private:
  WriteResult write_report(const std::string& path, const BatchReportHead& head);

  std::vector<LogPowerColumn> columns_;
  EntrySpill entries_;
};

}  // namespace tvn
