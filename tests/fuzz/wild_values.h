// Doubles of every kind from a fuzzer's bytes.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <vector>

namespace tvn::fuzz {

// Two bytes each: whole microvolts as a strap has them; those from -16 to -1 stand for values no
// strap has, and -17 repeats the last value so often as the next two bytes say (up to 4095), so
// that short inputs make long recordings.
inline std::vector<double> wild_values(std::span<const std::uint8_t> bytes, std::size_t most) {
  using Limits = std::numeric_limits<double>;
  constexpr double k_wild[] = {0.0,
                               -0.0,
                               1e308,
                               -1e308,
                               1e-310,
                               5e-324,
                               1e16,
                               -1e16,
                               1e-300,
                               0.5,
                               -0.5,
                               32767,
                               -32768,
                               Limits::infinity(),
                               -Limits::infinity(),
                               Limits::quiet_NaN()};
  std::vector<double> values;
  for (std::size_t i = 0; i + 1 < bytes.size() && values.size() < most; i += 2) {
    std::int16_t code = 0;
    std::memcpy(&code, bytes.data() + i, sizeof code);
    if (code >= -16 && code < 0) {
      values.push_back(k_wild[code + 16]);
    } else if (code == -17 && !values.empty() && i + 3 < bytes.size()) {
      i += 2;
      std::uint16_t count = 0;
      std::memcpy(&count, bytes.data() + i, sizeof count);
      values.insert(values.end(), count % 4096u, values.back());
    } else {
      values.push_back(code);
    }
  }
  return values;
}

}  // namespace tvn::fuzz
