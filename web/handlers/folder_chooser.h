// The platform's dialog for choosing a folder.
#pragma once

#include <string>

namespace tvn {

// Shows the dialog and waits for it: osascript on macOS, zenity or else kdialog on Linux. Returns
// the chosen folder's absolute path; empty when the user cancelled or there is no such program.
// The dialog is a child process that is waited for; what it says on standard error is discarded.
std::string choose_folder();

}  // namespace tvn
