#include "export/export_folder.h"

#include <filesystem>
#include <system_error>

#include "base/names.h"

namespace tvn {
namespace {

constexpr int k_last_number = 999;

bool is_free(const std::string& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  return !std::filesystem::exists(status);
}

}  // namespace

std::string unique_export_folder(const std::string& parent, const std::string& name) {
  const std::string base = parent + "/" + name;
  if (is_free(base + "_export")) return base + "_export";
  for (int n = 2; n <= k_last_number; ++n) {
    std::string path = base + "-" + std::to_string(n) + "_export";
    if (is_free(path)) return path;
  }
  return base + "_export";
}

std::string make_export_folder(const std::string& parent, const std::string& name) {
  std::filesystem::create_directories(parent);
  for (;;) {
    std::string path = unique_export_folder(parent, name);
    // False when another export has just made it: that one's folder, unless no name is left.
    if (std::filesystem::create_directory(path)) return path;
    if (path == unique_export_folder(parent, name)) return path;
  }
}

std::string export_base_name(const std::string& name) {
  return fit_base_name(name, std::string_view("_TVN_logpower.csv").size());
}

WriteResult FolderWriter::write(const std::string& file_name, std::string_view bytes) {
  const WriteResult result = write_file(folder_ + "/" + file_name, bytes);
  (result ? written_ : failed_).push_back(file_name);
  return result;
}

}  // namespace tvn
