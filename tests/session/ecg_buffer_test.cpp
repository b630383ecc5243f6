#include "session/ecg_buffer.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

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

}  // namespace
}  // namespace tvn
