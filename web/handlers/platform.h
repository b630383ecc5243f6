// What the web layer needs from the desktop, one file per platform.
#pragma once

namespace tvn {

// A shell command that shows a folder dialog and prints the chosen absolute path, or nothing.
const char* folder_dialog_command();

}  // namespace tvn
