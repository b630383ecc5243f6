#include "picture/png.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

namespace tvn {
namespace {

RgbImage counting_image(std::uint32_t width, std::uint32_t height) {
  RgbImage image{width, height, {}};
  for (std::uint32_t i = 0; i < width * height * 3; ++i) {
    image.pixels.push_back(static_cast<std::uint8_t>(i * 7));
  }
  return image;
}

std::uint32_t big_endian(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  }
  return value;
}

struct Chunk {
  std::string type, data;
};

// The chunks of a file, each with its checksum verified.
std::vector<Chunk> chunks_of(const std::string& file) {
  EXPECT_EQ(file.substr(0, 8), "\x89PNG\r\n\x1a\n");
  std::vector<Chunk> chunks;
  for (std::size_t at = 8; at + 12 <= file.size();) {
    const std::size_t length = big_endian(file, at);
    const std::string checked = file.substr(at + 4, 4 + length);
    const auto* bytes = reinterpret_cast<const Bytef*>(checked.data());
    EXPECT_EQ(big_endian(file, at + 8 + length),
              crc32(0, bytes, static_cast<uInt>(checked.size())));
    chunks.push_back({checked.substr(0, 4), checked.substr(4)});
    at += 12 + length;
  }
  return chunks;
}

TEST(PngFile, HasThreeChunksAndTheHeaderOfItsImage) {
  const auto chunks = chunks_of(png_file(counting_image(3, 2)));
  ASSERT_EQ(chunks.size(), 3u);
  EXPECT_EQ(chunks[0].type, "IHDR");
  EXPECT_EQ(chunks[0].data, std::string("\0\0\0\3\0\0\0\2\x08\x02\0\0\0", 13));
  EXPECT_EQ(chunks[1].type, "IDAT");
  EXPECT_EQ(chunks[2].type, "IEND");
  EXPECT_EQ(chunks[2].data, "");
}

TEST(PngFile, HoldsUnfilteredRows) {
  const RgbImage image = counting_image(3, 2);
  const auto chunks = chunks_of(png_file(image));
  std::string rows(100, '?');
  uLongf length = rows.size();
  ASSERT_EQ(uncompress(reinterpret_cast<Bytef*>(rows.data()), &length,
                       reinterpret_cast<const Bytef*>(chunks[1].data.data()),
                       static_cast<uLong>(chunks[1].data.size())),
            Z_OK);
  ASSERT_EQ(length, 20u);  // 2 rows of a filter byte and 9 bytes
  const std::string pixels(image.pixels.begin(), image.pixels.end());
  EXPECT_EQ(rows.substr(0, 20),
            std::string(1, '\0') + pixels.substr(0, 9) + std::string(1, '\0') + pixels.substr(9));
}

TEST(PngFile, OfNothingIsEmpty) {
  EXPECT_EQ(png_file({}), "");
}

}  // namespace
}  // namespace tvn
