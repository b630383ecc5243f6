// The recordings that the page offers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "web/handlers/router.h"

namespace tvn {

// The names of the regular files (symbolic links followed) directly in `folder` that end with one
// of `endings` (case-sensitive), in byte order, as a JSON array. A folder that is missing or
// cannot be read gives "[]".
std::string list_files(const std::string& folder, const std::vector<std::string_view>& endings);

// {"saved":[...],"samples":[...]}.
Reply handle_recordings(const Request& request, Site& site);

}  // namespace tvn
