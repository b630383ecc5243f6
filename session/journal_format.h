// The journal of a live run as bytes, written and read; doc/formats/journal.md describes them. A
// journal only ever grows by whole records, each with checksums of its own, so that whatever ends
// the program leaves at most its last record torn, and everything before it counts.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "session/recording_files.h"

namespace tvn {

// What a journal begins with.
std::string journal_head();

// Each appends one record to `bytes` (samples: one or more).
void append_settings_record(std::string& bytes, const RecordingSettings& settings);
// `first` is the number of samples before these. They are kept as whole microvolts, as in a saved
// recording.
void append_samples_records(std::string& bytes, std::size_t first, std::span<const double> samples);
void append_marker_record(std::string& bytes, const Marker& marker);
// The first `samples` samples and the first `markers` markers lie in a recording that was saved.
void append_saved_record(std::string& bytes, std::size_t samples, std::size_t markers);

struct JournalContent {
  RecordingSettings settings{"recording", 5.0, 11.0, "M", 40};
  std::vector<double> samples;  // microvolts
  std::vector<Marker> markers;
  std::size_t saved = 0;          // how many of the samples a saved recording holds
  std::size_t saved_markers = 0;  // and how many of the markers
  bool damaged = false;           // there was more wrong than a torn end
};

// What can be read of a journal, whatever the bytes are; never throws but for want of memory. A
// torn last record is cut off. Of one that is damaged otherwise, records that are whole count, the
// later ones too; samples lost between them are given as the last one before them, a flat line, so
// that what follows keeps its time. Linear, also in garbage.
JournalContent read_journal(std::string_view bytes);

}  // namespace tvn
