#include "export/pdf/pdf_file.h"

#include <zlib.h>

#include <algorithm>
#include <new>

#include "base/files.h"
#include "export/pdf/pdf_content.h"
#include "export/pdf/report_logo.h"

namespace tvn {
namespace {

constexpr int k_compression_level = 6;
constexpr std::size_t k_xref_digits = 10;
constexpr double k_logo_width = 118;
constexpr double k_logo_top = 818;
constexpr double k_logo_left = 437;

std::string compressed(const std::vector<std::uint8_t>& raw) {
  uLongf length = compressBound(static_cast<uLong>(raw.size()));
  std::string stream(length, '\0');
  const int status = compress2(reinterpret_cast<Bytef*>(stream.data()), &length, raw.data(),
                               static_cast<uLong>(raw.size()), k_compression_level);
  if (status != Z_OK) throw std::bad_alloc();  // with room enough, all that zlib can want
  stream.resize(length);
  return stream;
}

std::string image_object(std::string width, std::string height, std::string_view filter,
                         std::string_view stream) {
  std::string object = "<< /Type /XObject /Subtype /Image /Width " + std::move(width) +
                       " /Height " + std::move(height) +
                       " /ColorSpace /DeviceRGB /BitsPerComponent 8 /Filter /";
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
  return image_object(std::to_string(image.width), std::to_string(image.height), "FlateDecode",
                      compressed(image.pixels));
}

PdfPicture pdf_picture(const RgbImage& image) {
  return {image.width, image.height, flate_image_object(image)};
}

std::string logo_object() {
  const ReportLogo& logo = report_logo();
  return image_object(std::to_string(logo.width), std::to_string(logo.height), "DCTDecode",
                      logo.bytes);
}

std::string logo_resource(std::size_t object_number) {
  if (!report_logo().is_present()) return "";
  return " /Logo " + std::to_string(object_number) + " 0 R";
}

std::string pdf_content_object(std::string_view content) {
  std::string object = "<< /Length " + std::to_string(content.size()) + " >>\nstream\n";
  object += content;
  object += "\nendstream";
  return object;
}

void draw_logo(std::string& content) {
  const ReportLogo& logo = report_logo();
  if (!logo.is_present()) return;
  const double height = static_cast<double>(logo.height) * k_logo_width / logo.width;
  pdf_image(content, "Logo", k_logo_left, k_logo_top - height, k_logo_width, height);
}

std::string pdf_assemble(const std::vector<std::string>& objects) {
  std::string file = "%PDF-1.4\n";
  std::string xref;
  file.reserve(assembled_size(objects));
  for (std::size_t k = 0; k < objects.size(); ++k) {
    xref += xref_entry(file.size());
    file += std::to_string(k + 1) + " 0 obj\n";
    file += objects[k];
    file += "\nendobj\n";
  }
  const std::string xref_offset = std::to_string(file.size());
  const std::string count = std::to_string(objects.size() + 1);
  file += "xref\n0 " + count + "\n0000000000 65535 f \n" + xref;
  file += "trailer\n<< /Size " + count + " /Root 1 0 R >>\nstartxref\n" + xref_offset + "\n%%EOF\n";
  return file;
}

bool pdf_write(const std::string& path, std::string_view bytes) {
  return write_file(path, bytes);
}

}  // namespace tvn
