#include "tests/load/load_requests.h"

#include <iterator>

#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

// Those that only ask come more often than those that begin something, as from pages.
constexpr const char* k_targets[] = {
    "/status",
    "/status",
    "/status",
    "/",
    "/index.html",
    "/logo.png",
    "/ball.png",
    "/piano.wav",
    "/recordings",
    "/recordings",
    "/bt_available",
    "/mark?key=3",
    "/mark?key=99",
    "/seek?frac=0.3",
    "/seek?frac=nan",
    "/tfr_status",
    "/tfr_images",
    "/tfr",
    "/export_status",
    "/export",
    "/batch_status",
    "/batch_new",
    "/batch_run?batchname=load",
    "/save",
    "/stop",
    "/start_replay?file=Sample%201.txt&speed=100&name=load",
    "/start_replay?file=Sample%202.txt&speed=10000&indur=4&outdur=6",
    "/start_replay?file=none",
    "/nothing?x=%41",
};

std::string get(const std::string& target, int port) {
  return "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n";
}

std::string post(const std::string& target, int port, const std::string& body) {
  return "POST " + target + " HTTP/1.1\r\nHost: localhost:" + std::to_string(port) +
         "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string noise_bytes(synthetic::Noise& random, std::size_t count) {
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random.bits() & 0x7F);
  return bytes;
}

std::string malformed(synthetic::Noise& random) {
  const std::string torn[] = {
      "",
      "\r\n\r\n",
      "GET",
      "GET /status",
      "GET /status HTTP/1.1\r\nHost: 127.0.0.1",
      "GET /mark?key=%zz HTTP/1.1\r\n\r\n",
      "get /status\n\n",
      "HTTP/1.1 200 OK\r\n\r\n",
      "POST /import?fname=a.txt HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n1\n2\n3\n",
      "POST /import HTTP/1.1\r\nContent-Length: -1\r\n\r\n1\n2\n3\n",
      "POST /batch_upload?rel=../../../x HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\nx",
      "GET /status HTTP/1.1\r\nHost: elsewhere.example\r\nHost: 127.0.0.1\r\n\r\n",
      "GET /" + std::string(20000, 'a') + " HTTP/1.1\r\n\r\n",
      "GET /status?" + std::string(5000, '&') + " HTTP/1.1\r\n\r\n",
      std::string(1200000, 'h'),
      noise_bytes(random, 3000),
      noise_bytes(random, 30) + "\r\n\r\n",
  };
  return torn[random.bits() % std::size(torn)];
}

}  // namespace

LoadRequest load_request(std::uint64_t number, int port, const std::string& recording) {
  synthetic::Noise random(number);
  if (number % 3 == 0) return {malformed(random), true, random.bits() % 4 == 0};
  const std::uint64_t choice = random.bits() % 100;
  if (choice == 0) return {post("/import?fname=load.txt&speed=10000", port, recording)};
  if (choice <= 3) return {post("/batch_upload?rel=a/load.txt", port, recording)};
  return {get(k_targets[random.bits() % std::size(k_targets)], port)};
}

std::string unfinished_request(std::uint64_t number) {
  constexpr const char* k_beginnings[] = {
      "", "G", "GET /status HTTP/1.1\r\nHost: 127",
      "POST /import?fname=slow.txt HTTP/1.1\r\nContent-Length: 5000\r\n\r\n1\n2\n"};
  return k_beginnings[number % std::size(k_beginnings)];
}

}  // namespace tvn
