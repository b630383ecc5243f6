// Stands in for the system's fdatasync and fsync in a test program: tells what is brought to the
// disk, and can be as slow as a disk.
#pragma once

#include <functional>
#include <string>

namespace tvn {

// While one lives, `before` is called before every fdatasync, and `folder` before every fsync, in
// the thread that calls it, with the path of the file or folder; either may be empty. One at
// a time.
class FaultySync {
 public:
  using Watch = std::function<void(const std::string& path)>;
  explicit FaultySync(Watch before, Watch folder = nullptr);
  FaultySync(const FaultySync&) = delete;
  FaultySync& operator=(const FaultySync&) = delete;
  ~FaultySync();
};

}  // namespace tvn
