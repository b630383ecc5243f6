#include "batch/command/person_plan.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>
#include <utility>

#include "base/names.h"
#include "base/rounding.h"
#include "base/version.h"
#include "batch/batch_files.h"
#include "batch/command/json_line.h"
#include "batch/command/tables.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;

// Gives every name once: the second A is A-2.
class Names {
 public:
  std::string unique(const std::string& label) {
    std::string name = label;
    int& number = numbers_[label];
    while (!taken_.insert(name).second) {
      number = std::max(number + 1, 2);
      name = label + "-" + std::to_string(number);
    }
    return name;
  }

 private:
  std::set<std::string> taken_;
  std::map<std::string, int> numbers_;
};

// "." and ".." name nobody; the folder that they mean does.
std::string name_of_folder(const BatchGroup& group) {
  if (group.label != "." && group.label != "..") return group.label;
  std::error_code error;
  const fs::path whole = fs::weakly_canonical(group.folder, error);
  return whole.filename().empty() ? "recording" : whole.filename().string();
}

// The tables that an earlier run wrote into the output folder, which may lie among the recordings.
void leave_out_tables(BatchGroup& group, const std::string& output) {
  std::erase_if(group.paths, [&output](const std::string& path) {
    const std::string name(file_name_of(path));
    if (name != k_summary_file && name != k_cycles_file) return false;
    std::error_code error;
    return fs::equivalent(path, fs::path(output) / name, error) && !error;
  });
}

// No folder twice, also when one that was named lies in another one.
std::map<std::string, BatchGroup> groups_by_folder(const PlanRequest& request) {
  std::map<std::string, BatchGroup> groups;
  for (const std::string& folder : request.folders) {
    for (BatchGroup& group : find_recordings(folder, false, "")) {
      leave_out_tables(group, request.output);
      std::string key = fs::path(group.folder).lexically_normal().string();
      if (!group.paths.empty()) groups.try_emplace(std::move(key), std::move(group));
    }
  }
  return groups;
}

PersonPlan plan_of(BatchGroup group, const std::string& name, const CommonValues& values) {
  PersonPlan plan;
  plan.folder = std::move(group.folder);
  plan.paths = std::move(group.paths);
  plan.label = person_label(name);
  plan.settings = {values.report, values.date};
  plan.rate = values.rate;
  return plan;
}

BatchGroup joined(const std::map<std::string, BatchGroup>& groups, const std::string& folder) {
  BatchGroup all;
  all.folder = folder;
  for (const auto& [key, group] : groups) {
    all.paths.insert(all.paths.end(), group.paths.begin(), group.paths.end());
  }
  std::sort(all.paths.begin(), all.paths.end());
  return all;
}

}  // namespace

std::vector<PersonPlan> make_plan(const PlanRequest& request) {
  std::map<std::string, BatchGroup> groups = groups_by_folder(request);
  std::vector<PersonPlan> plans;
  if (request.single) {
    BatchGroup all = joined(groups, request.folders.front());
    const std::string name = request.single->empty() ? "import" : *request.single;
    if (!all.paths.empty()) plans.push_back(plan_of(std::move(all), name, request.values));
  } else {
    for (auto& [key, group] : groups) {
      const std::string name = name_of_folder(group);
      plans.push_back(plan_of(std::move(group), name, request.values));
    }
  }
  Names names;
  for (PersonPlan& plan : plans) plan.person = names.unique(plan.label);
  return plans;
}

std::string settings_members(const PersonPlan& plan) {
  const ReportSettings& report = plan.settings.report;
  return R"("sex":)" + json_string(report.sex) + R"(,"age":)" + std::to_string(report.age) +
         R"(,"in":)" + json_exact(report.indur) + R"(,"out":)" + json_exact(report.outdur) +
         R"(,"own_values":)" + (plan.settings.own_values ? "true" : "false") + R"(,"rate":)" +
         json_exact(plan.rate);
}

std::string plan_line(const PersonPlan& plan) {
  return R"({"person":)" + json_string(plan.person) + R"(,"folder":)" + json_string(plan.folder) +
         R"(,"label":)" + json_string(plan.label) + "," + settings_members(plan) + R"(,"date":)" +
         json_string(plan.settings.date) + "}";
}

std::optional<PersonPlan> read_plan_line(std::string_view line) {
  const auto object = read_json_object(line);
  if (!object) return std::nullopt;
  const auto person = text_member(*object, "person"), folder = text_member(*object, "folder");
  const auto label = text_member(*object, "label"), sex = text_member(*object, "sex");
  const auto date = text_member(*object, "date");
  const auto age = number_member(*object, "age"), rate = number_member(*object, "rate");
  const auto in = number_member(*object, "in"), out = number_member(*object, "out");
  const auto own = object->find("own_values");
  if (!person || !folder || !label || !sex || !date || !age || !rate || !in || !out) {
    return std::nullopt;
  }
  const bool possible = is_possible_age(*age) && is_possible_rate(*rate) &&
                        is_possible_breath(*in) && is_possible_breath(*out) &&
                        (*sex == "F" || *sex == "M") && own != object->end();
  // Names that are made of the line become paths.
  const bool names_files = person_label(*person) == *person && person_label(*label) == *label;
  if (!possible || !names_files) return std::nullopt;
  PersonPlan plan;
  plan.person = *person;
  plan.folder = *folder;
  plan.paths = recordings_in(*folder).paths;
  plan.label = *label;
  plan.settings.report = breathing({*sex, truncate_to<std::int32_t>(*age)}, *in, *out);
  plan.settings.date = *date;
  plan.settings.own_values = own->second.text == "true";
  plan.rate = *rate;
  return plan;
}

ReportSettings breathing(ReportSettings settings, double in, double out) {
  settings.indur = round_to(in, 100);
  settings.outdur = round_to(out, 100);
  settings.cycle_seconds = round_to(settings.indur + settings.outdur, 100);
  return settings;
}

bool is_possible_breath(double seconds) {
  return seconds >= 0.05 && seconds <= 600;
}

bool is_possible_age(double years) {
  return years >= 0 && years <= 120 && std::trunc(years) == years;
}

bool is_possible_rate(double hz) {
  return hz >= 20 && hz <= 20'000;
}

}  // namespace tvn
