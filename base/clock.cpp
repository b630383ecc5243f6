#include "base/clock.h"

#include <array>
#include <chrono>

namespace tvn {

double monotonic_seconds() {
  const auto since_start = std::chrono::steady_clock::now().time_since_epoch();
  const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(since_start);
  return static_cast<double>(nanoseconds.count()) / 1e9;
}

std::string local_time_text(std::time_t when, const char* format) {
  std::tm parts{};
  localtime_r(&when, &parts);
  std::array<char, 256> text;
  return {text.data(), std::strftime(text.data(), text.size(), format, &parts)};
}

}  // namespace tvn
