#include "base/files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace tvn {
namespace {

// A file descriptor that closes itself; -1 holds none.
class FileHandle {
 public:
  explicit FileHandle(int fd) : fd_(fd) {}
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  FileHandle(FileHandle&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileHandle& operator=(FileHandle&&) = delete;
  ~FileHandle() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }
  bool is_open() const { return fd_ >= 0; }

 private:
  int fd_;
};

struct RegularFile {
  FileHandle handle;
  std::size_t size_hint;
};

// Non-blocking so that a FIFO without a writer does not hold the caller; a regular file does not
// care.
RegularFile open_regular(const std::string& path) {
  FileHandle handle(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  const bool regular =
      handle.is_open() && ::fstat(handle.get(), &status) == 0 && S_ISREG(status.st_mode);
  if (!regular) return {FileHandle(-1), 0};
  return {std::move(handle), status.st_size > 0 ? static_cast<std::size_t>(status.st_size) : 0};
}

// Reads up to the end of the file, whatever size it had when it was opened.
void read_to_end(int fd, std::string& content) {
  std::size_t filled = 0;
  for (;;) {
    if (filled == content.size()) content.resize(content.size() + 65536);
    const ssize_t got = ::read(fd, content.data() + filled, content.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    filled += static_cast<std::size_t>(got);
  }
  content.resize(filled);
}

bool write_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

FileHandle open_to_write(const std::string& path) {
  constexpr int k_flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK;
  return FileHandle(::open(path.c_str(), k_flags, 0666));
}

}  // namespace

bool read_file(const std::string& path, std::string& out) {
  const RegularFile file = open_regular(path);
  if (!file.handle.is_open()) return false;
  std::string content(file.size_hint + 1, '\0');
  read_to_end(file.handle.get(), content);
  out = std::move(content);
  return true;
}

bool is_readable_file(const std::string& path) {
  return open_regular(path).handle.is_open();
}

bool write_file(const std::string& path, std::string_view bytes) {
  const FileHandle handle = open_to_write(path);
  return handle.is_open() && write_all(handle.get(), bytes);
}

bool write_whole_file(const std::string& path, std::string_view bytes) {
  const FileHandle handle = open_to_write(path);
  if (!handle.is_open()) return false;
  if (write_all(handle.get(), bytes)) return true;
  ::unlink(path.c_str());
  return false;
}

}  // namespace tvn
