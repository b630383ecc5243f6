// The export: the run so far as a folder of files that other programs read, made by a background
// job from a copy of the session.
#pragma once

#include <cstdint>
#include <string>

#include "export/export_texts.h"
#include "session/engine.h"
#include "session/saved_recordings.h"

namespace tvn {

// What the job works on. The recording's samples are shared with the run, so taking it copies none.
struct ExportSnapshot {
  RecordingToSave recording;
  ReportSettings settings;
  std::string name;              // of the recording, as in file names
  std::uint64_t start_time = 0;  // seconds since 1970
};

// The session as an export at this moment would write it. Copies no samples.
ExportSnapshot take_export(const Engine& engine) TVN_REQUIRES(engine.lock);

// Starts the job on a detached thread, unless an export is under way. Its state is in the session:
// "exporting", then "done" with {"folder":"<name>_export"} (and the "errors" of files that could
// not be written, those of the saved recording first; an empty "files" when the folder would be
// empty, which is then not kept) or "error" with a text. Throws std::system_error when no thread
// can be had; the state is "error" then.
void start_export(Engine& engine);

// Saves the recording, then writes <data folder>/exports/<name>_export (made unique): the ECG and
// the heart rate as text, the marker list, an EDF+ file, and for a recording of a breathing cycle
// and more with 3 beats and more the log power per cycle and the report. Publishes under the
// session lock, unless another run has begun since. Never throws.
void run_export(Engine& engine, const ExportSnapshot& snapshot) noexcept;

}  // namespace tvn
