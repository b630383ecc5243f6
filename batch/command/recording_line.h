// A recording's result as a line of JSON: what `--json` prints, what lies in a person's folder, and
// what both tables are made of.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "batch/batch_recording.h"
#include "batch/command/person_plan.h"

namespace tvn {

// A line without its line feed; its settings stand last. reason: for a recording without a result.
std::string recording_line(const PersonPlan& plan, const std::string& path,
                           const BatchOutcome& outcome, std::string_view reason);

// What is odd about a recording that has a result; empty when nothing is.
std::string warning_of(const BatchResult& result, double rate);

// Whether the line is one of this file with the settings of `plan`, made by this version.
bool is_line_of(std::string_view line, const PersonPlan& plan, const std::string& path);

}  // namespace tvn
