#include "picture/base64.h"

#include <gtest/gtest.h>

namespace tvn {
namespace {

// The test vectors of RFC 4648, section 10.
TEST(Base64, GivesThePublishedVectors) {
  EXPECT_EQ(base64_encode(""), "");
  EXPECT_EQ(base64_encode("f"), "Zg==");
  EXPECT_EQ(base64_encode("fo"), "Zm8=");
  EXPECT_EQ(base64_encode("foo"), "Zm9v");
  EXPECT_EQ(base64_encode("foob"), "Zm9vYg==");
  EXPECT_EQ(base64_encode("fooba"), "Zm9vYmE=");
  EXPECT_EQ(base64_encode("foobar"), "Zm9vYmFy");
}

TEST(Base64, UsesTheWholeAlphabet) {
  // 64 groups of 6 bits counting up, packed by hand into bytes.
  std::string bytes;
  for (int i = 0; i < 64; i += 4) {
    const int group = i << 18 | (i + 1) << 12 | (i + 2) << 6 | (i + 3);
    for (const int shift : {16, 8, 0}) bytes += static_cast<char>(group >> shift & 0xFF);
  }
  EXPECT_EQ(base64_encode(bytes),
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

}  // namespace
}  // namespace tvn
