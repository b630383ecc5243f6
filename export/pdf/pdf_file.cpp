#include "export/pdf/pdf_file.h"

#include <algorithm>
#include <utility>

#include "base/files.h"
#include "picture/zlib_stream.h"

namespace tvn {
namespace {

constexpr std::size_t k_xref_digits = 10;

std::string_view pixel_bytes(const RgbImage& image) {
  return {reinterpret_cast<const char*>(image.pixels.data()), image.pixels.size()};
}

std::string image_object(std::uint32_t width, std::uint32_t height, std::string_view filter,
                         std::string_view stream) {
  std::string object = "<< /Type /XObject /Subtype /Image /Width " + std::to_string(width) +
                       " /Height " + std::to_string(height) +
                       " /ColorSpace /DeviceRGB /BitsPerComponent 8 /Filter /";
  object.reserve(object.size() + stream.size() + 80);  // as it is kept, often for long
  object += filter;
  object += " /Length " + std::to_string(stream.size()) + " >>\nstream\n";
  object += stream;
  object += "\nendstream";
  return object;
}

// A line of the cross-reference table: 20 bytes, the offset with leading zeros.
std::string xref_entry(std::size_t offset) {
  const std::string digits = std::to_string(offset);
  return std::string(k_xref_digits - std::min(k_xref_digits, digits.size()), '0') + digits +
         " 00000 n \n";
}

// Not less than the file's bytes, so that a file of many pictures is not copied while it grows.
std::size_t assembled_size(const std::vector<std::string>& objects) {
  constexpr std::size_t k_around_object = 64;  // its number, "obj", "endobj" and its table line
  std::size_t size = 256;                      // header and trailer
  for (const std::string& object : objects) size += object.size() + k_around_object;
  return size;
}

}  // namespace

std::string flate_image_object(const RgbImage& image) {
  return image_object(image.width, image.height, "FlateDecode", zlib_stream(pixel_bytes(image)));
}

PdfPicture pdf_picture(const RgbImage& image) {
  return {image.width, image.height, flate_image_object(image)};
}

std::string jpeg_image_object(std::string_view jpeg, std::uint32_t width, std::uint32_t height) {
  return image_object(width, height, "DCTDecode", jpeg);
}

std::string pdf_content_object(std::string_view content) {
  std::string object = "<< /Length " + std::to_string(content.size()) + " >>\nstream\n";
  object += content;
  object += "\nendstream";
  return object;
}

PdfWriter::PdfWriter(ByteSink sink) : sink_(std::move(sink)) {
  put("%PDF-1.4\n");
}

void PdfWriter::put(std::string_view bytes) {
  written_ += bytes.size();
  sink_(bytes);
}

void PdfWriter::add(std::string_view object) {
  xref_ += xref_entry(written_);
  put(std::to_string(++count_) + " 0 obj\n");
  put(object);
  put("\nendobj\n");
}

void PdfWriter::end() {
  const std::string xref_offset = std::to_string(written_);
  const std::string count = std::to_string(count_ + 1);
  put("xref\n0 " + count + "\n0000000000 65535 f \n");
  put(xref_);
  put("trailer\n<< /Size " + count + " /Root 1 0 R >>\nstartxref\n" + xref_offset + "\n%%EOF\n");
}

std::string pdf_assemble(const std::vector<std::string>& objects) {
  std::string file;
  file.reserve(assembled_size(objects));
  PdfWriter writer([&file](std::string_view bytes) { file += bytes; });
  for (const std::string& object : objects) writer.add(object);
  writer.end();
  return file;
}

bool pdf_write(const std::string& path, std::string_view bytes) {
  return !write_file(path, bytes).error;
}

}  // namespace tvn
