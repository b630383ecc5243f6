// The files that are compiled into the executable, so that it works when nothing but the
// executable is present: the page, its picture and sound, the report logo, two sample recordings.
// A file on disk always wins; the callers look there first.
#pragma once

#include <string>
#include <string_view>

namespace tvn {

// The content of the embedded file `name` (exact, case-sensitive file name without a folder), or
// nullptr when there is none of that name. The content lives until the process ends. The table is
// built by the first call, safely from any thread; each call is one map lookup.
const std::string* find_asset(std::string_view name);

}  // namespace tvn
