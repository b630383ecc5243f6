#include "tests/api/program.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "tests/wait_until.h"

namespace tvn {
namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

std::vector<std::string> environment_of(const std::string& folder, const ProgramOptions& options) {
  const char* path = getenv("PATH");
  std::vector<std::string> result = {"PATH=" + folder + "/bin:" + (path ? path : "/usr/bin:/bin")};
  if (options.has_home) result.push_back("HOME=" + folder);
  for (const char* name : {"ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS", "LOCPATH"}) {
    if (const char* value = getenv(name)) result.push_back(std::string(name) + "=" + value);
  }
  if (!options.data_in_home) result.push_back("TVN_DATA=" + folder + options.data_folder);
  if (!options.environment.contains("DBUS_SYSTEM_BUS_ADDRESS")) {
    result.push_back("DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + folder + "/no-bus");
  }
  for (const auto& [name, value] : options.environment) result.push_back(name + "=" + value);
  return result;
}

int port_in(const std::string& banner) {
  constexpr const char* k_before = "http://127.0.0.1:";
  const std::size_t found = banner.find(k_before);
  return found == std::string::npos ? 0 : atoi(banner.c_str() + found + 17);
}

}  // namespace

Program::Program(const ProgramOptions& options) {
  std::filesystem::create_directories(folder() + "/bin");
  add_command("xdg-open", "echo noise\nls -l /proc/self/fd > '" + folder() +
                              "/descriptors'\necho \"$1\" > '" + folder() + "/opened'");
  int pipe_ends[2];
  EXPECT_EQ(pipe(pipe_ends), 0);
  std::vector<std::string> environment = environment_of(folder(), options);
  std::vector<std::string> arguments = {TVN_PROGRAM};
  if (!options.argument.empty()) arguments.push_back(options.argument);
  pid_ = fork();
  if (pid_ == 0) {
    // Tests that are started under nohup, or in the background of a script, begin with them
    // ignored.
    for (const int asked : {SIGHUP, SIGINT, SIGTERM}) signal(asked, SIG_DFL);
    const int errors = open((folder() + "/stderr").c_str(), O_WRONLY | O_CREAT, 0644);
    dup2(pipe_ends[1], 1);
    dup2(errors, 2);
    close(pipe_ends[0]);
    close(pipe_ends[1]);
    if (chdir(folder().c_str()) != 0) _exit(126);
    execve(TVN_PROGRAM, pointers(arguments).data(), pointers(environment).data());
    _exit(127);
  }
  close(pipe_ends[1]);
  output_ = pipe_ends[0];
  // The banner ends with its second rule.
  const std::string rule = std::string(60, '=') + "\n";
  std::array<char, 1024> piece;
  while (banner_.rfind(rule) == banner_.find(rule)) {
    const ssize_t got = read(output_, piece.data(), piece.size());
    if (got <= 0) break;
    banner_.append(piece.data(), static_cast<std::size_t>(got));
  }
  port_ = port_in(banner_);
}

Program::~Program() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  close(output_);
}

std::string Program::opened_address() const {
  std::string address;
  read_file(folder() + "/opened", address);
  return address;
}

void Program::add_command(const std::string& name, const std::string& script) const {
  const std::string path = folder() + "/bin/" + name;
  EXPECT_TRUE(write_file(path, "#!/bin/sh\n" + script + "\n"));
  EXPECT_EQ(chmod(path.c_str(), 0755), 0);
}

std::string Program::wait_for_opener() const {
  wait_until([this] { return !opened_address().empty(); });
  std::string descriptors;
  read_file(folder() + "/descriptors", descriptors);
  return descriptors;
}

int Program::wait_for_exit() {
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void Program::send_signal(int signal) const {
  kill(pid_, signal);
}

#ifdef __linux__
void Program::limit_files(std::size_t bytes) const {
  limit(RLIMIT_FSIZE, bytes);
}

void Program::limit(int resource, std::size_t most) const {
  rlimit limit{};
  EXPECT_EQ(prlimit(pid_, static_cast<__rlimit_resource>(resource), nullptr, &limit), 0);
  limit.rlim_cur = std::min<rlim_t>(most, limit.rlim_max);
  EXPECT_EQ(prlimit(pid_, static_cast<__rlimit_resource>(resource), &limit, nullptr), 0);
}
#endif

std::string Program::error_output() const {
  std::string text;
  read_file(folder() + "/stderr", text);
  return text;
}

bool Program::is_alive() const {
  return pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0;
}

int test_port() {
  // Tests run as processes of their own at the same time: spread by process number. Below the ports
  // that the system gives to connections (from 32768 on).
  return 20000 + (getpid() * 61) % 12000;
}

int connect_to(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return fd;
  close(fd);
  return -1;
}

void send_text(int fd, const std::string& text) {
  std::size_t sent = 0;
  while (sent < text.size()) {
    const ssize_t count = send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return;
    sent += static_cast<std::size_t>(count);
  }
}

std::string receive_all(int fd, double seconds) {
  const double deadline = monotonic_seconds() + seconds;
  std::string text;
  std::array<char, 65536> piece;
  for (double left = seconds; left > 0.0; left = deadline - monotonic_seconds()) {
    pollfd waiting{fd, POLLIN, 0};
    if (poll(&waiting, 1, static_cast<int>(left * 1000.0) + 1) <= 0) break;
    const ssize_t got = recv(fd, piece.data(), piece.size(), 0);
    if (got <= 0) break;
    text.append(piece.data(), static_cast<std::size_t>(got));
  }
  return text;
}

std::string send_request(int port, const std::string& request) {
  const int fd = connect_to(port);
  if (fd < 0) return "(no connection)";
  send_text(fd, request);
  const std::string reply = receive_all(fd);
  close(fd);
  return reply;
}

std::string body_of(const std::string& reply) {
  const std::size_t end = reply.find("\r\n\r\n");
  return end == std::string::npos ? "(no reply)" : reply.substr(end + 4);
}

std::string fetch(int port, const std::string& target) {
  return body_of(send_request(port, "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"));
}

std::string post(int port, const std::string& target, const std::string& body) {
  return body_of(send_request(port, "POST " + target + " HTTP/1.1\r\nContent-Length: " +
                                        std::to_string(body.size()) + "\r\n\r\n" + body));
}

std::string member(const std::string& json, const std::string& key) {
  const std::size_t start = json.find("\"" + key + "\":");
  if (start == std::string::npos) return "(missing)";
  const std::size_t value = start + key.size() + 3;
  return json.substr(value, json.find_first_of(",}]", value) - value);
}

}  // namespace tvn
