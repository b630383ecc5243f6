// The real executable as a child process, and a small HTTP client to talk to it.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>

#include "tests/temporary_folder.h"

namespace tvn {

struct ProgramOptions {
  std::string argument;                            // the port argument; none when empty
  std::map<std::string, std::string> environment;  // beside PATH and HOME
  bool data_in_home = false;     // leave TVN_DATA unset, so that the data go below HOME
  std::string data_folder = {};  // such as "/data": the data folder, below HOME
  bool has_home = true;          // whether HOME is set
};

// Starts talvern-live in a temporary folder that is its home, its data folder and its working
// folder, with a browser opener that notes the address it is given, and without Bluetooth unless
// the environment names a bus. Ends it when it goes out of scope.
class Program {
 public:
  explicit Program(const ProgramOptions& options = {});
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  int port() const { return port_; }  // from the banner; 0 when there was none
  const std::string& banner() const { return banner_; }
  const std::string& folder() const { return folder_.path(); }
  std::string opened_address() const;  // what the opener was given, empty before
  // Waits for the opener; the descriptors that it had, as `ls -l /proc/self/fd` lists them.
  std::string wait_for_opener() const;
  // Puts a shell script of this name first on the program's PATH.
  void add_command(const std::string& name, const std::string& script) const;
  // Waits for the process to end by itself; its exit status.
  int wait_for_exit();
  pid_t process() const { return pid_; }
  void send_signal(int signal) const;
#ifdef __linux__
  // From now on no file of the program may grow beyond this size: writing fails as on a full disk.
  void limit_files(std::size_t bytes) const;
  // The same for any of setrlimit's resources.
  void limit(int resource, std::size_t most) const;
#endif
  std::string error_output() const;
  bool is_alive() const;

 private:
  TemporaryFolder folder_;
  pid_t pid_ = -1;
  int output_ = -1;
  int port_ = 0;
  std::string banner_;
};

// A port that no other test of this run is likely to use.
int test_port();

// Opens a connection to a port on 127.0.0.1; -1 when nobody listens.
int connect_to(int port);
void send_text(int fd, const std::string& text);
// Everything that comes until the peer ends or `seconds` have passed.
std::string receive_all(int fd, double seconds = 10.0);

// One request with its whole reply, status line included.
std::string send_request(int port, const std::string& request);
// The body of the reply to a GET (or a POST when there is something to send).
std::string fetch(int port, const std::string& target);
std::string post(int port, const std::string& target, const std::string& body);
std::string body_of(const std::string& reply);

// The value of a top-level member of a status reply, as its JSON text; up to the next comma or
// bracket, so for plain values only.
std::string member(const std::string& json, const std::string& key);

}  // namespace tvn
