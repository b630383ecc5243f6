// A person's folder in the output: hidden while it is filled, then there at once and whole.
#pragma once

#include <string>
#include <string_view>

#include "base/files.h"
#include "base/locked_file.h"
#include "batch/command/person_plan.h"

namespace tvn {

// <output>/<person>_export
std::string person_folder_path(const std::string& output, const PersonPlan& plan);

// The file of JSON lines in it, which makes it one of this command's.
std::string lines_file_name(const PersonPlan& plan);

// A hidden folder beside the place; a lock tells others that it is being filled.
class HiddenFolder {
 public:
  explicit HiddenFolder(const std::string& output);
  HiddenFolder(const HiddenFolder&) = delete;
  HiddenFolder& operator=(const HiddenFolder&) = delete;
  ~HiddenFolder();  // removes it unless it was renamed

  const std::string& path() const { return path_; }
  std::error_code error() const { return error_; }  // why there is none

  // Fails when something of that name has appeared meanwhile. Tells a failure on standard error.
  WriteResult rename_to(const std::string& place);

 private:
  NewFile lock_;
  std::string path_;
  std::error_code error_;
};

// Removes what killed runs have left in the output folder; not what others are filling.
void remove_hidden_folders(const std::string& output);

// What an earlier run has left of a person.
enum class Found {
  nothing,
  whole,    // all files, for the same recordings with the same settings by the same version
  torn,     // made by this command, but files are missing or cut off, as after a power cut
  another,  // something else: other settings, other recordings, or no work of this command
};
Found find_person(const std::string& output, const PersonPlan& plan);

}  // namespace tvn
