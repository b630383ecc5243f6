// A program of a test's own under another's name, found first on PATH.
#pragma once

#include <stdlib.h>
#include <sys/stat.h>

#include <string>

#include "base/files.h"
#include "tests/temporary_folder.h"

namespace tvn {

// Puts a shell script of this name before everything else on PATH, for as long as it lives.
class StandIn {
 public:
  StandIn(const std::string& name, const std::string& script) : path_(getenv("PATH")) {
    write_file(folder_ / name, "#!/bin/sh\n" + script + "\n");
    chmod((folder_ / name).c_str(), 0755);
    setenv("PATH", (folder_.path() + ":" + path_).c_str(), 1);
  }
  StandIn(const StandIn&) = delete;
  StandIn& operator=(const StandIn&) = delete;
  ~StandIn() { setenv("PATH", path_.c_str(), 1); }

 private:
  TemporaryFolder folder_;
  std::string path_;
};

}  // namespace tvn
