#include "recording/recording_readers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace tvn {
namespace {

using Values = std::vector<double>;

TEST(LooksLikeKubios, GoesByTheHead) {
  EXPECT_TRUE(looks_like_kubios("sep=,\n1,2\n"));
  EXPECT_TRUE(looks_like_kubios("title\nSEP=;\n"));
  EXPECT_TRUE(looks_like_kubios("# converted with KubiOS\n1\n2\n"));
  EXPECT_TRUE(looks_like_kubios("HRV Analysis Results - today"));
  EXPECT_FALSE(looks_like_kubios("a sep=, b\n1\n"));
  EXPECT_FALSE(looks_like_kubios(""));
  EXPECT_TRUE(looks_like_kubios(std::string(3994, 'x') + "kubios"));
  EXPECT_FALSE(looks_like_kubios(std::string(3995, 'x') + "kubios"));
}

TEST(ParseKubiosRr, TakesTheThirdCellOfDataRows) {
  EXPECT_EQ(parse_kubios_rr("x\nRR INTERVAL DATA,,\n,Time,RR\n,(s),(s)\n"
                            "0, 0.512 , 0.845\r\n1,1.357,0.9\n,,,\n2,3,4\n"),
            (Values{0.845, 0.9}));
}

TEST(ParseKubiosRr, SkipsRowsThatAreNotData) {
  EXPECT_EQ(parse_kubios_rr("RR INTERVAL DATA\n,,\n0.512,0.845,x\n"), Values{});
  EXPECT_EQ(parse_kubios_rr("RR INTERVAL DATA\n,1,2\n0.512,0.845,x\nshort,row\n\n,3,4\n"),
            (Values{2, 4}));
  EXPECT_EQ(parse_kubios_rr("RR INTERVAL DATA\n,1,2 s\n,1,1e999\n,,5\n,1,2e-1,9"), (Values{0.2}));
}

TEST(ParseKubiosRr, LooksForTheDataBeyondEmptyRows) {
  EXPECT_EQ(parse_kubios_rr("RR INTERVAL DATA\n,,\n,Time,RR\n,,,\n,1,2\n"), Values{2});
}

TEST(ParseKubiosRr, NeedsTheHeading) {
  EXPECT_EQ(parse_kubios_rr("rr interval data\n,1,2\n"), Values{});
  EXPECT_EQ(parse_kubios_rr("RR INTERVAL DATA"), Values{});
  EXPECT_EQ(parse_kubios_rr(""), Values{});
}

TEST(ParseRawEcg, TakesTheFirstCellOfEachLine) {
  EXPECT_EQ(parse_raw_ecg("1\n2\n\n3"), (Values{1, 2, 3}));
  EXPECT_EQ(parse_raw_ecg("12,34\n-7\r\n+8 \r\n1.5e2\n"), (Values{12, -7, 8, 150}));
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

TEST(ResampleTo130, InterpolatesBetweenSamples) {
  EXPECT_EQ(resample_to_130(Values(256, 1.0), 256.0).size(), 130u);
  EXPECT_EQ(resample_to_130({0, 1, 4}, 65.0), (Values{0, 0.5, 1, 2.5, 4, 4}));
}

TEST(ResampleTo130, ReproducesAStraightLineAtAnyRate) {
  Values line;
  for (int i = 0; i < 3600; ++i) line.push_back(0.25 * i);
  const Values resampled = resample_to_130(line, 360.0);
  ASSERT_EQ(resampled.size(), 1300u);
  for (std::size_t i = 0; i + 3 < resampled.size(); ++i) {
    ASSERT_NEAR(resampled[i], 0.25 * 360.0 / 130.0 * static_cast<double>(i), 1e-9);
  }
}

TEST(ResampleTo130, LeavesSamplesAloneWhereItCannotOrNeedNot) {
  const Values samples = {1, 2, 3};
  for (const double rate : {0.0, -5.0, 130.4, 129.6, 130.0, 1e9, 1e-300, 2.5e-6, std::nan("")}) {
    EXPECT_EQ(resample_to_130(samples, rate), samples) << rate;
  }
  EXPECT_EQ(resample_to_130({7}, 65.0), Values{7});
  EXPECT_EQ(resample_to_130({}, 65.0), Values{});
}

}  // namespace
}  // namespace tvn
