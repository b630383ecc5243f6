// Whole files in and out. Reading is for regular files only: on Linux opening a folder succeeds
// and its size is nonsense, and opening a FIFO would wait for a writer.
#pragma once

#include <string>
#include <string_view>

namespace tvn {

// Reads the whole file at `path` (symbolic links followed) into `out`. False, with `out`
// unchanged, when it cannot be opened or is not a regular file.
bool read_file(const std::string& path, std::string& out);

// Whether read_file would read the file at `path`; opens it but reads nothing.
bool is_readable_file(const std::string& path);

// Writes `bytes` as the whole content of the file at `path`, replacing what was there, in one
// open-write-close so that a half-written file exists for as short as can be. False when the file
// could not be opened or not written whole.
bool write_file(const std::string& path, std::string_view bytes);

// The same, but what could not be written whole, on a full disk, is removed: half a recording would
// pass for a whole one.
bool write_whole_file(const std::string& path, std::string_view bytes);

}  // namespace tvn
