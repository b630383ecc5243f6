// What an exception says, for a job's status.
#pragma once

#include <exception>
#include <string>

namespace tvn {

// `before` and the exception's message; empty when there is not even memory for that, so that a
// job can end in an orderly way when memory is what it failed for.
inline std::string failure_text(const char* before, const std::exception& failure) noexcept {
  try {
    return std::string(before) + failure.what();
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace tvn
