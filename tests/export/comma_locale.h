// A locale with a decimal comma and grouped thousands, for as long as the object lives: in the C
// library, whose locale the test command makes, and in C++ streams.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <locale>
#include <string>

namespace tvn {

class CommaLocale {
 public:
  CommaLocale() : streams_(std::locale::global(std::locale(std::locale::classic(), new Comma))) {
    EXPECT_NE(setlocale(LC_ALL, "de_DE.UTF-8"), nullptr) << "run the tests through ./test";
    EXPECT_STREQ(localeconv()->decimal_point, ",");
  }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;
  ~CommaLocale() {
    std::locale::global(streams_);
    setlocale(LC_ALL, "C");
  }

 private:
  struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  std::locale streams_;  // as they were
};

}  // namespace tvn
