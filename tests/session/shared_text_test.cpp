#include "session/shared_text.h"

#include <gtest/gtest.h>

namespace tvn {
namespace {

TEST(SharedText, IsEmptyWithoutAText) {
  EXPECT_EQ(SharedText().get(), "");
}

TEST(SharedText, ACopyKeepsItsTextWhenTheFirstGetsAnother) {
  SharedText shown("[{\"x\":0,\"y\":61}]");
  const SharedText copy = shown;
  EXPECT_EQ(&copy.get(), &shown.get());  // one text, not two
  shown = SharedText("[]");
  EXPECT_EQ(copy.get(), "[{\"x\":0,\"y\":61}]");
  shown = {};
  EXPECT_EQ(shown.get(), "");
  EXPECT_EQ(copy.get(), "[{\"x\":0,\"y\":61}]");
}

}  // namespace
}  // namespace tvn
