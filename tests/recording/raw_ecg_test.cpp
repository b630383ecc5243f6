#include "recording/raw_ecg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace tvn {
namespace {

using Values = std::vector<double>;

TEST(ParseRawEcg, TakesTheFirstCellOfEachLine) {
  EXPECT_EQ(parse_raw_ecg("1\n2\n\n3"), (Values{1, 2, 3}));
  EXPECT_EQ(parse_raw_ecg("5"), Values{5});
  EXPECT_EQ(parse_raw_ecg("12,34\n-7\r\n+8 \r\n1.5e2\n"), (Values{12, -7, 8, 150}));
}

TEST(ParseRawEcg, TakesEveryDigit) {
  EXPECT_EQ(parse_raw_ecg("0\n1\n2\n3\n4\n5\n6\n7\n8\n9\n"),
            (Values{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(ParseRawEcg, TakesNoMoreThanAskedFor) {
  EXPECT_EQ(parse_raw_ecg("1\n2\n3\n", 2), (Values{1, 2}));
  EXPECT_EQ(parse_raw_ecg("1\n2\n3\n", 0), Values{});
}

TEST(ParseRawEcg, SkipsLinesThatAreNoSample) {
  EXPECT_EQ(parse_raw_ecg("ecg\ntime,ecg\n 5\n1;2\n\t3\n-\n.\n+.e\n--5\nnan\n0x10\n4"), Values{4});
  EXPECT_EQ(parse_raw_ecg("1e999\n1e-999\n5"), Values{5});
  EXPECT_EQ(parse_raw_ecg(std::string("1\0002\n3\n", 6)), Values{3});
}

TEST(ParseRawEcg, TakesTheLongestLeadingNumber) {
  EXPECT_EQ(parse_raw_ecg("1-2\n1e\n1.2.3\n"), (Values{1, 1, 1.2}));
}

TEST(ParseRawEcg, ReadsBinaryGarbageWithoutHarm) {
  std::string garbage;
  for (int i = 0; i < 65536; ++i) garbage += static_cast<char>((i * 131 + i / 7) & 0xFF);
  for (const double sample : parse_raw_ecg(garbage)) EXPECT_TRUE(std::isfinite(sample));
}

}  // namespace
}  // namespace tvn
