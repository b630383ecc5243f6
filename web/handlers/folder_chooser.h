// The platform's dialog for choosing a folder.
#pragma once

#include <string>

namespace tvn {

// Shows the dialog and waits for it: osascript on macOS, zenity or else kdialog on Linux. Returns
// the chosen folder's absolute path; empty when the user cancelled or there is no such program.
// The dialog is a child process that is waited for; what it says on standard error is discarded.
std::string choose_folder();

// A shell command that shows the dialog and prints the chosen absolute path, or nothing; one file
// per platform.
const char* folder_dialog_command();

}  // namespace tvn
