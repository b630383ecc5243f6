#include "base/files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <utility>

#include "base/growing_file.h"
#include "base/locked_file.h"

namespace tvn {
namespace {

std::error_code last_error() {
  return {errno, std::generic_category()};
}

// What tells that a file has changed.
struct FileState {
  off_t size = 0;
  timespec modified{};
};

bool operator==(const FileState& a, const FileState& b) {
  return a.size == b.size && a.modified.tv_sec == b.modified.tv_sec &&
         a.modified.tv_nsec == b.modified.tv_nsec;
}

// None when `fd` is not a regular file.
std::optional<FileState> state_of(int fd) {
  struct stat status {};
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
#ifdef __APPLE__
  return FileState{status.st_size, status.st_mtimespec};
#else
  return FileState{status.st_size, status.st_mtim};
#endif
}

// Non-blocking so that a FIFO without a writer does not hold the caller; a regular file does not
// care.
FileHandle open_to_read(const std::string& path) {
  return FileHandle(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

// False on a read error: what came before it is no file.
bool read_to_end(int fd, std::string& content) {
  std::size_t filled = 0;
  for (;;) {
    if (filled == content.size()) content.resize(content.size() + 65536);
    const ssize_t got = ::read(fd, content.data() + filled, content.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  content.resize(filled);
  return true;
}

}  // namespace

bool read_file(const std::string& path, std::string& out) {
  const FileHandle handle = open_to_read(path);
  const std::optional<FileState> before = state_of(handle.get());
  if (!before) return false;
  std::string content(static_cast<std::size_t>(before->size) + 1, '\0');
  if (!read_to_end(handle.get(), content)) return false;
  if (state_of(handle.get()) != before) return false;
  out = std::move(content);
  return true;
}

bool is_readable_file(const std::string& path) {
  return state_of(open_to_read(path).get()).has_value();
}

WriteResult write_file(const std::string& path, std::string_view bytes, Durability durability,
                       Existing existing) {
  GrowingFile file(path, existing);
  file.append(bytes);
  return file.finish(durability);
}

void tell_write_failure(const std::string& path, const std::error_code& error) {
  std::fprintf(stderr, "Could not write %s: %s\n", path.c_str(), error.message().c_str());
}

WriteResult try_to_write_in(const std::string& folder) {
  const NewFile file = create_unfinished_file(folder);
  if (file.error) return {file.error};
  const std::error_code error = write_all(file.handle.get(), "x");
  ::unlink(file.path.c_str());
  return {error};
}

void remove_unfinished_files(const std::string& folder) {
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!is_unfinished_name(name)) continue;
    const FileHandle leftover = lock_leftover(entry->path().string());
    if (leftover.is_open()) ::unlink(entry->path().c_str());
  }
}

std::error_code sync_to_disk(int fd) {
#ifdef __APPLE__
  // fsync leaves the data in the disk's own cache there.
  if (::fcntl(fd, F_FULLFSYNC) == 0 || ::fsync(fd) == 0) return {};
#else
  if (::fdatasync(fd) == 0) return {};
#endif
  // Some shared folders cannot; what was written is there all the same.
  const bool is_unsupported = errno == EINVAL || errno == ENOTSUP || errno == ENOSYS;
  return is_unsupported ? std::error_code() : last_error();
}

void sync_folder(const std::string& folder) {
  const FileHandle handle(::open(folder.c_str(), O_RDONLY | O_CLOEXEC));
  if (handle.is_open()) ::fsync(handle.get());
}

std::error_code write_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return last_error();
    if (written == 0) return std::make_error_code(std::errc::io_error);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return {};
}

}  // namespace tvn
