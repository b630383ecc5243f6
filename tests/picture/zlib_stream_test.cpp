#include "picture/zlib_stream.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>

namespace tvn {
namespace {

TEST(ZlibStream, UnpacksToWhatWentInAndEndsThere) {
  for (const std::string& bytes :
       {std::string(), std::string("pulse"), std::string(100'000, 'x')}) {
    const std::string stream = zlib_stream(bytes);
    std::string unpacked(bytes.size() + 1, '\0');
    uLongf size = unpacked.size();
    uLong taken = stream.size();
    ASSERT_EQ(uncompress2(reinterpret_cast<Bytef*>(unpacked.data()), &size,
                          reinterpret_cast<const Bytef*>(stream.data()), &taken),
              Z_OK);
    unpacked.resize(size);
    EXPECT_EQ(unpacked, bytes);
    EXPECT_EQ(taken, stream.size());
  }
}

}  // namespace
}  // namespace tvn
