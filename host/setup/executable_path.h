// Where the program itself lies, one file per platform.
#pragma once

#include <string>

namespace tvn {

// The path of the running executable; empty when the system does not tell.
std::string executable_path();

}  // namespace tvn
