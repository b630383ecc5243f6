#include "base/names.h"

#include <gtest/gtest.h>

namespace tvn {
namespace {

TEST(SanitiseName, KeepsLettersDigitsDashPointAndUnderscore) {
  EXPECT_EQ(sanitise_name("Anna-7.b_c"), "Anna-7.b_c");
  EXPECT_EQ(sanitise_name("My test"), "My_test");
  EXPECT_EQ(sanitise_name("a/b\\c:d"), "a_b_c_d");
  EXPECT_EQ(sanitise_name("Jos\xc3\xa9 B"), "Jos___B");  // two bytes of one letter, one blank
}

TEST(SanitiseName, TrimsUnderscoresAndNamesWhatIsEmpty) {
  EXPECT_EQ(sanitise_name("__x__"), "x");
  EXPECT_EQ(sanitise_name(" (x) "), "x");
  EXPECT_EQ(sanitise_name(""), "recording");
  EXPECT_EQ(sanitise_name("   "), "recording");
  EXPECT_EQ(sanitise_name("\xc3\xa9\xc3\xa4"), "recording");
}

TEST(FileNameOf, TakesThePartAfterTheLastSlash) {
  EXPECT_EQ(file_name_of("/a/b/c.txt"), "c.txt");
  EXPECT_EQ(file_name_of("c.txt"), "c.txt");
  EXPECT_EQ(file_name_of("/a/"), "");
}

}  // namespace
}  // namespace tvn
