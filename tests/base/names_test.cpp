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

TEST(FitBaseName, LeavesRoomForWhatComesWithIt) {
  EXPECT_EQ(fit_base_name("anna", 20), "anna");
  EXPECT_EQ(fit_base_name(std::string(300, 'n'), 0), std::string(255, 'n'));
  EXPECT_EQ(fit_base_name(std::string(255, 'n'), 5), std::string(250, 'n'));
  EXPECT_EQ(fit_base_name("anna", 255), "");
  EXPECT_EQ(fit_base_name("anna", 300), "");
}

TEST(FitBaseName, EndsWithAWholeCharacter) {
  // UTF-8: two bytes for u with dots, three for the euro, four for a face.
  EXPECT_EQ(fit_base_name("a\xc3\xbc", 253), "a");
  EXPECT_EQ(fit_base_name("a\xc3\xbc", 252), "a\xc3\xbc");
  EXPECT_EQ(fit_base_name("\xe2\x82\xac\xe2\x82\xac", 250), "\xe2\x82\xac");
  EXPECT_EQ(fit_base_name("\xf0\x9f\x98\x80", 252), "");
  EXPECT_EQ(fit_base_name(std::string(300, '\x80'), 0), "");  // no character at all
}

TEST(FitFileName, LeavesWhatFits) {
  EXPECT_EQ(fit_file_name("a.txt"), "a.txt");
  EXPECT_EQ(fit_file_name(std::string(255, 'n')), std::string(255, 'n'));
  EXPECT_EQ(fit_file_name(""), "");
}

// The numbers are FNV-1a's, computed by its definition in Python.
TEST(FitFileName, CutsBeforeTheExtensionAndTellsLongNamesApart) {
  const std::string one = std::string(260, 'n') + "1";
  const std::string two = std::string(260, 'n') + "2";
  EXPECT_EQ(fit_file_name(one), std::string(235, 'n') + "~4415667204410817932");
  EXPECT_EQ(fit_file_name(two + ".txt"), std::string(231, 'n') + "~4415670502945702565.txt");
  EXPECT_NE(fit_file_name(one + ".txt"), fit_file_name(two + ".txt"));
  for (const std::string& extension : {std::string(".txt"), std::string(300, '.'), "." + one}) {
    EXPECT_LE(fit_file_name(one + extension).size(), 255u);
    EXPECT_NE(fit_file_name(one + extension), fit_file_name(two + extension));
  }
  EXPECT_TRUE(fit_file_name("." + one).starts_with(".nnn"));
  const std::string longest = "." + std::string(31, 'e');
  EXPECT_TRUE(fit_file_name(one + longest).ends_with(longest));
  EXPECT_FALSE(fit_file_name(one + longest + "e").ends_with("e"));
}

TEST(FitFileName, EndsWithAWholeCharacter) {
  std::string dots;  // 2 bytes each
  for (int i = 0; i < 200; ++i) dots += "\xc3\xa4";
  const std::string name = fit_file_name(dots + ".txt");
  const std::string cut = name.substr(0, name.find('~'));
  EXPECT_TRUE(dots.starts_with(cut) && cut.size() % 2 == 0 && cut.size() > 220) << name;
}

}  // namespace
}  // namespace tvn
