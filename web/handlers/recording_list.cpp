#include "web/handlers/recording_list.h"

#include <algorithm>
#include <filesystem>

#include "base/json.h"

namespace tvn {
namespace {

bool ends_with_one_of(std::string_view name, const std::vector<std::string_view>& endings) {
  return std::any_of(endings.begin(), endings.end(),
                     [name](std::string_view ending) { return name.ends_with(ending); });
}

}  // namespace

std::string list_files(const std::string& folder, const std::vector<std::string_view>& endings) {
  namespace fs = std::filesystem;
  std::error_code error;
  std::vector<std::string> names;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    std::error_code unreadable;  // a broken link ends nothing but its own listing
    if (ends_with_one_of(name, endings) && entry->is_regular_file(unreadable)) {
      names.push_back(name);
    }
  }
  std::sort(names.begin(), names.end());
  std::string json = "[";
  for (const std::string& name : names) {
    if (json.size() > 1) json += ',';
    append_json_quoted(json, name);
  }
  return json + "]";
}

Reply handle_recordings(const Request&, Site& site) {
  return json_reply(R"({"saved":)" + list_files(recordings_dir(site.engine), {".csv", ".txt"}) +
                    R"(,"samples":)" + list_files(sample_data_dir(site.engine), {".txt"}) + "}");
}

}  // namespace tvn
