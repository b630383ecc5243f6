#include "batch/batch_person.h"

#include <utility>

#include "base/growing_file.h"
#include "base/names.h"
#include "export/export_folder.h"

namespace tvn {

std::string person_label(const std::string& group_label) {
  return export_base_name(sanitise_name(group_label));
}

AnalysisSettings analysis_settings(const ReportSettings& settings) {
  return {sex_letter(settings.sex), settings.age, settings.cycle_seconds};
}

void BatchPerson::add(LogPowerColumn column, BatchReportEntry entry) {
  columns_.push_back(std::move(column));
  entries_.add(std::move(entry));
}

BatchPerson::Written BatchPerson::write(const std::string& folder, const std::string& label,
                                        const PersonSettings& settings) {
  const std::string base = folder + "/" + label;
  const WriteResult table = write_file(base + "_TVN_logpower.csv",
                                       log_power_table(columns_, settings.report.cycle_seconds));
  const WriteResult report =
      write_report(base + "_report.pdf",
                   {label, batch_table(settings.report, settings.date),
                    sex_letter(settings.report.sex), settings.report.age, settings.own_values});
  return {table, report};
}

WriteResult BatchPerson::write_report(const std::string& path, const BatchReportHead& head) {
  GrowingFile file(path);
  write_batch_report(
      head, entries_.entries(), [this](std::size_t i) { return entries_.take_page(i); },
      [&file](std::string_view bytes) { file.append(bytes); });
  if (!entries_.error()) return file.finish();
  tell_write_failure(path, entries_.error());
  return {entries_.error()};
}

}  // namespace tvn
