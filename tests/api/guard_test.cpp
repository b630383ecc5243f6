// The guard on the real program: whose requests are answered.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/api/program.h"
#include "tests/wait_until.h"

namespace tvn {
namespace {

const std::string k_not_found =
    "HTTP/1.1 404 Not Found\r\nContent-Length:0\r\nConnection: close\r\n\r\n";

class GuardTest : public testing::Test {
 protected:
  static ProgramOptions guarded() {
    ProgramOptions options;
    options.argument = std::to_string(test_port());
    options.environment = {{"TVN_GUARD", "1"}};
    return options;
  }
  std::string own_host() const { return "Host: 127.0.0.1:" + std::to_string(program_.port()); }
  std::string ask(const std::string& target, const std::string& headers,
                  const std::string& method = "GET", const std::string& body = "") const {
    return send_request(program_.port(), method + " " + target + " HTTP/1.1\r\n" + headers +
                                             "\r\nContent-Length: " + std::to_string(body.size()) +
                                             "\r\n\r\n" + body);
  }
  Program program_{guarded()};
};

TEST_F(GuardTest, AnswersThePageAndRefusesWhatComesFromElsewhere) {
  EXPECT_NE(ask("/", own_host()), k_not_found);
  EXPECT_NE(ask("/status", own_host() + "\r\nSec-Fetch-Site: same-origin"), k_not_found);
  const std::string port = std::to_string(program_.port());
  for (const std::string& headers :
       {"Host: evil.test:" + port, own_host() + "\r\nOrigin: http://evil.test",
        own_host() + "\r\nSec-Fetch-Site: cross-site", own_host() + "\r\n" + own_host()}) {
    EXPECT_EQ(ask("/status", headers), k_not_found) << headers;
    EXPECT_EQ(ask("/", headers), k_not_found) << headers;
    EXPECT_EQ(ask("/stream", headers), k_not_found) << headers;
    EXPECT_EQ(ask("/start_replay?file=Sample%201.txt", headers), k_not_found) << headers;
    EXPECT_EQ(ask("/batch_upload?rel=a.txt", headers, "POST", "1\n"), k_not_found) << headers;
  }
  EXPECT_EQ(member(body_of(ask("/status", own_host())), "mode"), "\"idle\"");
  EXPECT_FALSE(std::filesystem::exists(program_.folder() + "/_upload_tmp/a.txt"));
}

// An address that fills all that is read of a head, so that no Host is seen.
TEST_F(GuardTest, RefusesAHeadWithoutAnEnd) {
  const std::string target = "/start_replay?file=Sample%201.txt&x=" + std::string(2 << 20, 'x');
  EXPECT_EQ(ask(target, own_host()), k_not_found);
  EXPECT_EQ(member(body_of(ask("/status", own_host())), "mode"), "\"idle\"");
}

TEST_F(GuardTest, RefusesOtherUsersOfTheMachine) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs the superuser, to become another user";
  constexpr uid_t k_nobody = 65534;
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setuid(k_nobody) != 0) _exit(1);
    _exit(ask("/start_replay?file=Sample%201.txt", own_host()) == k_not_found ? 0 : 2);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(member(body_of(ask("/status", own_host())), "mode"), "\"idle\"");
}

TEST(WithoutGuard, AnyClientOfTheLoopbackIsAnswered) {
  for (const char* setting : {"", "0", "yes"}) {
    ProgramOptions options;
    options.argument = std::to_string(test_port());
    if (*setting != '\0') options.environment = {{"TVN_GUARD", setting}};
    const Program program(options);
    const std::string reply =
        send_request(program.port(),
                     "PUT /status HTTP/1.1\r\nHost: evil.test\r\nOrigin: http://evil.test\r\n\r\n");
    EXPECT_EQ(member(body_of(reply), "mode"), "\"idle\"") << setting;
  }
}

}  // namespace
}  // namespace tvn
