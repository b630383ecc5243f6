// The batch: every recording found in a folder tree becomes part of a report per person, by a
// background job. What the page shows of it is in the session.
#pragma once

#include <string>

#include "export/export_texts.h"
#include "session/engine.h"

namespace tvn {

struct BatchArguments {
  std::string root;     // folder
  bool single = false;  // all recordings are one person's; otherwise those of each folder
  std::string name;     // of that person
  ReportSettings settings;
};

// Starts the job on a detached thread with the session's present person and breathing. False, with
// nothing started, while a batch runs. Throws std::system_error when no thread can be had; the
// state is "error" then.
bool start_batch(Engine& engine, const std::string& root, bool single, const std::string& name);

// Writes <data folder>/exports/<label>_export (made unique) with a report and a log power table for
// each person of whom there is a result; publishes counters, messages and the number of reports
// under the session lock. A person whose report cannot be written is not counted; when that leaves
// none, and when a folder cannot be made, the batch ends with an error and the system's reason, as
// by other failures; what was written stays. Memory for one recording and some
// 100 KB per recording of the same person. Never throws.
void run_batch(Engine& engine, const BatchArguments& arguments) noexcept;

}  // namespace tvn
