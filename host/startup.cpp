#include "host/startup.h"

#include <filesystem>

#include "assets/assets.h"
#include "base/files.h"
#include "export/report/report_logo.h"
#include "host/jpeg_size.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> environment_variable(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): one thread so far
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

std::string folder_of(const std::string& executable) {
  const std::size_t slash = executable.rfind('/');
  return slash == std::string::npos ? "." : executable.substr(0, slash);
}

std::string choose_base_dir(const Environment& environment, const std::string& executable) {
  if (environment.tvn_base) return *environment.tvn_base;
  std::string folder = folder_of(executable);
  if (is_readable_file(folder + "/../Resources/web/index.html")) return folder + "/../Resources";
  if (is_readable_file(folder + "/web/index.html")) return folder;
  return ".";
}

std::string choose_web_dir(const std::string& base_dir) {
  const std::string web_dir = base_dir + "/web";
  const bool only_in_base =
      !is_readable_file(web_dir + "/index.html") && is_readable_file(base_dir + "/index.html");
  return only_in_base ? base_dir : web_dir;
}

std::string choose_data_dir(const Environment& environment, const std::string& base_dir) {
  if (environment.tvn_base) return base_dir;
  if (environment.tvn_data) return *environment.tvn_data;
  return environment.home.empty() ? "." : environment.home + "/Documents/TVN-Live";
}

bool is_sample_name(const std::string& name) {
  return name.starts_with("Sample ") && name.ends_with(".txt");
}

// Copies the samples beside the page; returns whether there was any.
bool copy_samples(const fs::path& source, const fs::path& target) {
  bool any = false;
  std::error_code error;
  for (fs::directory_iterator entry(source, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    std::error_code ignored;
    if (!is_sample_name(name) || !entry->is_regular_file(ignored)) continue;
    const bool copied =
        fs::copy_file(entry->path(), target / name, fs::copy_options::overwrite_existing, ignored);
    any = any || copied;
  }
  return any;
}

}  // namespace

Environment read_environment() {
  return {environment_variable("TVN_BASE"), environment_variable("TVN_DATA"),
          environment_variable("HOME").value_or(""), environment_variable("TVN_GUARD") == "1"};
}

Folders choose_folders(const Environment& environment, const std::string& executable) {
  const std::string base_dir = choose_base_dir(environment, executable);
  return {base_dir, choose_web_dir(base_dir), choose_data_dir(environment, base_dir)};
}

void create_data_folders(const std::string& data_dir) {
  for (const char* name : {"/recordings", "/exports", "/sample_data"}) {
    std::error_code ignored;
    fs::create_directories(data_dir + name, ignored);
  }
}

void refresh_samples(const Folders& folders) {
  const std::string target = folders.data_dir + "/sample_data";
  std::error_code ignored;
  fs::remove_all(target, ignored);
  fs::create_directories(target, ignored);
  if (copy_samples(folders.base_dir + "/sample_data", target)) return;
  for (const char* name : {"Sample 1.txt", "Sample 2.txt"}) {
    const std::string* sample = find_asset(name);
    if (sample != nullptr) write_file(target + "/" + name, *sample);
  }
}

std::string load_report_logo(const std::string& web_dir) {
  std::string bytes;
  if (!read_file(web_dir + "/report_logo.jpg", bytes)) {
    read_file(web_dir + "/report_logo.jpeg", bytes);
  }
  const std::string* embedded = find_asset("report_logo.jpg");
  if (bytes.empty() && embedded != nullptr) bytes = *embedded;
  const auto size = jpeg_size(bytes);
  if (!size) return "";
  set_report_logo(std::move(bytes), size->width, size->height);
  return "  Report logo loaded (" + std::to_string(size->width) + "x" +
         std::to_string(size->height) + ").\n";
}

}  // namespace tvn
