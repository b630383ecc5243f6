// Which files of a folder tree are recordings, and whose.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tvn {

// The recordings of one person.
struct BatchGroup {
  std::string label;
  std::string folder;              // where they lie; the root for all as one group
  std::vector<std::string> paths;  // in byte order
};

// Whether a file of this name is taken as a recording: .txt or .csv in any case, but neither an
// HRV text nor one of the program's own marker lists and log power tables.
bool is_recording_name(std::string_view file_name);

// The recordings below `root`, in byte order of their folders' paths: all as one group labelled
// with the batch name ("import" when it is empty), or a group per folder labelled with the folder's
// name. NAME_HR.txt, the heart rate of an export, is left out where NAME_ECG.txt stands beside it.
// Links to files are followed, links to folders are not, so that no loop is walked. What
// cannot be read is left out; a root that cannot be read gives nothing.
std::vector<BatchGroup> find_recordings(const std::string& root, bool single,
                                        const std::string& batch_name);

// Those in `folder` itself, not below it: one of the groups that find_recordings gives. A folder
// without any, or that cannot be read, gives a group without paths.
BatchGroup recordings_in(const std::string& folder);

}  // namespace tvn
