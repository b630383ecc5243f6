// The real executable as a child process, with its output, its messages and its exit status.
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace tvn {

struct ProgramEnd {
  int status = -1;  // of its exit; 128 + the number of the signal that ended it
  std::string output, errors;
  long peak_kilobytes = 0;
};

class BatchProgram {
 public:
  // Starts it with these arguments; its data folder is `home`. input: what it reads.
  BatchProgram(const std::vector<std::string>& arguments, const std::string& home,
               const std::string& input = "");
  BatchProgram(const BatchProgram&) = delete;
  BatchProgram& operator=(const BatchProgram&) = delete;
  ~BatchProgram();

  pid_t process() const { return pid_; }
  ProgramEnd wait();

 private:
  std::string folder_;
  pid_t pid_ = -1;
};

}  // namespace tvn
