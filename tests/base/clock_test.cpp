#include "base/clock.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

namespace tvn {
namespace {

TEST(LocalTimeText, FormatsInTheLocalZone) {
  setenv("TZ", "UTC-2", 1);  // two hours ahead of UTC
  tzset();
  EXPECT_EQ(local_time_text(0, "%Y%m%d-%H%M%S"), "19700101-020000");
  EXPECT_EQ(local_time_text(86400, "%d.%m.%y"), "02.01.70");
  unsetenv("TZ");
  tzset();
}

TEST(MonotonicSeconds, NeverGoesBack) {
  double last = monotonic_seconds();
  for (int i = 0; i < 1000; ++i) {
    const double now = monotonic_seconds();
    ASSERT_GE(now, last);
    last = now;
  }
}

}  // namespace
}  // namespace tvn
