// Stands in for the system's read and pread in this test program, so that something can happen to
// a file at a chosen moment of its being read.
#pragma once

#include <functional>

namespace tvn {

// While one lives, `before` is called before every read: what it returns is the error (EIO, say)
// that the read fails with; 0 lets it go on, with 1000 bytes at most.
class FaultyRead {
 public:
  explicit FaultyRead(std::function<int()> before);
  FaultyRead(const FaultyRead&) = delete;
  FaultyRead& operator=(const FaultyRead&) = delete;
  ~FaultyRead();
};

}  // namespace tvn
