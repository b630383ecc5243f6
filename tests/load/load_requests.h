// What the load test sends: whole requests of every kind, and what is none.
#pragma once

#include <cstdint>
#include <string>

namespace tvn {

struct LoadRequest {
  std::string bytes;
  bool is_malformed = false;
  bool hangs_up = false;  // without waiting for a reply
};

// The request of this number: every third one is malformed, and the same number gives the same
// request. recording: the text of an ECG, for those that bring one.
LoadRequest load_request(std::uint64_t number, int port, const std::string& recording);

// The beginning of a request whose rest never comes.
std::string unfinished_request(std::uint64_t number);

}  // namespace tvn
