// What start-up needs from the operating system, one file per platform.
#pragma once

#include <string>

namespace tvn {

// The path of the running executable; empty when the system does not tell.
std::string executable_path();

// The name of the command that opens an address in the default browser.
const char* browser_command();

// Accepts a connection whose socket no child process inherits; -1 on failure.
int accept_connection(int listener);

}  // namespace tvn
