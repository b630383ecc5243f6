#include "session/run_params.h"

#include <cmath>
#include <limits>

#include "tests/session/session_fixture.h"

namespace tvn {
namespace {

class RunParamsTest : public SessionTest {
 protected:
  void apply(const QueryParams& query) {
    const SessionLock hold(engine_.lock);
    apply_params(engine_, query);
  }
};

TEST_F(RunParamsTest, TakeWhatIsGiven) {
  apply({{"name", "Ann B"},
         {"indur", "1,95"},
         {"outdur", " 8"},
         {"sex", "female"},
         {"age", "33.9"},
         {"fs", "360"}});
  EXPECT_EQ(get(&Engine::name_id), "Ann B");
  EXPECT_EQ(get(&Engine::indur), 1.95);
  EXPECT_EQ(get(&Engine::outdur), 8.0);
  EXPECT_EQ(get(&Engine::cycle_seconds), 9.95);
  EXPECT_EQ(get(&Engine::sex), "F");
  EXPECT_EQ(get(&Engine::age), 33);
  EXPECT_EQ(get(&Engine::sample_rate), 360.0);
}

TEST_F(RunParamsTest, FallBackAtEveryStartButForTheRate) {
  apply(
      {{"name", "x"}, {"indur", "2"}, {"outdur", "3"}, {"sex", "f"}, {"age", "7"}, {"fs", "250"}});
  apply({});
  EXPECT_EQ(get(&Engine::name_id), "");
  EXPECT_EQ(get(&Engine::indur), 5.0);
  EXPECT_EQ(get(&Engine::outdur), 11.0);
  EXPECT_EQ(get(&Engine::cycle_seconds), 16.0);
  EXPECT_EQ(get(&Engine::sex), "M");
  EXPECT_EQ(get(&Engine::age), 40);
  EXPECT_EQ(get(&Engine::sample_rate), 250.0);
  for (const char* rate : {"10", "20001", "-130", "1e99"}) {
    apply({{"fs", rate}});
    EXPECT_EQ(get(&Engine::sample_rate), 250.0) << rate;
  }
  apply({{"fs", "nan"}});  // present but no number: the default
  EXPECT_EQ(get(&Engine::sample_rate), 130.0);
  apply({{"fs", "20"}});
  EXPECT_EQ(get(&Engine::sample_rate), 20.0);
}

TEST_F(RunParamsTest, KeepDurationsPositive) {
  apply({{"indur", "0"}, {"outdur", "-5"}});
  EXPECT_EQ(get(&Engine::indur), 0.05);
  EXPECT_EQ(get(&Engine::outdur), 0.05);
  EXPECT_EQ(get(&Engine::cycle_seconds), 0.1);
}

TEST_F(RunParamsTest, BringWildNumbersIntoRange) {
  apply({{"age", "1e99"}, {"indur", "inf"}, {"outdur", "1e308"}});
  EXPECT_EQ(get(&Engine::age), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(get(&Engine::indur), 5.0);
  EXPECT_EQ(get(&Engine::outdur), 1e308);
  apply({{"age", "-1e99"}, {"sex", "xF"}});
  EXPECT_EQ(get(&Engine::age), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(get(&Engine::sex), "M");
}

}  // namespace
}  // namespace tvn
