#include "recording/rr_export.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace tvn
