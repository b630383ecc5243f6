// The two tables of a batch in tidy form, a line per recording and a line per breathing cycle, made
// of the recordings' JSON lines: by a run as they come, or later of what many machines printed.
#pragma once

#include <string>
#include <string_view>

#include "base/growing_file.h"

namespace tvn {

inline constexpr std::string_view k_summary_file = "summary.csv";
inline constexpr std::string_view k_cycles_file = "cycles.csv";

class BatchTables {
 public:
  explicit BatchTables(const std::string& folder);

  // Adds a recording; false, with nothing added, when it is no line of a recording.
  bool add(std::string_view line);

  // Puts both tables into the folder, replacing those of an earlier run; without it none appears.
  bool finish();

 private:
  GrowingFile summary_, cycles_;
};

}  // namespace tvn
