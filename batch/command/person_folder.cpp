#include "batch/command/person_folder.h"

#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <system_error>

#include "base/growing_file.h"
#include "base/text_lines.h"
#include "batch/command/recording_line.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view k_folder_suffix = "-folder";

// The last bytes of a file; fewer when it has fewer, none when it cannot be read.
std::string end_of_file(const std::string& path, std::streamoff bytes) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const std::streamoff size = file.tellg();
  if (!file || size < bytes) return "";
  std::string end(static_cast<std::size_t>(bytes), '\0');
  file.seekg(size - bytes);
  file.read(end.data(), bytes);
  return file ? end : "";
}

bool is_whole_table(const std::string& path) {
  std::string table;
  if (!read_file(path, table) || !table.ends_with('\n')) return false;
  const std::size_t last_line = table.rfind('\n', table.size() - 2);
  return last_line != std::string::npos && table.compare(last_line + 1, 4, "pow,") == 0;
}

bool are_lines_of(std::string_view lines, const PersonPlan& plan) {
  for (const std::string& path : plan.paths) {
    if (!is_line_of(take_line(lines), plan, path)) return false;
  }
  return lines.empty();
}

}  // namespace

std::string person_folder_path(const std::string& output, const PersonPlan& plan) {
  return output + "/" + plan.person + "_export";
}

std::string lines_file_name(const PersonPlan& plan) {
  return plan.label + "_recordings.jsonl";
}

HiddenFolder::HiddenFolder(const std::string& output) : lock_(create_unfinished_file(output)) {
  error_ = lock_.error;
  if (error_) return;
  path_ = lock_.path + std::string(k_folder_suffix);
  if (::mkdir(path_.c_str(), 0777) != 0) {
    error_ = {errno, std::generic_category()};
    path_.clear();
  }
}

HiddenFolder::~HiddenFolder() {
  std::error_code ignored;
  if (!path_.empty()) fs::remove_all(path_, ignored);
  // Last: as long as it is there and locked, nobody takes the folder for a leftover.
  if (!lock_.path.empty()) ::unlink(lock_.path.c_str());
}

WriteResult HiddenFolder::rename_to(const std::string& place) {
  // An empty folder in the way would be replaced; it is not this command's either.
  if (fs::exists(fs::symlink_status(place, error_)))
    error_ = std::make_error_code(std::errc::file_exists);
  if (error_.value() == ENOENT) error_.clear();
  if (!error_ && ::rename(path_.c_str(), place.c_str()) != 0) {
    error_ = {errno, std::generic_category()};
  }
  if (error_) {
    tell_write_failure(place, error_);
  } else {
    path_.clear();
  }
  return {error_};
}

void remove_hidden_folders(const std::string& output) {
  std::error_code error;
  for (fs::directory_iterator entry(output, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string path = entry->path().string();
    const std::string name = entry->path().filename().string();
    if (!name.ends_with(k_folder_suffix)) continue;
    const std::string lock = path.substr(0, path.size() - k_folder_suffix.size());
    if (!is_unfinished_name(name.substr(0, name.size() - k_folder_suffix.size()))) continue;
    std::error_code ignored;
    const FileHandle leftover = lock_leftover(lock);
    if (!leftover.is_open() && fs::exists(lock, ignored)) continue;
    fs::remove_all(path, ignored);
    ::unlink(lock.c_str());
  }
  remove_unfinished_files(output);
}

Found find_person(const std::string& output, const PersonPlan& plan) {
  const std::string folder = person_folder_path(output, plan);
  std::error_code error;
  if (!fs::exists(fs::symlink_status(folder, error))) return Found::nothing;
  const std::string base = folder + "/" + plan.label;
  std::string lines;
  if (!read_file(folder + "/" + lines_file_name(plan), lines)) return Found::another;
  const bool cut_off = !lines.ends_with("}\n") || !is_whole_table(base + "_TVN_logpower.csv") ||
                       end_of_file(base + "_report.pdf", 6) != "%%EOF\n";
  if (cut_off) return Found::torn;
  return are_lines_of(lines, plan) ? Found::whole : Found::another;
}

}  // namespace tvn
