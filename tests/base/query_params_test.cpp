#include "base/query_params.h"

#include <gtest/gtest.h>

namespace tvn {
namespace {

TEST(QueryParams, ArePresentWhenTheirKeyExists) {
  const QueryParams query = {{"empty", ""}, {"number", "3,5"}, {"word", "abc"}};
  EXPECT_TRUE(has_param(query, "empty"));
  EXPECT_FALSE(has_param(query, "absent"));
  EXPECT_EQ(text_param(query, "empty", "fallback"), "");
  EXPECT_EQ(text_param(query, "absent", "fallback"), "fallback");
  EXPECT_EQ(number_param(query, "number", 1.0), 3.5);
  EXPECT_EQ(number_param(query, "word", 1.0), 1.0);
  EXPECT_EQ(number_param(query, "empty", 1.0), 1.0);
  EXPECT_EQ(number_param(query, "absent", 1.0), 1.0);
}

}  // namespace
}  // namespace tvn
