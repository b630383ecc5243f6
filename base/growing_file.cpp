#include "base/growing_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <utility>

namespace tvn {
namespace {

// A name of its own, not one made from the file's: that may be as long as a name can be.
constexpr const char* k_unfinished_prefix = ".tvn-";
constexpr const char* k_unfinished_suffix = ".tmp";

constexpr std::size_t k_piece = 65536;

std::error_code last_error() {
  return {errno, std::generic_category()};
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

}  // namespace

GrowingFile::GrowingFile(std::string path, Existing existing)
    : path_(std::move(path)),
      existing_(existing),
      target_(existing == Existing::replaced ? behind_link(path_) : path_),
      file_(create_unfinished_file(folder_of(target_))),
      error_(file_.error) {}

GrowingFile::~GrowingFile() {
  if (!file_.path.empty()) ::unlink(file_.path.c_str());
}

void GrowingFile::append(std::string_view bytes) {
  if (waiting_.size() + bytes.size() < k_piece) {
    waiting_ += bytes;
    return;
  }
  write_out();
  if (!error_) error_ = write_all(file_.handle.get(), bytes);
}

void GrowingFile::write_out() {
  if (!error_) error_ = write_all(file_.handle.get(), waiting_);
  waiting_.clear();
}

void GrowingFile::put_in_place(Durability durability) {
  if (!error_ && durability == Durability::at_once) error_ = sync_to_disk(file_.handle.get());
  if (!error_) error_ = flush_by_closing(file_.handle.get());
  if (!error_ && !rename_to(file_.path, target_, existing_)) error_ = last_error();
  if (!error_) file_.path.clear();
}

WriteResult GrowingFile::finish(Durability durability) {
  write_out();
  put_in_place(durability);
  const bool is_taken = existing_ == Existing::kept && error_ == std::errc::file_exists;
  if (error_ && !is_taken) {
    tell_write_failure(path_, error_);
  } else if (!error_ && durability == Durability::at_once) {
    sync_folder(folder_of(target_));
  }
  return {error_};
}

NewFile create_unfinished_file(const std::string& folder) {
  return create_locked_file(folder + "/" + k_unfinished_prefix, k_unfinished_suffix, 0666);
}

bool is_unfinished_name(std::string_view name) {
  return name.starts_with(k_unfinished_prefix) && name.ends_with(k_unfinished_suffix);
}

}  // namespace tvn
