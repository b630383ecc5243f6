#include "web/http/guard.h"

#include <gtest/gtest.h>

#include <string>

namespace tvn {
namespace {

constexpr int k_port = 8000;

// A head with these lines after the request line, each with its line end.
bool admits(const std::string& lines, const std::string& method = "GET", int port = k_port) {
  return guard_admits(method + " /status HTTP/1.1\r\n" + lines + "\r\n", port);
}

TEST(Guard, LetsThePageAndToolsIn) {
  // As Chromium, Firefox and WebKit send them for the page, its calls, its stream and its uploads.
  EXPECT_TRUE(admits("Host: 127.0.0.1:8000\r\nSec-Fetch-Site: none\r\n"));
  EXPECT_TRUE(admits("Host: 127.0.0.1:8000\r\nSec-Fetch-Site: same-origin\r\n"));
  EXPECT_TRUE(
      admits("Host: localhost:8000\r\nOrigin: http://localhost:8000\r\n"
             "Sec-Fetch-Site: same-origin\r\n",
             "POST"));
  EXPECT_TRUE(admits("host:[::1]:8000\r\nORIGIN:\thttp://[::1]:8000 \r\n", "HEAD"));
  EXPECT_TRUE(admits("HOST: LocalHost:8000\r\n"));
  EXPECT_TRUE(admits("Origin: http://127.0.0.1:8000\r\n"));
  EXPECT_TRUE(admits("User-Agent: curl/8\r\nHost: 127.0.0.1:8000\r\nAccept: */*\r\n"));
  EXPECT_TRUE(admits(""));  // HTTP/1.0
  EXPECT_TRUE(admits("Host: 127.0.0.1\r\n", "GET", 80));
}

TEST(Guard, RefusesOtherNamesAndPorts) {
  for (const char* host :
       {"evil.test:8000", "127.0.0.1:8001", "127.0.0.1", "localhost", "127.0.0.1:80000",
        "127.0.0.1:8000.evil.test", "127.0.0.1.evil.test:8000", "evil.test", "127.0.0.1:08000",
        "0.0.0.0:8000", "127.1:8000", "[::]:8000", "::1:8000", "127.0.0.1:", "", " ",
        "127.0.0.1:8000, evil.test", "user@127.0.0.1:8000", "http://127.0.0.1:8000"}) {
    EXPECT_FALSE(admits(std::string("Host: ") + host + "\r\n")) << host;
  }
}

// The port that a name without one stands for.
TEST(Guard, OnPort80OtherNamesAreRefusedAsWell) {
  EXPECT_FALSE(admits("Host: evil.test\r\n", "GET", 80));
  EXPECT_FALSE(admits("Host: evil.test:80\r\n", "GET", 80));
  EXPECT_FALSE(admits("Host: 127.0.0.1:8000\r\n", "GET", 80));
}

TEST(Guard, RefusesARepeatedOrMalformedHost) {
  EXPECT_FALSE(admits("Host: 127.0.0.1:8000\r\nHost: 127.0.0.1:8000\r\n"));
  EXPECT_FALSE(admits("Host: 127.0.0.1:8000\r\nHost: evil.test:8000\r\n"));
  EXPECT_FALSE(admits("Host : 127.0.0.1:8000\r\n"));
  EXPECT_FALSE(admits(" Host: 127.0.0.1:8000\r\n"));
  EXPECT_FALSE(admits("Host 127.0.0.1:8000\r\n"));
  EXPECT_FALSE(admits("Host\r\n"));
  EXPECT_FALSE(admits("Host:\r\n 127.0.0.1:8000\r\n"));
  EXPECT_FALSE(admits("Host: 127.0.0.1:8000\r\n .evil.test\r\n"));
  EXPECT_FALSE(admits("Accept: a\rHost: evil.test:8000\r\n"));
  EXPECT_FALSE(admits("Accept: a\nHost: evil.test:8000\r\n"));
  EXPECT_FALSE(admits(std::string("Or\0igin: http://evil.test\r\n", 27)));
  EXPECT_FALSE(guard_admits("GET / HTTP/1.1\rHost: evil.test:8000\r\n\r\n", k_port));
}

TEST(Guard, RefusesPagesOfOtherServers) {
  const std::string host = "Host: 127.0.0.1:8000\r\n";
  for (const char* origin : {"http://evil.test", "http://127.0.0.1:8001", "http://127.0.0.1",
                             "null", "https://127.0.0.1:8000", "", "http://127.0.0.1:8000/",
                             "http://127.0.0.1:8000 http://evil.test"}) {
    EXPECT_FALSE(admits(host + "Origin: " + origin + "\r\n", "POST")) << origin;
  }
  EXPECT_FALSE(admits(host + "Origin: http://[::1]:8000\r\n"));
  EXPECT_FALSE(admits("Origin: http://localhost:8000\r\n" + host));
  for (const char* site : {"cross-site", "same-site", "", "None", "same-origin, none"}) {
    EXPECT_FALSE(admits(host + "Sec-Fetch-Site: " + site + "\r\n")) << site;
  }
  EXPECT_FALSE(admits(host + "Origin: http://127.0.0.1:8000\r\nOrigin: http://evil.test\r\n"));
  EXPECT_FALSE(admits(host + "Sec-Fetch-Site: none\r\nSec-Fetch-Site: cross-site\r\n"));
}

TEST(Guard, RefusesOtherMethods) {
  const std::string host = "Host: 127.0.0.1:8000\r\n";
  for (const char* method : {"PUT", "DELETE", "OPTIONS", "CONNECT", "TRACE", "PATCH", "get", ""}) {
    EXPECT_FALSE(admits(host, method)) << method;
  }
  EXPECT_TRUE(admits(host, "GET"));
}

// An address of a megabyte fills what is read of a head; the Host would come after it.
TEST(Guard, RefusesAHeadThatDoesNotEnd) {
  EXPECT_FALSE(guard_admits("GET /stop?" + std::string(1 << 20, 'x'), k_port));
  EXPECT_FALSE(guard_admits("GET /stop HTTP/1.1\r\nHost: 127.0.0.1:8000\r\n", k_port));
  EXPECT_FALSE(guard_admits("", k_port));
  EXPECT_FALSE(guard_admits("\r\n\r\n", k_port));
}

}  // namespace
}  // namespace tvn
