// Start-up's choices: where the page and the user's data lie, the bundled recordings, the logo.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace tvn {

// What start-up reads of the environment; none means that the variable is not set.
struct Environment {
  std::optional<std::string> tvn_base;
  std::optional<std::string> tvn_data;
  std::string home;      // empty when not set
  bool guarded = false;  // TVN_GUARD is "1"
};
Environment read_environment();

struct Folders {
  std::string base_dir;
  std::string web_dir;
  std::string data_dir;
};

// The folders for an executable at `executable` (empty when unknown). The base folder is TVN_BASE,
// or the Resources folder of the bundle around the executable, or the executable's own folder when
// it holds web/index.html, else ".". The page's files are in its web folder, or in itself when
// only it holds index.html. The data folder is TVN_DATA or Documents/TVN-Live in the home folder;
// TVN_BASE wins over both, so that a source tree keeps its data beside it.
Folders choose_folders(const Environment& environment, const std::string& executable);

// Makes the data folder, for nobody but the user, and in it the folders for recordings, exports and
// samples. Says on standard error when nothing can be written there; the program goes on.
bool create_data_folders(const std::string& data_dir);

// Removes what a program that was killed while it wrote a recording or an export left of it.
void remove_leftovers(const std::string& data_dir);

// Rewrites the folder of bundled recordings from base_dir + "/sample_data" ("Sample *.txt"), or
// from the embedded ones when that gives none. Whatever else was in the folder is removed.
void refresh_samples(const Folders& folders);

// Hands the report logo to the PDF writer: report_logo.jpg or .jpeg in the web folder, else the
// embedded one. Returns the line that tells its size; empty when there is no usable JPEG, and no
// logo is then set.
std::string load_report_logo(const std::string& web_dir);

}  // namespace tvn
