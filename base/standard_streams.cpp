#include "base/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace tvn {

// A file that is opened gets the lowest free number, so in ascending order each gets its own.
void hold_standard_streams() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (::fcntl(fd, F_GETFD) >= 0) continue;
    ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace tvn
