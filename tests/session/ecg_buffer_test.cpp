#include "session/ecg_buffer.h"

#include <gtest/gtest.h>

#include <new>
#include <numeric>
#include <vector>

#include "tests/session/scarce_memory.h"

namespace tvn {
namespace {

std::vector<double> counting(std::size_t count, double from = 0.0) {
  std::vector<double> values(count);
  std::iota(values.begin(), values.end(), from);
  return values;
}

std::vector<double> copy(std::span<const double> samples) {
  return {samples.begin(), samples.end()};
}

TEST(EcgBuffer, KeepsWhatIsAppended) {
  EcgBuffer buffer;
  EXPECT_TRUE(buffer.empty());
  buffer.append({});
  EXPECT_TRUE(buffer.empty());
  buffer.append(counting(73));
  buffer.append(counting(73, 73));
  EXPECT_EQ(copy(buffer.samples()), counting(146));
}

TEST(EcgBuffer, BeginsWithASingleSampleAlsoAfterAClear) {
  EcgBuffer buffer;
  for (int round = 0; round < 2; ++round) {
    buffer.append(counting(1, round));
    EXPECT_EQ(copy(buffer.samples()), counting(1, round));
    buffer.clear();
  }
}

TEST(EcgBuffer, ViewsSurviveAppendingClearingAndTheBuffer) {
  EcgView early;
  {
    EcgBuffer buffer(counting(10));
    early = buffer.view(7);
    buffer.append(counting(1000, 10));
    EXPECT_EQ(copy(buffer.samples()), counting(1010));
    buffer.clear();
    EXPECT_EQ(buffer.size(), 0u);
    buffer.append(counting(5, 90));
  }
  EXPECT_EQ(copy(early.samples()), counting(7));
}

TEST(EcgBuffer, ViewsEndWhereTheSamplesEnd) {
  const EcgBuffer buffer(counting(4));
  EXPECT_EQ(buffer.view(0).size(), 0u);
  EXPECT_EQ(buffer.view(100).size(), 4u);
  EXPECT_EQ(EcgBuffer().view(5).size(), 0u);
  EXPECT_TRUE(EcgView().samples().empty());
}

TEST(EcgBuffer, AViewCopiesNothing) {
  const EcgBuffer buffer(counting(4));
  EXPECT_EQ(buffer.view(4).samples().data(), buffer.samples().data());
}

TEST(EcgBuffer, GrowsBeyondADay) {
  EcgBuffer buffer;
  const std::vector<double> hour = counting(3600 * 130);
  for (int i = 0; i < 25; ++i) buffer.append(hour);
  ASSERT_EQ(buffer.size(), hour.size() * 25);
  EXPECT_EQ(copy(buffer.samples().first(hour.size())), hour);
  EXPECT_EQ(copy(buffer.samples().last(hour.size())), hour);
}

// A day's room cannot be had in one piece, nor more than an hour's.
TEST(EcgBuffer, TakesSmallPiecesWhereMemoryIsScarce) {
  const ScarceMemory scarce(4'000'000);
  EcgBuffer buffer;
  std::size_t moves = 0;
  const double* storage = nullptr;
  while (buffer.size() < 400'000) {
    buffer.append(counting(73, static_cast<double>(buffer.size())));
    moves += buffer.samples().data() != storage ? 1 : 0;
    storage = buffer.samples().data();
  }
  EXPECT_LT(moves, 5u);  // not a copy of everything with every frame
  EXPECT_EQ(buffer.samples()[399'999], 399'999.0);
  std::size_t before = 0;
  EXPECT_THROW(
      while (buffer.size() < 1'000'000) {
        before = buffer.size();
        buffer.append(counting(73));
      },
      std::bad_alloc);
  EXPECT_EQ(buffer.size(), before);
}

}  // namespace
}  // namespace tvn
