// The embedded files are part of the program's outside: each has a fixed size and a fixed form,
// which the page, the report and whoever opens the sample recordings rely on. The checks read the
// files as the format definitions lay them out (PNG: ISO/IEC 15948; RIFF/WAVE: Microsoft and IBM,
// 1991; JPEG: ITU-T T.81 with JFIF 1.02), not with the program's own code.

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <numeric>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tvn {
namespace {

std::string read_asset(const std::string& name) {
  std::ifstream file(std::string(TVN_SOURCE_DIR "/assets/") + name, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << name;
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// 0 past the end, so that a file cut short fails a comparison instead of reading outside.
std::uint32_t byte_at(std::string_view bytes, std::size_t at) {
  return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0U;
}

std::uint32_t big_endian(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < count; ++i) value = (value << 8) | byte_at(bytes, at + i);
  return value;
}

std::uint32_t little_endian(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint32_t value = 0;
  for (std::size_t i = count; i > 0; --i) value = (value << 8) | byte_at(bytes, at + i - 1);
  return value;
}

// A part of the bytes, shorter or empty where they end early.
std::string_view part(std::string_view bytes, std::size_t at, std::size_t count) {
  return at < bytes.size() ? bytes.substr(at, count) : std::string_view();
}

struct Chunk {
  std::string_view name;
  std::string_view content;
};

// PNG: length (big-endian), name, content, CRC-32 of name and content.
std::vector<Chunk> png_chunks(std::string_view png) {
  std::vector<Chunk> chunks;
  std::size_t at = 8;
  while (at < png.size()) {
    const std::size_t length = big_endian(png, at, 4);
    const std::string_view named = part(png, at + 4, 4 + length);
    if (named.size() != 4 + length || at + 12 + length > png.size()) {
      ADD_FAILURE() << "PNG chunk cut short at offset " << at;
      break;
    }
    const auto crc =
        crc32(0, reinterpret_cast<const Bytef*>(named.data()), static_cast<uInt>(named.size()));
    EXPECT_EQ(crc, big_endian(png, at + 8 + length, 4)) << "at offset " << at;
    chunks.push_back({named.substr(0, 4), named.substr(4)});
    at += 12 + length;
  }
  return chunks;
}

// RIFF: name, length (little-endian), content, one zero byte after an odd length.
std::vector<Chunk> riff_chunks(std::string_view bytes) {
  std::vector<Chunk> chunks;
  std::size_t at = 0;
  while (at < bytes.size()) {
    const std::size_t length = little_endian(bytes, at + 4, 4);
    const std::size_t padded = length + length % 2;
    if (at + 8 + padded > bytes.size()) {
      ADD_FAILURE() << "RIFF chunk cut short at offset " << at;
      break;
    }
    chunks.push_back({part(bytes, at, 4), part(bytes, at + 8, length)});
    at += 8 + padded;
  }
  return chunks;
}

std::string_view content_of(const std::vector<Chunk>& chunks, std::string_view name) {
  const auto found = std::find_if(chunks.begin(), chunks.end(),
                                  [name](const Chunk& chunk) { return chunk.name == name; });
  EXPECT_NE(found, chunks.end()) << name;
  return found == chunks.end() ? std::string_view() : found->content;
}

std::vector<std::int16_t> pcm_samples(std::string_view data) {
  std::vector<std::int16_t> samples;
  for (std::size_t at = 0; at + 1 < data.size(); at += 2) {
    samples.push_back(static_cast<std::int16_t>(little_endian(data, at, 2)));
  }
  return samples;
}

struct JpegSegment {
  std::uint32_t marker;
  std::string_view content;
};

// The segments from SOI up to and including SOS; the coded picture follows the last of them.
std::vector<JpegSegment> jpeg_segments(std::string_view jpeg) {
  std::vector<JpegSegment> segments;
  std::size_t at = 2;
  while (at + 4 <= jpeg.size() && byte_at(jpeg, at) == 0xFF) {
    const std::uint32_t marker = byte_at(jpeg, at + 1);
    const std::size_t length = big_endian(jpeg, at + 2, 2);
    if (length < 2) break;
    segments.push_back({marker, part(jpeg, at + 4, length - 2)});
    at += 2 + length;
    if (marker == 0xDA) return segments;
  }
  ADD_FAILURE() << "no start of scan; stopped at offset " << at;
  return segments;
}

std::vector<std::string_view> lines_of(std::string_view text) {
  std::vector<std::string_view> lines;
  std::size_t start = 0;
  for (std::size_t end = text.find('\n'); end != std::string_view::npos;
       end = text.find('\n', start)) {
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  lines.push_back(text.substr(start));
  return lines;
}

struct SampleFile {
  const char* name;
  std::size_t size;
};

void PrintTo(const SampleFile& file, std::ostream* out) {
  *out << file.name;
}

class SampleTest : public testing::TestWithParam<SampleFile> {
 protected:
  // The values of the file; a line that is no plain integer is a failure.
  static std::vector<int> values(std::string_view text) {
    std::vector<int> result;
    for (const std::string_view line : lines_of(text)) {
      int value = 0;
      const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), value);
      // Written back it must be the same text: no sign, zero or blank that means nothing.
      const bool plain =
          error == std::errc() && end == line.data() + line.size() && std::to_string(value) == line;
      if (!plain) {
        ADD_FAILURE() << "line " << result.size() + 1 << " is \"" << line << "\"";
        break;
      }
      result.push_back(value);
    }
    return result;
  }
};

// Counts the R waves as a person would: an excursion above the level, over once the trace is back
// at zero.
std::size_t excursions_above(const std::vector<int>& values, int level) {
  std::size_t count = 0;
  bool above = false;
  for (const int value : values) {
    if (!above && value > level) ++count;
    above = value > level || (above && value > 0);
  }
  return count;
}

constexpr std::uint32_t k_ball_width = 378;
constexpr std::uint32_t k_ball_height = 415;

TEST(BallTest, IsAnRgbaPngOfTheTabledSize) {
  const std::string png = read_asset("ball.png");
  EXPECT_EQ(png.size(), 166420U);
  ASSERT_EQ(part(png, 0, 8), "\x89PNG\r\n\x1a\n");
  const std::vector<Chunk> chunks = png_chunks(png);
  ASSERT_GE(chunks.size(), 3U);
  EXPECT_EQ(chunks.back().name, "IEND");
  EXPECT_TRUE(chunks.back().content.empty());

  ASSERT_EQ(chunks.front().name, "IHDR");
  const std::string_view header = chunks.front().content;
  ASSERT_EQ(header.size(), 13U);
  EXPECT_EQ(big_endian(header, 0, 4), k_ball_width);
  EXPECT_EQ(big_endian(header, 4, 4), k_ball_height);
  EXPECT_EQ(byte_at(header, 8), 8U) << "bits per channel";
  EXPECT_EQ(byte_at(header, 9), 6U) << "colour type RGBA";
  EXPECT_EQ(big_endian(header, 10, 3), 0U) << "deflate, adaptive filters, not interlaced";
}

TEST(BallTest, InflatesToExactlyItsRows) {
  const std::string png = read_asset("ball.png");
  std::string coded;
  for (const Chunk& chunk : png_chunks(png)) {
    if (chunk.name == "IDAT") coded += chunk.content;
  }
  constexpr std::size_t row = 1 + 4 * k_ball_width;
  std::vector<Bytef> rows(row * k_ball_height + 1);  // one more, to notice a longer picture
  auto length = static_cast<uLongf>(rows.size());
  ASSERT_EQ(uncompress(rows.data(), &length, reinterpret_cast<const Bytef*>(coded.data()),
                       static_cast<uLong>(coded.size())),
            Z_OK);
  ASSERT_EQ(length, row * k_ball_height);
  for (std::size_t y = 0; y < k_ball_height; ++y) EXPECT_LE(rows[y * row], 4) << "filter " << y;
}

TEST(PianoTest, IsAWaveFileOfTheTabledSizeAndForm) {
  const std::string wave = read_asset("piano.wav");
  EXPECT_EQ(wave.size(), 53252U);
  ASSERT_EQ(part(wave, 0, 4), "RIFF");
  EXPECT_EQ(little_endian(wave, 4, 4), wave.size() - 8);
  ASSERT_EQ(part(wave, 8, 4), "WAVE");
  const std::vector<Chunk> chunks = riff_chunks(part(wave, 12, wave.size()));

  const std::string_view format = content_of(chunks, "fmt ");
  ASSERT_EQ(format.size(), 16U);
  EXPECT_EQ(little_endian(format, 0, 2), 1U) << "PCM";
  EXPECT_EQ(little_endian(format, 2, 2), 2U) << "channels";
  EXPECT_EQ(little_endian(format, 4, 4), 44100U) << "frames per second";
  EXPECT_EQ(little_endian(format, 8, 4), 176400U) << "bytes per second";
  EXPECT_EQ(little_endian(format, 12, 2), 4U) << "bytes per frame";
  EXPECT_EQ(little_endian(format, 14, 2), 16U) << "bits per sample";
  EXPECT_EQ(content_of(chunks, "data").size(), 53016U);

  const std::string_view info = content_of(chunks, "LIST");
  ASSERT_EQ(part(info, 0, 4), "INFO");
  EXPECT_FALSE(content_of(riff_chunks(part(info, 4, info.size())), "INAM").empty());
}

TEST(PianoTest, StartsAndEndsInSilenceAndDoesNotClip) {
  const std::string wave = read_asset("piano.wav");
  const std::vector<Chunk> chunks = riff_chunks(part(wave, 12, wave.size()));
  const std::vector<std::int16_t> samples = pcm_samples(content_of(chunks, "data"));
  ASSERT_EQ(samples.size(), 26508U);
  int peak = 0;
  for (const int sample : samples) peak = std::max(peak, std::abs(sample));
  EXPECT_GT(peak, 13000) << "about -6 dB of full scale is 16,400";
  EXPECT_LT(peak, 20000);
  for (std::size_t channel = 0; channel < 2; ++channel) {
    EXPECT_EQ(samples[channel], 0);
    EXPECT_EQ(samples[samples.size() - 2 + channel], 0);
  }
  const long sum = std::accumulate(samples.begin(), samples.end(), 0L);
  EXPECT_LT(std::labs(sum), static_cast<long>(samples.size())) << "mean below one step";
}

TEST(ReportLogoTest, IsABaselineJfifOfTheTabledSize) {
  const std::string jpeg = read_asset("report_logo.jpg");
  EXPECT_EQ(jpeg.size(), 39598U);
  ASSERT_EQ(big_endian(jpeg, 0, 2), 0xFFD8U) << "start of image";
  const std::vector<JpegSegment> segments = jpeg_segments(jpeg);
  ASSERT_FALSE(segments.empty());
  EXPECT_EQ(segments.front().marker, 0xE0U) << "APP0 first";
  EXPECT_EQ(part(segments.front().content, 0, 5), std::string_view("JFIF\0", 5));

  std::map<std::uint32_t, int> count;
  for (const JpegSegment& segment : segments) ++count[segment.marker];
  EXPECT_EQ(count[0xC0], 1) << "one baseline frame";
  count.erase(0xC4);  // Huffman tables share the range of the frame markers
  for (std::uint32_t marker = 0xC1; marker <= 0xCF; ++marker) {
    EXPECT_EQ(count[marker], 0) << "no other kind of frame";
  }
  for (const JpegSegment& segment : segments) {
    if (segment.marker != 0xC0) continue;
    ASSERT_EQ(segment.content.size(), 15U);
    EXPECT_EQ(byte_at(segment.content, 0), 8U) << "bits per component";
    EXPECT_EQ(big_endian(segment.content, 1, 2), 175U) << "height";
    EXPECT_EQ(big_endian(segment.content, 3, 2), 700U) << "width";
    EXPECT_EQ(byte_at(segment.content, 5), 3U) << "components";
  }
}

TEST(ReportLogoTest, ItsOneScanRunsToTheEndOfTheFile) {
  const std::string jpeg = read_asset("report_logo.jpg");
  const std::vector<JpegSegment> segments = jpeg_segments(jpeg);
  ASSERT_FALSE(segments.empty());
  const char* scan = segments.back().content.data() + segments.back().content.size();
  const auto start = static_cast<std::size_t>(scan - jpeg.data());
  ASSERT_GT(jpeg.size(), start + 1000);
  // Inside the coded data every 0xFF is followed by a zero byte, until the end of image.
  std::size_t at = start;
  while (at + 1 < jpeg.size() && (byte_at(jpeg, at) != 0xFF || byte_at(jpeg, at + 1) == 0)) ++at;
  EXPECT_EQ(at, jpeg.size() - 2);
  EXPECT_EQ(big_endian(jpeg, at, 2), 0xFFD9U) << "end of image";
}

TEST_P(SampleTest, HasTheTabledSizeAndForm) {
  const std::string text = read_asset(GetParam().name);
  EXPECT_EQ(text.size(), GetParam().size);
  ASSERT_FALSE(text.empty());
  EXPECT_NE(text.back(), '\n');
  EXPECT_EQ(values(text).size(), 33434U);
}

// About 257 s at a resting heart rate; R waves stand well clear of everything else.
TEST_P(SampleTest, LooksLikeAnElectrocardiogram) {
  const std::vector<int> samples = values(read_asset(GetParam().name));
  ASSERT_FALSE(samples.empty());
  const auto [lowest, highest] = std::minmax_element(samples.begin(), samples.end());
  EXPECT_GE(*lowest, -540);
  EXPECT_LT(*lowest, -200) << "S waves";
  EXPECT_LE(*highest, 760);
  EXPECT_GT(*highest, 600) << "R waves";
  const std::size_t beats = excursions_above(samples, 350);
  EXPECT_GE(beats, 257U);
  EXPECT_LE(beats, 257U * 90 / 60);
}

INSTANTIATE_TEST_SUITE_P(Both, SampleTest,
                         testing::Values(SampleFile{"Sample 1.txt", 123590},
                                         SampleFile{"Sample 2.txt", 118453}),
                         [](const auto& tested) {
                           return "Sample" + std::to_string(tested.index + 1);
                         });

}  // namespace
}  // namespace tvn
