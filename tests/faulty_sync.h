// Stands in for the system's fdatasync and fsync in a test program: tells what is brought to the
// disk, and can be as slow as a disk or fail like one.
#pragma once

#include <functional>
#include <string>

namespace tvn {

// While one lives, `before` is called before every fdatasync, and `folder` before every fsync, in
// the thread that calls it, with the path of the file or folder; either may be empty. An error
// other than 0 is what every fdatasync fails with. One at a time.
class FaultySync {
 public:
  using Watch = std::function<void(const std::string& path)>;
  explicit FaultySync(Watch before, Watch folder = nullptr, int error = 0);
  FaultySync(const FaultySync&) = delete;
  FaultySync& operator=(const FaultySync&) = delete;
  ~FaultySync();
};

}  // namespace tvn
