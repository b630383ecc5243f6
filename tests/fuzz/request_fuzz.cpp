// Any bytes as a request, in packets of any size, answered by the router.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include "session/runs.h"
#include "web/handlers/router.h"

namespace {

// The first byte chooses the packet size, the rest is the request.
std::optional<tvn::Request> read_packets(const std::uint8_t* data, std::size_t size) {
  const std::size_t packet = size > 0 ? std::size_t{1} + data[0] : 1;
  std::size_t at = std::min<std::size_t>(size, 1);
  return tvn::read_request([&](char* buffer, std::size_t room) {
    const std::size_t count = std::min({room, packet, size - at});
    std::memcpy(buffer, data + at, count);
    at += count;
    return count;
  });
}

// Runs and jobs go on in threads, beside the next requests; their parts are tested on their own.
bool starts_a_job(std::string_view path) {
  constexpr std::string_view k_jobs[] = {"/start_replay", "/start_live", "/import", "/batch_start",
                                         "/batch_run",    "/export",     "/tfr"};
  return std::ranges::find(k_jobs, path) != std::end(k_jobs);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static tvn::Engine engine;
  static tvn::Site site{engine, "/nonexistent"};
  if (engine.data_dir.empty()) {
    engine.data_dir =
        (std::filesystem::temp_directory_path() / ("tvn-fuzz-" + std::to_string(getpid())))
            .string();
    std::filesystem::create_directories(tvn::recordings_dir(engine));
  }
  try {
    const auto request = read_packets(data, size);
    if (!request || starts_a_job(request->path)) return 0;
    tvn::route(*request, site);
  } catch (const std::invalid_argument&) {  // a malformed percent escape
  }
  return 0;
}
