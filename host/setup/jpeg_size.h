// The size of a JPEG picture, read from its markers without decoding it (ITU-T T.81, annex B).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tvn {

struct PictureSize {
  std::uint32_t width;   // pixels, 1 to 65535
  std::uint32_t height;  // pixels, 1 to 65535
};

// Walks the segments up to the first start-of-frame marker. None when the data is shorter than 12
// bytes, ends before such a marker, has a segment length below 2, or states a size of 0.
std::optional<PictureSize> jpeg_size(std::string_view bytes);

}  // namespace tvn
