#include "picture/zlib_stream.h"

#include <zlib.h>

#include <new>

namespace tvn {
namespace {

constexpr int k_compression_level = 6;

}  // namespace

std::string zlib_stream(std::string_view bytes) {
  const auto size = static_cast<uLong>(bytes.size());
  uLongf length = compressBound(size);
  std::string stream(length, '\0');
  const int status =
      compress2(reinterpret_cast<Bytef*>(stream.data()), &length,
                reinterpret_cast<const Bytef*>(bytes.data()), size, k_compression_level);
  if (status != Z_OK) throw std::bad_alloc();  // with room enough, all that zlib can want
  stream.resize(length);
  return stream;
}

}  // namespace tvn
