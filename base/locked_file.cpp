#include "base/locked_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

namespace tvn {
namespace {

// Another program's start-up may take a file for a leftover between its making and its locking.
constexpr int k_attempts = 100;

std::string next_name(const std::string& prefix, const std::string& suffix) {
  static std::atomic<unsigned> count{0};
  return prefix + std::to_string(::getpid()) + "-" + std::to_string(++count) + suffix;
}

bool lock_is_taken(int fd) {
  return ::flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

bool has_a_name(int fd) {
  struct stat status {};
  return ::fstat(fd, &status) == 0 && status.st_nlink > 0;
}

}  // namespace

FileHandle::~FileHandle() {
  if (fd_ >= 0) ::close(fd_);
}

NewFile create_locked_file(const std::string& prefix, const std::string& suffix, unsigned mode) {
  constexpr int k_flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  int error = EEXIST;
  for (int i = 0; i < k_attempts && error == EEXIST; ++i) {
    std::string path = next_name(prefix, suffix);
    FileHandle handle(::open(path.c_str(), k_flags, mode));
    if (!handle.is_open()) {
      error = errno;
    } else if (!lock_is_taken(handle.get()) && has_a_name(handle.get())) {
      return {std::move(handle), std::move(path), {}};
    }
  }
  return {FileHandle(), "", {error, std::generic_category()}};
}

FileHandle lock_leftover(const std::string& path) {
  // On a network file system only who may write can lock.
  constexpr int k_flags = O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW;
  const int to_write = ::open(path.c_str(), O_RDWR | k_flags);
  FileHandle handle(to_write >= 0 ? to_write : ::open(path.c_str(), O_RDONLY | k_flags));
  const bool locked = handle.is_open() && ::flock(handle.get(), LOCK_EX | LOCK_NB) == 0;
  return locked && has_a_name(handle.get()) ? std::move(handle) : FileHandle();
}

}  // namespace tvn
