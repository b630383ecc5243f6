// Whole files in and out. Reading is for regular files only: on Linux opening a folder succeeds
// and its size is nonsense, and opening a FIFO would wait for a writer. Writing leaves a whole
// file under its name or none: half a recording would pass for a whole one.
#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace tvn {

// Reads the whole file at `path` (symbolic links followed) into `out`. False, with `out`
// unchanged, when it cannot be opened, is not a regular file, cannot be read to its end, or
// changed meanwhile.
bool read_file(const std::string& path, std::string& out);

// Whether the file at `path` can be opened and is a regular file; reads nothing.
bool is_readable_file(const std::string& path);

// What came of writing a file: true when it was written whole, else why not.
struct WriteResult {
  std::error_code error;
  explicit operator bool() const { return !error; }
  std::string reason() const { return error.message(); }  // the system's; empty without an error
};

// Whether a file must outlast a power cut from the moment it is said to be written, which takes
// the disk some 10 ms.
enum class Durability { by_and_by, at_once };

// What becomes of a file that is there already.
enum class Existing { replaced, kept };

// Writes `bytes` as the whole content of the file at `path`, replacing what was there: beside it
// under a hidden name, renamed when whole, removed when that fails. A symbolic link to a file
// stays, and the file that it leads to is replaced. Tells a failure on standard error in one line
// with the path and the system's reason. With Existing::kept anything that has the name stays,
// whoever made it meanwhile; the error is std::errc::file_exists then, and told nobody.
WriteResult write_file(const std::string& path, std::string_view bytes,
                       Durability durability = Durability::by_and_by,
                       Existing existing = Existing::replaced);

// Says on standard error, in one line, that the file at `path` could not be written.
void tell_write_failure(const std::string& path, const std::error_code& error);

// Whether a file can be made and written in `folder`; tried with one that is removed again. Tells
// nobody.
WriteResult try_to_write_in(const std::string& folder);

// Removes from `folder` what write_file of programs that were killed has left there; not what a
// running program is writing.
void remove_unfinished_files(const std::string& folder);

// Brings what was written to the open file `fd` to the disk, file size included. That a file system
// cannot is no failure.
std::error_code sync_to_disk(int fd);

// Brings the names of the files in `folder` to the disk. That a file system cannot is no failure.
void sync_folder(const std::string& folder);

// Writes all of `bytes` to the open file `fd`.
std::error_code write_all(int fd, std::string_view bytes);

}  // namespace tvn
