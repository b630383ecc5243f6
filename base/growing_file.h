// A file that is written piece by piece and appears under its name only when it is whole.
#pragma once

#include <string>
#include <string_view>
#include <system_error>

#include "base/files.h"
#include "base/locked_file.h"

namespace tvn {

// Writes beside the file's place under a hidden name of the kind that remove_unfinished_files
// removes. The first failure is kept, what comes after it is not written.
class GrowingFile {
 public:
  explicit GrowingFile(std::string path, Existing existing = Existing::replaced);
  GrowingFile(const GrowingFile&) = delete;
  GrowingFile& operator=(const GrowingFile&) = delete;
  ~GrowingFile();  // removes what was not finished

  void append(std::string_view bytes);

  // Renames the file to its place, as write_file (base/files.h) says. Tells a failure, also an
  // earlier one, on standard error in one line with the path and the system's reason. Call it once.
  WriteResult finish(Durability durability = Durability::by_and_by);

 private:
  void write_out();
  void put_in_place(Durability durability);

  std::string path_;
  Existing existing_;
  std::string target_;  // path_, or the file behind the link there
  NewFile file_;
  std::error_code error_;
  std::string waiting_;  // small pieces that are written together
};

// Makes a hidden file in `folder` for what has no name yet, and locks it.
NewFile create_unfinished_file(const std::string& folder);

// Whether a file of this name was made so.
bool is_unfinished_name(std::string_view name);

}  // namespace tvn
