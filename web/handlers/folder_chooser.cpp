#include "web/handlers/folder_chooser.h"

#include <stdio.h>

#include <array>

namespace tvn {

std::string choose_folder() {
  FILE* dialog = ::popen(folder_dialog_command(), "r");
  if (dialog == nullptr) return "";
  std::string path;
  std::array<char, 4096> line;
  while (::fgets(line.data(), static_cast<int>(line.size()), dialog) != nullptr) {
    path += line.data();
  }
  ::pclose(dialog);
  path.erase(path.find_last_not_of("\n\r ") + 1);
  return path;
}

}  // namespace tvn
