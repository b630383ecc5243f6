#include "host/setup/jpeg_size.h"

namespace tvn {
namespace {

std::uint32_t byte_at(std::string_view bytes, std::size_t i) {
  return static_cast<unsigned char>(bytes[i]);
}

std::uint32_t big_endian_16(std::string_view bytes, std::size_t i) {
  return byte_at(bytes, i) << 8 | byte_at(bytes, i + 1);
}

// 0xC0 to 0xCF start a frame, but for the tables (0xC4), the extension (0xC8) and the arithmetic
// conditioning (0xCC).
bool starts_frame(std::uint32_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

}  // namespace

std::optional<PictureSize> jpeg_size(std::string_view bytes) {
  if (bytes.size() < 12) return std::nullopt;
  std::size_t i = 2;  // after the start-of-image marker
  do {
    if (byte_at(bytes, i) != 0xFF) {
      ++i;
      continue;
    }
    if (starts_frame(byte_at(bytes, i + 1))) {
      const PictureSize size{big_endian_16(bytes, i + 7), big_endian_16(bytes, i + 5)};
      if (size.width == 0 || size.height == 0) return std::nullopt;
      return size;
    }
    const std::uint32_t length = big_endian_16(bytes, i + 2);
    if (length < 2) return std::nullopt;
    i += length + 2;
  } while (i + 9 < bytes.size());
  return std::nullopt;
}

}  // namespace tvn
