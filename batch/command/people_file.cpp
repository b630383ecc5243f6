#include "batch/command/people_file.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <optional>

#include "base/decimal.h"
#include "base/names.h"
#include "base/rounding.h"
#include "base/text_lines.h"

namespace tvn {
namespace {

constexpr std::array<std::string_view, 5> k_head = {"folder", "sex", "age", "in", "out"};

std::string_view trimmed(std::string_view cell) {
  const std::size_t first = cell.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return cell.substr(first, cell.find_last_not_of(" \t\r") - first + 1);
}

// The cells of a line. Quotes only around a whole cell, doubled inside; no line breaks in cells.
std::vector<std::string> cells_of(std::string_view line) {
  std::vector<std::string> cells(1);
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (quoted && c == '"' && line.substr(i + 1).starts_with('"')) {
      cells.back() += c;
      ++i;
    } else if (c == '"' && (quoted || trimmed(cells.back()).empty())) {
      quoted = !quoted;
    } else if (c == ',' && !quoted) {
      cells.emplace_back();
    } else {
      cells.back() += c;
    }
  }
  for (std::string& cell : cells) cell = trimmed(cell);
  return cells;
}

std::optional<double> whole_number(const std::string& cell) {
  const DecimalScan scan = scan_decimal(cell);
  if (scan.status != DecimalStatus::ok || scan.length != cell.size()) return std::nullopt;
  return scan.value;
}

// Whether `end` is the last components of `folder`, or all of it.
bool is_end_of(const std::string& end, const std::string& folder) {
  if (end.empty() || !folder.ends_with(end)) return false;
  return folder.size() == end.size() || end.front() == '/' ||
         folder[folder.size() - end.size() - 1] == '/';
}

std::string plain_path(const std::string& path) {
  std::string plain = std::filesystem::path(path).lexically_normal().string();
  while (plain.size() > 1 && plain.ends_with('/')) plain.pop_back();
  return plain;
}

class People {
 public:
  People(const std::string& name, std::vector<PersonPlan>& plans) : name_(name), plans_(plans) {
    for (PersonPlan& plan : plans) {
      std::string path = plain_path(plan.folder);
      std::string last(file_name_of(path));
      by_name_.emplace(std::move(last), Folder{std::move(path), &plan});
    }
  }

  void read(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);  // as spreadsheets begin files
    for (line_ = 1; !text.empty(); ++line_) {
      const std::vector<std::string> cells = cells_of(take_line(text));
      const bool is_head = line_ == 1;
      if (!is_head && cells.size() == 1 && cells[0].empty()) continue;
      if (is_head && !std::ranges::equal(cells, k_head)) {
        fault("the first line must be folder,sex,age,in,out");
        return;
      }
      if (!is_head) read_person(cells);
    }
    for (const PersonPlan& plan : plans_) {
      if (!lines_.contains(&plan)) faults_.push_back(name_ + ": no line for " + plan.folder);
    }
  }

  std::vector<std::string> faults() && { return std::move(faults_); }

 private:
  struct Folder {
    std::string path;
    PersonPlan* plan;
  };

  void fault(const std::string& what) {
    faults_.push_back(name_ + ":" + std::to_string(line_) + ": " + what);
  }

  void read_person(const std::vector<std::string>& cells) {
    if (cells.size() != k_head.size()) {
      fault("must have 5 fields: folder,sex,age,in,out");
      return;
    }
    PersonPlan* plan = find(cells[0]);
    if (plan == nullptr) return;
    const auto [place, is_new] = lines_.emplace(plan, line_);
    if (!is_new) {
      fault(cells[0] + " has a line already, line " + std::to_string(place->second));
      return;
    }
    set_values(*plan, cells);
  }

  PersonPlan* find(const std::string& folder) {
    PersonPlan* found = nullptr;
    const std::string end = plain_path(folder);
    const auto [first, last] = by_name_.equal_range(std::string(file_name_of(end)));
    for (auto known = first; known != last; ++known) {
      PersonPlan* const plan = known->second.plan;
      if (!is_end_of(end, known->second.path)) continue;
      if (found != nullptr) {
        fault(folder + " may be " + found->folder + " or " + plan->folder + ": write more of it");
        return nullptr;
      }
      found = plan;
    }
    if (found == nullptr) fault("no recordings in a folder " + folder);
    return found;
  }

  void set_values(PersonPlan& plan, const std::vector<std::string>& cells) {
    ReportSettings& report = plan.settings.report;
    const std::string sex = lower_case(cells[1]);
    const auto age = whole_number(cells[2]);
    if (sex != "f" && sex != "m") fault("sex must be F or M, not '" + cells[1] + "'");
    if (!age || !is_possible_age(*age))
      fault("age must be whole years to 120, not '" + cells[2] + "'");
    report.sex = sex == "f" ? "F" : "M";
    report.age = age ? truncate_to<std::int32_t>(*age) : 0;
    const double in = breath(cells[3], "in", report.indur);
    const double out = breath(cells[4], "out", report.outdur);
    report = breathing(report, in, out);
    plan.settings.own_values = true;
  }

  double breath(const std::string& cell, const std::string& which, double common) {
    if (cell.empty()) return common;
    const auto seconds = whole_number(cell);
    if (seconds && is_possible_breath(*seconds)) return *seconds;
    fault(which + " must be 0.05 to 600 seconds, not '" + cell + "'");
    return common;
  }

  const std::string& name_;
  std::vector<PersonPlan>& plans_;
  std::multimap<std::string, Folder> by_name_;  // by the last component
  std::size_t line_ = 0;
  std::map<const PersonPlan*, std::size_t> lines_;  // who has which
  std::vector<std::string> faults_;
};

}  // namespace

std::vector<std::string> apply_people(std::string_view text, const std::string& name,
                                      std::vector<PersonPlan>& plans) {
  People people(name, plans);
  people.read(text);
  return std::move(people).faults();
}

}  // namespace tvn
