#include "web/handlers/folder_chooser.h"

namespace tvn {

const char* folder_dialog_command() {
  return "if command -v zenity >/dev/null 2>&1; then "
         "zenity --file-selection --directory "
         "--title='Select the root folder for batch processing' 2>/dev/null; "
         "elif command -v kdialog >/dev/null 2>&1; then "
         "kdialog --title 'Select the root folder for batch processing' "
         "--getexistingdirectory \"$HOME\" 2>/dev/null; fi";
}

}  // namespace tvn
