// A program that is started without standard streams, as by `<&- >&- 2>&-`.
#pragma once

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/temporary_folder.h"
#include "tests/wait_until.h"

namespace tvn {

// Whether the program at this path has nothing but /dev/null at the three numbers soon after its
// start with one argument or two (`second` may be null), and while it stays: it must not end by
// itself. Its data are in a temporary folder, it has no Bluetooth and no browser, and is ended
// here.
inline bool holds_its_streams(const char* program, const char* first, const char* second) {
  const TemporaryFolder data;
  const pid_t child = fork();
  if (child == 0) {
    setenv("TVN_DATA", data.path().c_str(), 1);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + (data / "no-bus")).c_str(), 1);
    setenv("PATH", "/nowhere", 1);  // no browser
    for (int fd = 0; fd < 3; ++fd) ::close(fd);
    execl(program, program, first, second, nullptr);
    _exit(127);
  }
  const auto leads_to = [child](const std::string& link, const std::filesystem::path& target) {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/" + std::to_string(child) + link, error) == target;
  };
  const bool holds = wait_until(
      [&] {
        return leads_to("/exe", std::filesystem::canonical(program)) &&
               leads_to("/fd/0", "/dev/null") && leads_to("/fd/1", "/dev/null") &&
               leads_to("/fd/2", "/dev/null");
      },
      10.0);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  return holds;
}

}  // namespace tvn
