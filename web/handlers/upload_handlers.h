// The upload folder: the page sends the files of a chosen folder into it one by one.
#pragma once

#include <string>
#include <string_view>

#include "web/handlers/router.h"

namespace tvn {

// Where uploads lie, under the data folder.
std::string upload_dir(const Engine& engine);

// Empties the upload folder, or makes it. Errors are ignored.
void renew_upload_dir(const Engine& engine);

// `text` as a path that cannot leave the folder it is appended to: backslashes count as "/";
// from each component control bytes and ":" are deleted; components that are empty, "." or ".."
// before or after that are dropped. Empty when nothing is left.
std::string sanitise_relative_path(std::string_view text);

Reply handle_batch_new(const Request& request, Site& site);

// Stores the body as the file "rel" in the upload folder; "ok" false when "rel" leaves nothing.
Reply handle_batch_upload(const Request& request, Site& site);

}  // namespace tvn
