// Any bytes as a query: its values, and as the path of an upload. No path leaves the folder that it
// is joined to.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "base/names.h"
#include "web/handlers/upload_handlers.h"
#include "web/http/request.h"

namespace {

void check_path(const std::string& value) {
  const std::string relative = tvn::sanitise_relative_path(value);
  if (relative.starts_with('/') || relative.ends_with('/')) std::abort();
  const std::filesystem::path joined = std::filesystem::path("/base/upload") / relative;
  if (!relative.empty() && !joined.lexically_normal().string().starts_with("/base/upload/")) {
    std::abort();
  }
  for (const auto& part : std::filesystem::path(relative)) {
    if (part == "." || part == "..") std::abort();
  }
  // What is safe already stays as it is.
  if (tvn::sanitise_relative_path(relative) != relative) std::abort();
}

void check_name(const std::string& value) {
  const std::string name = tvn::sanitise_name(value);
  if (name.empty() || name.find('/') != std::string::npos) std::abort();
  if (tvn::sanitise_name(name) != name) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  check_path(text);
  check_name(text);
  try {
    for (const auto& [key, value] : tvn::parse_query(text)) {
      if (value.size() > text.size()) std::abort();
      check_path(value);
      check_name(value);
    }
  } catch (const std::invalid_argument&) {  // a malformed percent escape
  }
  return 0;
}
