#include "batch/batch_files.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>
#include <utility>

#include "base/names.h"
#include "base/text_lines.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;

// Adds the files and the folders in `folder`.
void look_into(const fs::path& folder, std::set<fs::path>& files, std::vector<fs::path>& folders) {
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unreadable;
    if (entry->is_regular_file(unreadable)) {
      files.insert(entry->path());
    } else if (entry->symlink_status(unreadable).type() == fs::file_type::directory) {
      folders.push_back(entry->path());
    }
  }
}

// Folder by folder, each on its own: a folder that vanishes or may not be read ends only itself,
// where the standard library's recursive walk would end as a whole.
void walk(const std::string& root, std::set<fs::path>& files) {
  std::vector<fs::path> folders = {root};
  while (!folders.empty()) {
    const fs::path folder = std::move(folders.back());
    folders.pop_back();
    look_into(folder, files, folders);
  }
}

// Whether the file is the heart rate that an export of the program wrote beside its ECG.
bool is_exported_heart_rate(const fs::path& file, const std::set<fs::path>& files) {
  constexpr std::string_view k_heart_rate = "_HR.txt";
  std::string name = file.filename().string();
  if (!name.ends_with(k_heart_rate)) return false;
  name.replace(name.size() - k_heart_rate.size(), k_heart_rate.size(), "_ECG.txt");
  return files.contains(file.parent_path() / name);
}

bool is_recording(const fs::path& file, const std::set<fs::path>& files) {
  return is_recording_name(file.filename().string()) && !is_exported_heart_rate(file, files);
}

std::string group_label(const std::string& parent) {
  const std::string name(file_name_of(parent));
  return name.empty() ? "recording" : name;
}

}  // namespace

bool is_recording_name(std::string_view file_name) {
  const std::string name = lower_case(file_name);
  if (name.ends_with("_markers.csv") || name.ends_with("_tvn_logpower.csv")) return false;
  const std::string extension = fs::path(name).extension().string();
  if (extension == ".txt") return name.find("hrv") == std::string::npos;
  return extension == ".csv";
}

std::vector<BatchGroup> find_recordings(const std::string& root, bool single,
                                        const std::string& batch_name) {
  std::set<fs::path> files;
  walk(root, files);
  std::map<std::string, BatchGroup> groups;
  for (const fs::path& file : files) {
    if (!is_recording(file, files)) continue;
    const std::string parent = file.parent_path().string();
    BatchGroup& group = groups[single ? "" : parent];
    group.label = !single ? group_label(parent) : batch_name.empty() ? "import" : batch_name;
    group.folder = single ? root : parent;
    group.paths.push_back(file.string());
  }
  std::vector<BatchGroup> result;
  for (auto& [parent, group] : groups) {
    std::sort(group.paths.begin(), group.paths.end());
    result.push_back(std::move(group));
  }
  return result;
}

BatchGroup recordings_in(const std::string& folder) {
  std::set<fs::path> files;
  std::vector<fs::path> below;
  look_into(folder, files, below);
  BatchGroup group{group_label(folder), folder, {}};
  for (const fs::path& file : files) {
    if (is_recording(file, files)) group.paths.push_back(file.string());
  }
  std::sort(group.paths.begin(), group.paths.end());
  return group;
}

}  // namespace tvn
