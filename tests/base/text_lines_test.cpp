#include "base/text_lines.h"

#include <gtest/gtest.h>

#include <vector>

namespace tvn {
namespace {

std::vector<std::string_view> lines_of(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) lines.push_back(take_line(text));
  return lines;
}

TEST(TakeLine, EndsAtLineFeedsAlone) {
  EXPECT_EQ(lines_of("a\n\nb\r\nc"), (std::vector<std::string_view>{"a", "", "b\r", "c"}));
  EXPECT_EQ(lines_of("a\n"), (std::vector<std::string_view>{"a"}));
  EXPECT_EQ(lines_of("\n"), (std::vector<std::string_view>{""}));
  std::string_view nothing;
  EXPECT_EQ(take_line(nothing), "");
}

TEST(LowerCase, ChangesLettersOfAsciiAlone) {
  EXPECT_EQ(lower_case("AZaz@[09"), "azaz@[09");
  EXPECT_EQ(lower_case("\xC3\x84\xC9"), "\xC3\x84\xC9");
  EXPECT_EQ(lower_case(""), "");
}

}  // namespace
}  // namespace tvn
