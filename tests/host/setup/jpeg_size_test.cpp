#include "host/setup/jpeg_size.h"

#include <gtest/gtest.h>

#include <string>

namespace tvn {
namespace {

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) text += static_cast<char>(value);
  return text;
}

const std::string k_start = bytes({0xFF, 0xD8});
// Marker, length, precision, height, width, one component more than the scan needs.
std::string frame(int marker, int height, int width) {
  return bytes({0xFF, marker, 0, 11, 8, height >> 8, height & 255, width >> 8, width & 255, 1, 1});
}

TEST(JpegSize, ReadsTheFrameHeader) {
  const auto size = jpeg_size(k_start + frame(0xC0, 175, 700));
  ASSERT_TRUE(size);
  EXPECT_EQ(size->width, 700u);
  EXPECT_EQ(size->height, 175u);
  EXPECT_TRUE(jpeg_size(k_start + frame(0xC2, 1, 65535)));
}

// ITU-T T.81, table B.1: SOF0 to SOF15, but for DHT, JPG and DAC.
TEST(JpegSize, KnowsEveryKindOfFrame) {
  for (int marker = 0xBF; marker <= 0xD0; ++marker) {
    const bool is_frame = marker >= 0xC0 && marker < 0xD0 && marker % 4 != 0;
    EXPECT_EQ(jpeg_size(k_start + frame(marker, 1, 2)).has_value(), is_frame || marker == 0xC0)
        << marker;
  }
}

TEST(JpegSize, SkipsOtherSegmentsAndStrayBytes) {
  const std::string application = bytes({0xFF, 0xE0, 0, 4, 1, 2});
  const std::string huffman = bytes({0xFF, 0xC4, 0, 3, 9});
  const auto size = jpeg_size(k_start + application + "xy" + huffman + frame(0xC1, 20, 30));
  ASSERT_TRUE(size);
  EXPECT_EQ(size->width, 30u);
  EXPECT_EQ(size->height, 20u);
}

TEST(JpegSize, FailsOnWhatIsNoJpeg) {
  EXPECT_FALSE(jpeg_size(""));
  EXPECT_FALSE(jpeg_size(k_start + frame(0xC0, 1, 1).substr(0, 9)));  // 11 bytes
  EXPECT_FALSE(jpeg_size(k_start + frame(0xC0, 0, 700)));
  EXPECT_FALSE(jpeg_size(k_start + frame(0xC0, 175, 0)));
  EXPECT_FALSE(jpeg_size(k_start + bytes({0xFF, 0xE0, 0, 1}) + frame(0xC0, 1, 1)));
  EXPECT_FALSE(jpeg_size(k_start + bytes({0xFF, 0xE0, 0xFF, 0xFF}) + frame(0xC0, 1, 1)));
  EXPECT_FALSE(jpeg_size(std::string(100000, 'x')));
  EXPECT_FALSE(jpeg_size(std::string(100000, '\xFF')));
  EXPECT_FALSE(jpeg_size(k_start + std::string(20, 'x') + frame(0xC0, 1, 1).substr(0, 8)));
}

// Nine bytes of frame header hold the size, but the picture must go on after them.
TEST(JpegSize, NeedsOneByteBehindTheSize) {
  EXPECT_TRUE(jpeg_size(k_start + std::string(20, 'x') + frame(0xC0, 1, 1).substr(0, 10)));
  EXPECT_FALSE(jpeg_size(k_start + std::string(20, 'x') + frame(0xC0, 1, 1).substr(0, 9)));
}

}  // namespace
}  // namespace tvn
