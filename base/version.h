// The program's version.
#pragma once

namespace tvn {

// Shown in the banner and by the page's header.
inline constexpr const char* APP_VERSION = "1.0.0";

}  // namespace tvn
