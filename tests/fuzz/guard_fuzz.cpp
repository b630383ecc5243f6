// Any bytes as the head of a request. What the guard lets in has a plain method, names no other
// server in any line that some reader could take for a Host or Origin, one Host at most, and comes
// from no other site.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

#include "web/http/guard.h"

namespace {

// Without blanks and control bytes, in lower case.
std::string bare(const std::string& line) {
  std::string text;
  for (const char c : line) {
    if (static_cast<unsigned char>(c) <= ' ') continue;
    text += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string head(reinterpret_cast<const char*>(data), size);
  if (!tvn::guard_admits(head, 8000)) return 0;
  const std::set<std::string> own = {
      "host:127.0.0.1:8000",          "host:localhost:8000",          "host:[::1]:8000",
      "origin:http://127.0.0.1:8000", "origin:http://localhost:8000", "origin:http://[::1]:8000"};
  if (!head.starts_with("GET") && !head.starts_with("HEAD") && !head.starts_with("POST")) {
    std::abort();
  }
  int hosts = 0;
  std::size_t at = head.find('\n');
  while (at < head.size()) {
    const std::size_t end = std::min(head.find_first_of("\r\n", at + 1), head.size());
    const std::string line = bare(head.substr(at + 1, end - at - 1));
    const bool decides = line.starts_with("host:") || line.starts_with("origin:");
    if (decides && !own.contains(line)) std::abort();
    hosts += line.starts_with("host:") ? 1 : 0;
    const bool elsewhere = line.starts_with("sec-fetch-site:") && line != "sec-fetch-site:none" &&
                           line != "sec-fetch-site:same-origin";
    if (hosts > 1 || elsewhere) std::abort();
    at = end;
  }
  return 0;
}
