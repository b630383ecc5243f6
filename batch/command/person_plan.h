// What is to be done: every person with the folder of their recordings and the values that decide
// over their report. As JSON Lines the plan goes to other machines and comes back.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "batch/batch_person.h"

namespace tvn {

struct PersonPlan {
  std::string person;  // names the folder <person>_export; no two of a plan have the same
  std::string folder;  // where the recordings lie
  std::vector<std::string> paths;
  std::string label;  // of the report and of the names of its files
  PersonSettings settings;
  double rate = 130;  // samples per second of raw ECG texts
};

// The values that every person gets who has none of their own.
struct CommonValues {
  ReportSettings report{"M", 40, 5, 11, 16};
  std::string date;
  double rate = 130;
};

struct PlanRequest {
  std::vector<std::string> folders;
  std::optional<std::string> single;  // all recordings are this one person's
  CommonValues values;
  std::string output;  // its tables of an earlier run are no recordings
};

// The persons below the folders, in byte order of their folders' paths. Where two folders have the
// same name the second person is <name>-2, and so on, as the page names its export folders.
std::vector<PersonPlan> make_plan(const PlanRequest& request);

// A person as a line, without the line feed and without the recordings' paths.
std::string plan_line(const PersonPlan& plan);

// The person of such a line, with the recordings that are in the folder now; none when it is no
// such line.
std::optional<PersonPlan> read_plan_line(std::string_view line);

// The settings that a result depends on, as the members of a JSON object; without the date.
std::string settings_members(const PersonPlan& plan);

// In- or out-breath as the page takes it: to 0.01 s.
ReportSettings breathing(ReportSettings settings, double in, double out);

// What is accepted, from option and file alike.
bool is_possible_breath(double seconds);  // 0.05 to 600
bool is_possible_age(double years);       // whole, 0 to 120
bool is_possible_rate(double hz);         // 20 to 20,000, as the page's import

}  // namespace tvn
