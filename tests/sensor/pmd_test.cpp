#include "sensor/pmd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace tvn {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Bytes = std::vector<std::uint8_t>;

// A frame's ten leading bytes with the strap's clock filled with something, then `samples`.
Bytes frame_with(const Bytes& samples, std::uint8_t measurement = 0, std::uint8_t frame_type = 0) {
  constexpr std::uint8_t k_clock_byte = 0x52;
  Bytes frame(10 + samples.size(), k_clock_byte);
  frame[0] = measurement;
  frame[9] = frame_type;
  std::copy(samples.begin(), samples.end(), frame.begin() + 10);
  return frame;
}

// Expected bytes: the maker's published document of the protocol.
TEST(Pmd, CommandsAreTheSpecifiedBytes) {
  EXPECT_THAT(k_request_ecg_settings, ElementsAre(0x01, 0x00));
  EXPECT_THAT(k_start_ecg, ElementsAre(0x02, 0, 0, 1, 0x82, 0, 1, 1, 0x0E, 0));
  EXPECT_THAT(k_stop_ecg, ElementsAre(0x03, 0x00));
}

TEST(Pmd, SamplesAreSigned24BitLittleEndian) {
  EXPECT_THAT(decode_ecg_frame(frame_with({0x01, 0x00, 0x00})), ElementsAre(1.0));
  EXPECT_THAT(decode_ecg_frame(frame_with({0xFF, 0xFF, 0xFF})), ElementsAre(-1.0));
  EXPECT_THAT(decode_ecg_frame(frame_with({0x00, 0x00, 0x80})), ElementsAre(-8388608.0));
  EXPECT_THAT(decode_ecg_frame(frame_with({0xFF, 0xFF, 0x7F})), ElementsAre(8388607.0));
  EXPECT_THAT(decode_ecg_frame(frame_with({0x34, 0x12, 0x00, 0xCC, 0xED, 0xFF})),
              ElementsAre(0x1234, -0x1234));
}

TEST(Pmd, AFullFrameKeepsItsOrder) {
  Bytes samples;
  std::vector<double> expected;
  for (int i = 0; i < 73; ++i) {
    samples.insert(samples.end(), {static_cast<std::uint8_t>(i), 0x01, 0x00});
    expected.push_back(256.0 + i);
  }
  const Bytes frame = frame_with(samples);
  EXPECT_EQ(frame.size(), 229u);
  EXPECT_EQ(decode_ecg_frame(frame), expected);
}

TEST(Pmd, OnlyWholeSamplesCount) {
  EXPECT_THAT(decode_ecg_frame({}), IsEmpty());
  for (std::size_t length = 0; length < 13; ++length) {
    EXPECT_THAT(decode_ecg_frame(Bytes(length, 0)), IsEmpty()) << length;
  }
  EXPECT_THAT(decode_ecg_frame(Bytes(14, 0)), ElementsAre(0.0));
  EXPECT_THAT(decode_ecg_frame(Bytes(15, 0)), ElementsAre(0.0));
  EXPECT_THAT(decode_ecg_frame(Bytes(16, 0)), ElementsAre(0.0, 0.0));
}

TEST(Pmd, OtherMeasurementsAndCompressedFramesAreIgnored) {
  EXPECT_THAT(decode_ecg_frame(frame_with({1, 0, 0}, 0x02, 0x00)), IsEmpty());  // acceleration
  EXPECT_THAT(decode_ecg_frame(frame_with({1, 0, 0}, 0x00, 0x80)), IsEmpty());  // compressed
  EXPECT_THAT(decode_ecg_frame(frame_with({1, 0, 0}, 0x00, 0x01)), IsEmpty());
}

TEST(Pmd, CharacteristicsAreKnownInAnyFormAndCase) {
  EXPECT_EQ(strap_role("FB005C82-02E7-F387-1CAD-8ACD2D8DF0C8"), StrapRole::data);
  EXPECT_EQ(strap_role("fb005c82-02e7-f387-1cad-8acd2d8df0c8"), StrapRole::data);
  EXPECT_EQ(strap_role("fb005c81-02e7-f387-1cad-8acd2d8df0c8"), StrapRole::control_point);
  EXPECT_EQ(strap_role("2A37"), StrapRole::heart_rate);
  EXPECT_EQ(strap_role("00002a37-0000-1000-8000-00805f9b34fb"), StrapRole::heart_rate);
  EXPECT_EQ(strap_role("00002a38-0000-1000-8000-00805f9b34fb"), StrapRole::none);
  EXPECT_EQ(strap_role("FB005C80-02E7-F387-1CAD-8ACD2D8DF0C8"), StrapRole::none);
  EXPECT_EQ(strap_role(""), StrapRole::none);
}

}  // namespace
}  // namespace tvn
