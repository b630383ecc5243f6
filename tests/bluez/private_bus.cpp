#include "tests/bluez/private_bus.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "base/files.h"

namespace tvn {
namespace {

// Who owns the name may still be called by itself only, as where a system's policy shuts people
// out.
constexpr const char* k_denied = R"(<deny send_destination="org.bluez"/>)";

std::string configuration(const std::string& address, BusPolicy policy) {
  return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
         "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
         "<busconfig><type>session</type><listen>" +
         address +
         "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
         "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
         "<allow own=\"*\"/>" +
         (policy == BusPolicy::open ? "" : k_denied) + "</policy></busconfig>\n";
}

bool listens(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  const bool connected =
      connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return connected;
}

}  // namespace

PrivateBus::PrivateBus(BusPolicy policy) : address_("unix:path=" + (folder_ / "socket")) {
  EXPECT_TRUE(write_file(folder_ / "bus.conf", configuration(address_, policy)));
  start();
}

PrivateBus::~PrivateBus() {
  stop();
}

void PrivateBus::start() {
  const std::string option = "--config-file=" + (folder_ / "bus.conf");
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);      // a test that is killed leaves no daemon behind
    dup2(open("/dev/null", O_WRONLY), 2);  // it tells of every refusal
    execlp("dbus-daemon", "dbus-daemon", option.c_str(), "--nofork", nullptr);
    _exit(127);
  }
  for (int i = 0; i < 500 && !listens(folder_ / "socket"); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(listens(folder_ / "socket")) << "dbus-daemon did not start";
}

void PrivateBus::stop() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
  std::error_code ignored;
  std::filesystem::remove(folder_ / "socket", ignored);
}

}  // namespace tvn
