#include "web/handlers/folder_chooser.h"

namespace tvn {

const char* folder_dialog_command() {
  return "osascript -e 'POSIX path of (choose folder with prompt "
         "\"Select the root folder for batch processing\")' 2>/dev/null";
}

}  // namespace tvn
