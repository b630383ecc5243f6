// The standard mutexes with thread-safety annotations, and the one way to hold them.
#pragma once

#include <mutex>

#include "base/thread_annotations.h"

namespace tvn {

class TVN_CAPABILITY("mutex") Mutex {
 public:
  void lock() TVN_ACQUIRE() { mutex_.lock(); }
  void unlock() TVN_RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

// May be taken again by the thread that holds it.
class TVN_CAPABILITY("mutex") RecursiveMutex {
 public:
  void lock() TVN_ACQUIRE() { mutex_.lock(); }
  void unlock() TVN_RELEASE() { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};

// Holds a mutex from its construction to its destruction.
template <typename M>
class TVN_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(M& mutex) TVN_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() TVN_RELEASE() { mutex_.unlock(); }

 private:
  M& mutex_;
};

}  // namespace tvn
