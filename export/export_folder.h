// The folder that an export writes into.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"

namespace tvn {

// <parent>/<name>_export, or when there is something of that name <parent>/<name>-2_export and so
// on up to 999; when all of them exist, the first. A path whose state cannot be told (a name too
// long for the file system, say) counts as free.
std::string unique_export_folder(const std::string& parent, const std::string& name);

// That folder, made with all its parents. Two exports at the same time get a folder each. Throws
// std::filesystem::filesystem_error when it cannot be made.
std::string make_export_folder(const std::string& parent, const std::string& name);

// `name` cut so that its folder and every file in it that is named after it have names that file
// systems take.
std::string export_base_name(const std::string& name);

// Writes files into one folder and keeps the names of those that could not be written whole.
class FolderWriter {
 public:
  explicit FolderWriter(std::string folder) : folder_(std::move(folder)) {}
  WriteResult write(const std::string& file_name, std::string_view bytes);
  const std::vector<std::string>& written() const { return written_; }
  const std::vector<std::string>& failed() const { return failed_; }

 private:
  std::string folder_;
  std::vector<std::string> written_, failed_;
};

}  // namespace tvn
