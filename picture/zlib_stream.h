// Bytes compressed as PNG and PDF files hold them (RFC 1950).
#pragma once

#include <string>
#include <string_view>

namespace tvn {

// `bytes` compressed by zlib at level 6. Throws std::bad_alloc for want of memory, zlib's included.
// Tens of milliseconds per megapixel of a picture.
std::string zlib_stream(std::string_view bytes);

}  // namespace tvn
