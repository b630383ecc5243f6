// The program's side of machine_faults.h: loaded before the C library, so that these functions are
// the ones that the program calls.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tests/api/machine_faults.h"

namespace {

using tvn::FaultState;

// Null until the program has begun, and in every other program.
FaultState* g_state = nullptr;

template <typename Function>
Function* system_function(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Children of the program are on a machine that works.
__attribute__((constructor)) void find_state() {
  const char* path = getenv("TVN_TEST_FAULTS");
  const int fd = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
  if (fd < 0) return;
  void* page = mmap(nullptr, sizeof(FaultState), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  if (page != MAP_FAILED) g_state = static_cast<FaultState*>(page);
  unsetenv("LD_PRELOAD");
  unsetenv("TVN_TEST_FAULTS");
}

bool is_regular_file(int fd) {
  struct stat status {};
  return fd > STDERR_FILENO && fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

// The sensor log is written at any time; what becomes of it is nobody's concern.
bool is_sensor_log(int fd) {
  std::array<char, 4096> path;
  const std::string link = "/proc/self/fd/" + std::to_string(fd);
  const ssize_t length = readlink(link.c_str(), path.data(), path.size());
  return length > 0 &&
         std::string_view(path.data(), static_cast<size_t>(length)).ends_with("/tvn_log.txt");
}

// Takes up to `wanted` bytes of the room that is left.
std::int64_t take_room(std::int64_t wanted) {
  std::int64_t left = g_state->room;
  while (!g_state->room.compare_exchange_weak(left, left - std::min(left, wanted))) {
  }
  return std::min(left, wanted);
}

bool is_on_disk(std::string_view path) {
  return !path.starts_with("/dev/") && !path.starts_with("/proc/");
}

bool is_refused_to_change(const char* path) {
  if (g_state == nullptr || !g_state->is_read_only || !is_on_disk(path)) return false;
  errno = EROFS;
  return true;
}

bool is_refused_to_open(const char* path) {
  if (g_state == nullptr || !g_state->opens_no_files || !is_on_disk(path)) return false;
  errno = EMFILE;
  return true;
}

bool is_to_write(int flags) {
  return (flags & (O_CREAT | O_TRUNC)) != 0 || (flags & O_ACCMODE) != O_RDONLY;
}

bool is_thread_refused() {
  if (g_state == nullptr) return false;
  if (g_state->thread_to_refuse > 0 && --g_state->thread_to_refuse == 0) return true;
  std::int64_t left = g_state->threads;
  while (left > 0 && !g_state->threads.compare_exchange_weak(left, left - 1)) {
  }
  return left <= 0;
}

std::int64_t clock_ahead() {
  return g_state == nullptr ? 0 : g_state->clock_ahead.load();
}

}  // namespace

extern "C" {

ssize_t write(int fd, const void* bytes, size_t size) {
  static auto* const system_write = system_function<ssize_t(int, const void*, size_t)>("write");
  if (g_state == nullptr || !is_regular_file(fd) || is_sensor_log(fd)) {
    return system_write(fd, bytes, size);
  }
  if (g_state->is_read_only) {
    errno = EROFS;
    return -1;
  }
  const auto fits = static_cast<size_t>(take_room(static_cast<std::int64_t>(size)));
  const ssize_t written = fits > 0 ? system_write(fd, bytes, fits) : 0;
  if (fits < size && g_state->kills_when_full) raise(SIGKILL);
  if (fits > 0 || size == 0) return written;
  errno = ENOSPC;
  return -1;
}

ssize_t read(int fd, void* bytes, size_t size) {
  static auto* const system_read = system_function<ssize_t(int, void*, size_t)>("read");
  if (g_state != nullptr && g_state->read_milliseconds > 0 && is_regular_file(fd)) {
    ++g_state->reads;
    usleep(static_cast<useconds_t>(g_state->read_milliseconds) * 1000);
  }
  return system_read(fd, bytes, size);
}

int open(const char* path, int flags, ...) {
  static auto* const system_open = system_function<int(const char*, int, ...)>("open");
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  if (is_refused_to_open(path) || (is_to_write(flags) && is_refused_to_change(path))) return -1;
  return system_open(path, flags, mode);
}

int mkdir(const char* path, mode_t mode) {
  static auto* const system_mkdir = system_function<int(const char*, mode_t)>("mkdir");
  return is_refused_to_change(path) ? -1 : system_mkdir(path, mode);
}

int rename(const char* from, const char* to) {
  static auto* const system_rename = system_function<int(const char*, const char*)>("rename");
  return is_refused_to_change(to) ? -1 : system_rename(from, to);
}

int unlink(const char* path) {
  static auto* const system_unlink = system_function<int(const char*)>("unlink");
  return is_refused_to_change(path) ? -1 : system_unlink(path);
}

int unlinkat(int folder, const char* path, int flags) {
  static auto* const system_unlinkat = system_function<int(int, const char*, int)>("unlinkat");
  return is_refused_to_change(path) ? -1 : system_unlinkat(folder, path, flags);
}

int accept4(int listener, struct sockaddr* address, socklen_t* length, int flags) {
  using Accept = int(int, struct sockaddr*, socklen_t*, int);
  static auto* const system_accept = system_function<Accept>("accept4");
  if (g_state != nullptr && g_state->accept_error != 0) {
    errno = g_state->accept_error;
    return -1;
  }
  return system_accept(listener, address, length, flags);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*task)(void*),
                   void* argument) {
  using Create = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static auto* const system_create = system_function<Create>("pthread_create");
  return is_thread_refused() ? EAGAIN : system_create(thread, attributes, task, argument);
}

int clock_gettime(clockid_t clock, struct timespec* time) {
  static auto* const system_clock =
      system_function<int(clockid_t, struct timespec*)>("clock_gettime");
  const int result = system_clock(clock, time);
  if (clock == CLOCK_REALTIME) time->tv_sec += clock_ahead();
  return result;
}

time_t time(time_t* result) {
  struct timespec now {};
  clock_gettime(CLOCK_REALTIME, &now);
  if (result != nullptr) *result = now.tv_sec;
  return now.tv_sec;
}

}  // extern "C"
