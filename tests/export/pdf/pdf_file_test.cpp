#include "export/pdf/pdf_file.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "base/files.h"
#include "tests/export/pdf_parts.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

RgbImage test_image(std::uint32_t width, std::uint32_t height) {
  RgbImage image{width, height, {}};
  for (std::uint32_t i = 0; i < width * height * 3; ++i) {
    image.pixels.push_back(static_cast<std::uint8_t>(i * 7 % 251));
  }
  return image;
}

TEST(PdfAssemble, WritesObjectsTableAndTrailerToTheByte) {
  EXPECT_EQ(pdf_assemble({"<< /Type /Catalog /Pages 2 0 R >>", "<< >>"}),
            "%PDF-1.4\n"
            "1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n"
            "2 0 obj\n<< >>\nendobj\n"
            "xref\n0 3\n"
            "0000000000 65535 f \n"
            "0000000009 00000 n \n"
            "0000000058 00000 n \n"
            "trailer\n<< /Size 3 /Root 1 0 R >>\n"
            "startxref\n79\n%%EOF\n");
}

TEST(PdfAssemble, EveryOffsetPointsAtItsObject) {
  std::vector<std::string> bodies;
  for (std::size_t i = 0; i < 120; ++i) bodies.push_back("(" + std::string(i * 13, 'x') + ")");
  EXPECT_EQ(pdf_objects(pdf_assemble(bodies)), bodies);
}

TEST(PdfObjects, AContentStreamStatesItsLength) {
  EXPECT_EQ(pdf_content_object("0 0 m\n"), "<< /Length 6 >>\nstream\n0 0 m\n\nendstream");
  EXPECT_EQ(pdf_content_object(""), "<< /Length 0 >>\nstream\n\nendstream");
}

TEST(PdfObjects, AnImageHoldsItsPixelsCompressed) {
  const RgbImage image = test_image(40, 7);
  const std::string object = flate_image_object(image);
  const std::string stream = pdf_stream(object);
  EXPECT_EQ(object,
            "<< /Type /XObject /Subtype /Image /Width 40 /Height 7 /ColorSpace /DeviceRGB "
            "/BitsPerComponent 8 /Filter /FlateDecode /Length " +
                std::to_string(stream.size()) + " >>\nstream\n" + stream + "\nendstream");
  std::vector<std::uint8_t> pixels(image.pixels.size() + 1);
  uLongf length = pixels.size();
  ASSERT_EQ(uncompress(pixels.data(), &length, reinterpret_cast<const Bytef*>(stream.data()),
                       stream.size()),
            Z_OK);
  pixels.resize(length);
  EXPECT_EQ(pixels, image.pixels);
  EXPECT_EQ(stream.substr(0, 2), "\x78\x9C");  // zlib's mark of level 6
}

TEST(PdfObjects, AJpegIsTakenAsItIs) {
  EXPECT_EQ(jpeg_image_object(std::string("\xFF\xD8\0\n", 4), 600, 300),
            "<< /Type /XObject /Subtype /Image /Width 600 /Height 300 /ColorSpace /DeviceRGB "
            "/BitsPerComponent 8 /Filter /DCTDecode /Length 4 >>\nstream\n" +
                std::string("\xFF\xD8\0\n", 4) + "\nendstream");
}

TEST(PdfWrite, WritesTheBytesOrSaysThatItCouldNot) {
  const TemporaryFolder folder;
  const std::string bytes("%PDF\0\n", 6);
  EXPECT_TRUE(pdf_write(folder / "a.pdf", bytes));
  std::string written;
  ASSERT_TRUE(read_file(folder / "a.pdf", written));
  EXPECT_EQ(written, bytes);
  EXPECT_FALSE(pdf_write(folder / "no/a.pdf", bytes));
}

}  // namespace
}  // namespace tvn
