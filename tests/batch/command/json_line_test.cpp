#include "batch/command/json_line.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <limits>

namespace tvn {
namespace {

// Expected texts from RFC 8259, section 7.
TEST(JsonLine, EscapesWhatAStringMayNotHold) {
  EXPECT_EQ(json_string("a \"b\" \\ \n\t\x01\x7f"),
            "\"a \\\"b\\\" \\\\ \\u000a\\u0009\\u0001\\u007f\"");
  EXPECT_EQ(json_string("J\xc3\xbcrgen \xf0\x9f\x92\x93"), "\"J\xc3\xbcrgen \xf0\x9f\x92\x93\"");
  EXPECT_EQ(json_string(""), "\"\"");
}

// The first and the last character of every length, and those beside the surrogates; then what lies
// just outside (RFC 3629, section 4).
TEST(JsonLine, KnowsWhichBytesAreUtf8) {
  for (const std::string whole :
       {"\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80", "\xef\xbf\xbf",
        "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_EQ(json_string(whole), "\"" + whole + "\"");
  }
  for (const std::string broken :
       {"\x80", "\xbf", "\xc1\xbf", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xed\xbf\xbf",
        "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xdf\xc0", "\xe1\x80",
        "\xf1\x80\x80\x7f"}) {
    EXPECT_TRUE(json_string(broken).starts_with("\"\\udc")) << json_string(broken);
  }
}

// Four digits in lower case, as Python's json.dumps writes them: 00 to 1f, and a byte as U+DC00 +
// it.
TEST(JsonLine, EscapesHaveEveryDigit) {
  for (int byte = 0; byte < 256; byte = byte == 0x1f ? 0x80 : byte + 1) {
    std::array<char, 16> wanted;
    std::snprintf(wanted.data(), wanted.size(), "\"\\u%04x\"", byte < 0x80 ? byte : 0xdc00 + byte);
    EXPECT_EQ(json_string(std::string(1, static_cast<char>(byte))), wanted.data());
  }
}

// As Python's os.fsencode(json.loads(...)) has it. The third is an overlong "/", the fourth a
// surrogate, the last a character that breaks off (RFC 3629).
TEST(JsonLine, BytesThatAreNoUtf8ComeBack) {
  EXPECT_EQ(json_string("caf\xe9"), "\"caf\\udce9\"");
  for (const std::string bytes : {"caf\xe9", "\xff\xfe", "\xc0\xaf", "\xed\xa0\x80",
                                  "x\xf0\x9f\x92", "\xf4\x90\x80\x80", "a\"\\\n/\x01"}) {
    const auto object = read_json_object("{\"f\":" + json_string(bytes) + "}");
    ASSERT_TRUE(object);
    EXPECT_EQ(text_member(*object, "f"), bytes);
  }
}

TEST(JsonLine, ReadsWhatOthersWrite) {
  const auto object = read_json_object(
      " { \"a\" : \"\\u00fc\\/\\ud83d\\udc93\\b\" , \"b\":[1, null,\"x\"], \"c\":-1.5e2, "
      "\"d\":true,\"e\":[] } ");
  ASSERT_TRUE(object);
  EXPECT_EQ(text_member(*object, "a"), "\xc3\xbc/\xf0\x9f\x92\x93\b");
  ASSERT_EQ(object->at("b").items.size(), 3u);
  EXPECT_EQ(object->at("b").items[1].text, "null");
  EXPECT_EQ(object->at("b").items[2].kind, JsonValue::Kind::text);
  EXPECT_EQ(number_member(*object, "c"), -150);
  EXPECT_EQ(object->at("d").text, "true");
  EXPECT_TRUE(object->at("e").items.empty());
  EXPECT_FALSE(text_member(*object, "c"));
  EXPECT_FALSE(number_member(*object, "a"));
  EXPECT_FALSE(number_member(*object, "none"));
}

// Two halves of a surrogate pair at their bounds: U+10000 and U+10FFFF (RFC 8259).
TEST(JsonLine, ReadsTheFirstAndTheLastSurrogatePair) {
  const auto object = read_json_object(R"({"a":"\ud800\udc00\udbff\udfff"})");
  ASSERT_TRUE(object);
  EXPECT_EQ(text_member(*object, "a"), "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf");
  EXPECT_FALSE(read_json_object(R"({"a":"\ud800\udbff"})"));
  EXPECT_FALSE(read_json_object(R"({"a":"\ud800\ue000"})"));
  EXPECT_FALSE(read_json_object(R"({"a":"\udc00\udc00"})"));
}

TEST(JsonLine, RefusesWhatIsNoObjectOrCutOff) {
  const std::string whole = R"({"a":"b\u00e9","c":[1,"d"],"e":2})";
  ASSERT_TRUE(read_json_object(whole));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(read_json_object(whole.substr(0, length))) << length;
  }
  for (const char* text :
       {"[]", "{} x", "{\"a\":nope}", "{\"a\":1,}", "{\"a\" 1}", "{a:1}", R"({"a":"\x"})",
        R"({"a":"\ud83d"})", R"({"a":"\udc00"})", R"({"a":[[1]]})", "{\"a\":1 2}"}) {
    EXPECT_FALSE(read_json_object(text)) << text;
  }
}

TEST(JsonLine, NumbersReadBackExactly) {
  EXPECT_EQ(json_exact(0.1), "0.1");
  EXPECT_EQ(json_exact(360), "360");
  EXPECT_EQ(json_exact(std::numeric_limits<double>::infinity()), "null");
}

}  // namespace
}  // namespace tvn
