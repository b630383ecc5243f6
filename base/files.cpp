#include "base/files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <utility>

#include "base/locked_file.h"

namespace tvn {
namespace {

// A name of its own, not one made from the file's: that may be as long as a name can be.
constexpr const char* k_unfinished_prefix = ".tvn-";
constexpr const char* k_unfinished_suffix = ".tmp";

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

std::string folder_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// The file that a symbolic link at `path` leads to; `path` itself when there is none.
std::string behind_link(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  if (!fs::is_symlink(path, error) || !fs::is_regular_file(path, error)) return path;
  const std::string target = fs::canonical(path, error).string();
  return error ? path : target;
}

NewFile create_unfinished_file(const std::string& folder) {
  return create_locked_file(folder + "/" + k_unfinished_prefix, k_unfinished_suffix, 0666);
}

// Network file systems tell only now that there was no room; closing twice is the price.
std::error_code flush_by_closing(int fd) {
  const int copy = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
  return copy >= 0 && ::close(copy) != 0 ? last_error() : std::error_code();
}

// Some file systems cannot rename without replacing; between the look and the renaming another
// program may then take the name.
bool rename_to_free_name(const char* from, const char* to) {
#ifdef __APPLE__
  if (::renamex_np(from, to, RENAME_EXCL) == 0) return true;
#else
  if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
#endif
  if (errno != EINVAL && errno != ENOTSUP && errno != ENOSYS) return false;
  struct stat status {};
  if (::lstat(to, &status) != 0) return ::rename(from, to) == 0;
  errno = EEXIST;
  return false;
}

bool rename_to(const std::string& from, const std::string& to, Existing existing) {
  if (existing == Existing::kept) return rename_to_free_name(from.c_str(), to.c_str());
  return ::rename(from.c_str(), to.c_str()) == 0;
}

std::error_code fill_and_rename(const NewFile& file, const std::string& path,
                                std::string_view bytes, Durability durability, Existing existing) {
  std::error_code error = write_all(file.handle.get(), bytes);
  if (!error && durability == Durability::at_once) error = sync_to_disk(file.handle.get());
  if (!error) error = flush_by_closing(file.handle.get());
  if (!error && !rename_to(file.path, path, existing)) error = last_error();
  if (error) ::unlink(file.path.c_str());
  return error;
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
  const std::string target = existing == Existing::replaced ? behind_link(path) : path;
  const std::string folder = folder_of(target);
  const NewFile file = create_unfinished_file(folder);
  const std::error_code error =
      file.error ? file.error : fill_and_rename(file, target, bytes, durability, existing);
  const bool is_taken = existing == Existing::kept && error == std::errc::file_exists;
  if (error && !is_taken) {
    tell_write_failure(path, error);
  } else if (!error && durability == Durability::at_once) {
    sync_folder(folder);
  }
  return {error};
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
    if (!name.starts_with(k_unfinished_prefix) || !name.ends_with(k_unfinished_suffix)) continue;
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
