#include "base/standard_streams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace tvn {
namespace {

// In a process that has closed these of its standard streams: whether they fail as closed ones do,
// the others are left alone, and the next file gets another number.
bool holds(const std::vector<int>& closed) {
  const pid_t child = fork();
  if (child == 0) {
    std::vector<bool> is_closed(3, false);
    for (const int fd : closed) {
      ::close(fd);
      is_closed[static_cast<std::size_t>(fd)] = true;
    }
    hold_standard_streams();
    char byte = 0;
    bool well = ::open("/dev/zero", O_RDWR) > 2;
    if (is_closed[0]) well = well && ::read(0, &byte, 1) == -1;
    for (const int fd : {1, 2}) {
      const bool fails = ::write(fd, "", 0) == -1;
      well = well && fails == is_closed[static_cast<std::size_t>(fd)];
    }
    _exit(well ? 0 : 1);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  return status == 0;
}

TEST(StandardStreams, TheirNumbersGoToNobodyElse) {
  EXPECT_TRUE(holds({}));
  EXPECT_TRUE(holds({2}));
  EXPECT_TRUE(holds({0, 1, 2}));
  EXPECT_TRUE(holds({0, 2}));
  EXPECT_TRUE(holds({1}));
}

}  // namespace
}  // namespace tvn
