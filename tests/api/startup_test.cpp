// How the program starts: folders, ports, banner, browser.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "base/files.h"
#include "tests/api/program.h"
#include "tests/without_streams.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;

std::string expected_banner(int port) {
  const std::string rule = std::string(60, '=') + "\n";
  return "  Report logo loaded (700x175).\n" + rule +
         "  Talvern Live 1.0.0 is running\n"
         "  Open your browser at:  http://127.0.0.1:" +
         std::to_string(port) + "/\n  Close this window to stop.\n" + rule;
}

sockaddr_in address_of(std::uint32_t host, int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(host);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

void bind_and_listen(int fd, int port) {
  const sockaddr_in address = address_of(INADDR_LOOPBACK, port);
  // A port that somebody else holds is busy as well.
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    ::listen(fd, 1);
  }
}

// 127.0.0.2 reaches this machine too, but not a socket bound to 127.0.0.1.
bool connects_to_other_address(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in address = address_of(INADDR_LOOPBACK + 1, port);
  const bool connected =
      ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(fd);
  return connected;
}

ProgramOptions on_port(int port) {
  return {std::to_string(port), {}, false};
}

TEST(Startup, PrintsTheBannerAndOpensTheBrowser) {
  const Program program(on_port(test_port()));
  EXPECT_EQ(program.banner(), expected_banner(program.port()));
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_EQ(program.opened_address(), "");  // one second after the start, when all is listening
  program.wait_for_opener();
  EXPECT_EQ(program.opened_address(), "http://127.0.0.1:" + std::to_string(program.port()) + "/\n");
}

TEST(Startup, WithoutAPortTakesTheFirstThatIsFreeFrom8000On) {
  const Program program({"", {}, false});
  EXPECT_GE(program.port(), 8000);
  EXPECT_LT(program.port(), 8050);
}

TEST(Startup, KeepsTheDataBelowTheHomeFolder) {
  const Program program({std::to_string(test_port()), {}, true});
  const std::string data = program.folder() + "/Documents/TVN-Live";
  EXPECT_TRUE(fs::is_directory(data + "/recordings"));
  EXPECT_TRUE(fs::is_directory(data + "/exports"));
  EXPECT_EQ(fs::file_size(data + "/sample_data/Sample 1.txt"), 123590u);
  EXPECT_EQ(fs::file_size(data + "/sample_data/Sample 2.txt"), 118453u);
}

TEST(Startup, PutsTheDataIntoTheBaseFolderWhenThatIsNamed) {
  const TemporaryFolder base;
  fs::create_directories(base / "web");
  ASSERT_TRUE(write_file(base / "web/index.html", "<p>developer's page</p>"));
  const Program program({std::to_string(test_port()), {{"TVN_BASE", base.path()}}, false});
  EXPECT_TRUE(fs::exists(base / "sample_data/Sample 1.txt"));
  EXPECT_FALSE(fs::exists(program.folder() + "/sample_data"));
  EXPECT_EQ(fetch(program.port(), "/"), "<p>developer's page</p>");
  EXPECT_EQ(fetch(program.port(), "/ball.png").size(), 166420u);
}

TEST(Startup, TakesTheNextPortWhenOneIsBusy) {
  const Program first(on_port(test_port()));
  const Program second(on_port(first.port()));
  EXPECT_EQ(second.port(), first.port() + 1);
  EXPECT_NE(fetch(second.port(), "/status"), "(no reply)");
}

TEST(Startup, LooksFrom8000OnWithoutAnArgument) {
  const Program program;
  EXPECT_GE(program.port(), 8000);
  EXPECT_LE(program.port(), 8049);
}

TEST(Startup, ShowsPortZeroWhenTheSystemChooses) {
  const Program program({"abc", {}, false});
  EXPECT_EQ(program.banner(), expected_banner(0));
}

TEST(Startup, EndsWithAMessageWhenThereIsNoPort) {
  for (const char* argument : {"70000", "-5"}) {
    Program program({argument, {}, false});
    EXPECT_EQ(program.wait_for_exit(), 1) << argument;
    EXPECT_EQ(program.error_output(), "Could not bind a port.\n");
    EXPECT_EQ(program.banner(), "  Report logo loaded (700x175).\n");
  }
}

// Takes `count` ports from `first` on, for as long as it lives.
class BusyPorts {
 public:
  BusyPorts(int first, int count) {
    for (int i = 0; i < count; ++i) {
      sockets_.push_back(::socket(AF_INET, SOCK_STREAM, 0));
      bind_and_listen(sockets_.back(), first + i);
    }
  }
  BusyPorts(const BusyPorts&) = delete;
  BusyPorts& operator=(const BusyPorts&) = delete;
  ~BusyPorts() {
    for (const int fd : sockets_) ::close(fd);
  }

 private:
  std::vector<int> sockets_;
};

// Fifty ports in a row between those of other tests and the default ones. They are all that the
// test needs, so that a busy one among them is passed over by looking further.
int first_of_fifty_ports() {
  const auto is_free = [](int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = address_of(INADDR_LOOPBACK, port);
    const bool is_bound =
        ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return is_bound;
  };
  int first = 9000 + (getpid() * 61) % 9000;
  for (int port = first; port < first + 50; ++port) {
    if (!is_free(port)) first = port + 1;
  }
  return first;
}

TEST(Startup, TakesTheLastOfFiftyPorts) {
  const int first = first_of_fifty_ports();
  const BusyPorts busy(first, 49);
  const Program program(on_port(first));
  EXPECT_EQ(program.port(), first + 49);
}

TEST(Startup, EndsWhenAllFiftyPortsAreBusy) {
  const int first = first_of_fifty_ports();
  const BusyPorts busy(first, 50);
  Program program(on_port(first));
  EXPECT_EQ(program.wait_for_exit(), 1);
  EXPECT_EQ(program.error_output(), "Could not bind a port.\n");
}

// The browser is a child of the program: sockets it inherited would keep the port busy after the
// program has ended.
TEST(Startup, GivesItsSocketsToNoChild) {
  const Program program(on_port(test_port()));
  const int held = connect_to(program.port());
  const std::string descriptors = program.wait_for_opener();
  EXPECT_NE(descriptors.find("0 -> "), std::string::npos) << descriptors;
  EXPECT_EQ(descriptors.find("socket"), std::string::npos) << descriptors;
  ::close(held);
}

#ifdef __linux__
// What is told there would go into whatever got the number: a connection, a recording.
TEST(Startup, WithoutStandardStreamsTheirNumbersAreHeld) {
  const std::string port = std::to_string(test_port());
  EXPECT_TRUE(holds_its_streams(TVN_PROGRAM, port.c_str(), nullptr));
}
#endif

TEST(Startup, ListensOnTheLoopbackAddressOnly) {
  const Program program(on_port(test_port()));
  EXPECT_FALSE(connects_to_other_address(program.port()));
}

}  // namespace
}  // namespace tvn
