// Stands in for the system's fdatasync in a test program: tells what is brought to the disk, and
// can be as slow as a disk.
#pragma once

#include <functional>
#include <string>

namespace tvn {

// While one lives, `before` is called before every fdatasync, in the thread that calls it, with the
// path of the file. One at a time.
class FaultySync {
 public:
  explicit FaultySync(std::function<void(const std::string& path)> before);
  FaultySync(const FaultySync&) = delete;
  FaultySync& operator=(const FaultySync&) = delete;
  ~FaultySync();
};

}  // namespace tvn
