#include "picture/png.h"

#include <zlib.h>

#include <cstdint>
#include <string_view>

#include "picture/zlib_stream.h"

namespace tvn {
namespace {

void append_big_endian(std::string& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(value >> shift & 0xFF);
}

// Length, type, data, and the checksum over type and data.
void append_chunk(std::string& out, std::string_view type, std::string_view data) {
  append_big_endian(out, static_cast<std::uint32_t>(data.size()));
  const std::size_t checked_from = out.size();
  out += type;
  out += data;
  const std::string_view checked = std::string_view(out).substr(checked_from);
  const uLong checksum =
      crc32(0, reinterpret_cast<const Bytef*>(checked.data()), static_cast<uInt>(checked.size()));
  append_big_endian(out, static_cast<std::uint32_t>(checksum));
}

std::string header_data(const RgbImage& image) {
  std::string data;
  append_big_endian(data, image.width);
  append_big_endian(data, image.height);
  data += std::string("\x08\x02\x00\x00\x00", 5);  // 8 bits, truecolour, no choices after that
  return data;
}

// Each row with the filter type 0 (none) before it.
std::string unfiltered_rows(const RgbImage& image) {
  const std::size_t row_bytes = std::size_t{image.width} * 3;
  std::string rows;
  rows.reserve((row_bytes + 1) * image.height);
  const char* pixels = reinterpret_cast<const char*>(image.pixels.data());
  for (std::size_t y = 0; y < image.height; ++y) {
    rows += '\0';
    rows.append(pixels + y * row_bytes, row_bytes);
  }
  return rows;
}

}  // namespace

std::string png_file(const RgbImage& image) {
  if (image.pixels.empty()) return "";
  std::string file = "\x89PNG\r\n\x1a\n";
  append_chunk(file, "IHDR", header_data(image));
  append_chunk(file, "IDAT", zlib_stream(unfiltered_rows(image)));
  append_chunk(file, "IEND", "");
  return file;
}

}  // namespace tvn
