// A PDF file from its objects (PDF Reference, third edition, version 1.4, chapter 3): images, fonts
// and pages as object bodies, and the whole with its cross-reference table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "picture/rgb_image.h"

namespace tvn {

inline constexpr std::string_view k_pdf_helvetica =
    "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>";
inline constexpr std::string_view k_pdf_helvetica_bold =
    "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica-Bold >>";
inline constexpr std::string_view k_pdf_catalog = "<< /Type /Catalog /Pages 2 0 R >>";

// An image ready to be put into a file: its pixels are only kept compressed, some tenth of them.
struct PdfPicture {
  std::uint32_t width = 0;   // pixels
  std::uint32_t height = 0;  // pixels
  std::string object;        // the object's body
};

// The body of an image object, its pixels compressed by zlib at level 6. Throws std::bad_alloc for
// want of memory, zlib's included. Tens of milliseconds per megapixel.
std::string flate_image_object(const RgbImage& image);

PdfPicture pdf_picture(const RgbImage& image);

// The body of an image object that holds a JPEG file of width x height pixels as it is.
std::string jpeg_image_object(std::string_view jpeg, std::uint32_t width, std::uint32_t height);

// The body of a content stream object.
std::string pdf_content_object(std::string_view content);

// Takes the next bytes of a file.
using ByteSink = std::function<void(std::string_view)>;

// A file that is written while its objects come, so that they need not all be in memory: object k
// of the file is the k-th one added, and object 1 is the catalog.
class PdfWriter {
 public:
  explicit PdfWriter(ByteSink sink);
  void add(std::string_view object);
  void end();  // the cross-reference table and the trailer

 private:
  void put(std::string_view bytes);

  ByteSink sink_;
  std::size_t written_ = 0;  // bytes
  std::size_t count_ = 0;    // objects
  std::string xref_;
};

// The whole file; object k of the file is objects[k - 1], and object 1 is the catalog. Linear.
std::string pdf_assemble(const std::vector<std::string>& objects);

// Writes the file in one go. False when it could not be opened or not written whole.
bool pdf_write(const std::string& path, std::string_view bytes);

}  // namespace tvn
