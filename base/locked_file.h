// Files that their writer holds a lock on for as long as it lives: whoever finds one can tell
// whether it is being written or was left behind by a program that was killed. The system drops
// the lock with the process, however that ends.
#pragma once

#include <string>
#include <system_error>
#include <utility>

namespace tvn {

// A file descriptor that closes itself; -1 holds none.
class FileHandle {
 public:
  explicit FileHandle(int fd = -1) : fd_(fd) {}
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  FileHandle(FileHandle&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileHandle& operator=(FileHandle&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~FileHandle();
  int get() const { return fd_; }
  bool is_open() const { return fd_ >= 0; }

 private:
  int fd_;
};

struct NewFile {
  FileHandle handle;
  std::string path;
  std::error_code error;  // why there is none
};

// Makes a file for writing, named `prefix` + a number of this process's own + `suffix`, with these
// permissions (less the process's mask), and locks it. On a file system without locks it comes
// unlocked.
NewFile create_locked_file(const std::string& prefix, const std::string& suffix, unsigned mode);

// Opens and locks the file at `path` for reading; none when it is gone, when somebody writes it,
// or when the file system cannot tell.
FileHandle lock_leftover(const std::string& path);

}  // namespace tvn
