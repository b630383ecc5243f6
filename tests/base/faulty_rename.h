// Stands in for the system's renaming that replaces nothing, so that a file system can lack it.
#pragma once

namespace tvn {

// While one lives, every such renaming fails with `error` (EINVAL, say).
class FaultyRename {
 public:
  explicit FaultyRename(int error);
  FaultyRename(const FaultyRename&) = delete;
  FaultyRename& operator=(const FaultyRename&) = delete;
  ~FaultyRename();
};

}  // namespace tvn
