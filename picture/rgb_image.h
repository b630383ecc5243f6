// A picture in memory.
#pragma once

#include <cstdint>
#include <vector>

namespace tvn {

// width x height pixels of 3 bytes R, G, B; rows from top to bottom, pixels from left to right,
// no padding.
struct RgbImage {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint8_t> pixels;
};

}  // namespace tvn
