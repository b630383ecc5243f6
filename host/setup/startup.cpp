#include "host/setup/startup.h"

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>

#include "assets/assets.h"
#include "base/files.h"
#include "export/report/report_logo.h"
#include "host/setup/jpeg_size.h"

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

// Nobody but the user is to read names and ECGs in it. A folder that exists stays as it is.
void make_private_folder(std::string path) {
  while (path.ends_with('/')) path.pop_back();
  std::error_code ignored;
  fs::create_directories(fs::path(path).parent_path(), ignored);
  ::mkdir(path.c_str(), 0700);
}

bool is_sample_name(const std::string& name) {
  return name.starts_with("Sample ") && name.ends_with(".txt");
}

bool copy_sample(const fs::path& from, const fs::path& to) {
  std::string bytes;
  return read_file(from.string(), bytes) && write_file(to.string(), bytes);
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
    any = copy_sample(entry->path(), target / name) || any;
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

bool create_data_folders(const std::string& data_dir) {
  make_private_folder(data_dir);
  for (const char* name : {"/recordings", "/exports", "/sample_data"}) {
    std::error_code ignored;
    fs::create_directories(data_dir + name, ignored);
  }
  const WriteResult tried = try_to_write_in(data_dir + "/recordings");
  if (tried) return true;
  std::fprintf(stderr, "The data folder %s cannot be written: %s\n", data_dir.c_str(),
               tried.reason().c_str());
  return false;
}

void remove_leftovers(const std::string& data_dir) {
  remove_unfinished_files(data_dir + "/recordings");
  std::error_code error;
  for (fs::directory_iterator entry(data_dir + "/exports", error), end; !error && entry != end;
       entry.increment(error)) {
    remove_unfinished_files(entry->path().string());
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
