// Pictures as PNG files (ISO/IEC 15948).
#pragma once

#include <string>

#include "picture/rgb_image.h"

namespace tvn {

// The PNG file of an image: 8-bit truecolour, no filter, no interlace, one IDAT chunk compressed
// by zlib at level 6. An image without pixels gives an empty text. Throws
// std::bad_alloc for want of memory, zlib's included. Most of the time goes into the
// compression, tens of milliseconds per megapixel.
std::string png_file(const RgbImage& image);

}  // namespace tvn
