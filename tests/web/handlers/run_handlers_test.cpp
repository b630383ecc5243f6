#include "web/handlers/run_handlers.h"

#include "tests/web/handlers/site_fixture.h"

namespace tvn {
namespace {

using RunHandlersTest = SiteTest;

TEST_F(RunHandlersTest, RefuseAMissingAddressOrFile) {
  EXPECT_EQ(ask("/start_live").bytes, json_reply(R"({"error":"no address"})", 400).bytes);
  EXPECT_EQ(ask("/start_live?address=").bytes, ask("/start_live").bytes);
  const Reply not_found = json_reply(R"({"error":"file not found"})", 404);
  for (const char* target : {"/start_replay", "/start_replay?file=none.txt",
                             "/start_replay?dir=saved&file=", "/start_replay?file=.."}) {
    EXPECT_EQ(ask(target).bytes, not_found.bytes) << target;
  }
}

// What a driver finds, or why it found nothing, is told in its order.
class ScanningSensor : public SensorDriver {
 public:
  bool available() override { return true; }
  ScanResult scan() override { return result; }
  void start(const std::string&, SamplesCallback, StatusCallback) override {}
  void stop() override {}
  ScanResult result;
};

TEST_F(RunHandlersTest, TellWhatAScanFound) {
  ScanningSensor sensor;
  engine_.sensor = &sensor;
  EXPECT_EQ(body("/bt_available"), R"({"available":true})");
  EXPECT_EQ(body("/scan"), R"({"success":true,"devices":[]})");
  sensor.result.devices = {{"B2", "Polar \"H10\""}, {"A1", "Watch"}};
  EXPECT_EQ(body("/scan"), R"({"success":true,"devices":[{"name":"Polar \"H10\"","address":"B2"},)"
                           R"({"name":"Watch","address":"A1"}]})");
  sensor.result.error = "Bluetooth is off.";
  EXPECT_EQ(body("/scan"), R"({"success":false,"reason":"Bluetooth is off."})");
  engine_.sensor = nullptr;
}

TEST_F(RunHandlersTest, AFailedReplayLeavesTheCurrentRunAlone) {
  write_saved("a.csv", flat_ecg(5000));
  EXPECT_EQ(body("/start_replay?dir=saved&file=a.csv&speed=0"), R"({"ok":true})");
  ask("/start_replay?file=none.txt");
  EXPECT_EQ(get(&Engine::source_label), "a.csv");
  EXPECT_TRUE(engine_.running);
}

TEST_F(RunHandlersTest, LooksForSavedRecordingsOnlyUnderTheExactWord) {
  write_saved("a.csv", flat_ecg(500));
  EXPECT_NE(ask("/start_replay?dir=SAVED&file=a.csv").bytes.find(" 404 "), std::string::npos);
  EXPECT_NE(ask("/start_replay?file=a.csv").bytes.find(" 404 "), std::string::npos);
  EXPECT_EQ(body("/start_replay?dir=saved&file=a.csv&label="), R"({"ok":true})");
  EXPECT_EQ(get(&Engine::source_label), "a.csv");
  EXPECT_EQ(body("/start_replay?dir=saved&file=a.csv&label=Mine"), R"({"ok":true})");
  EXPECT_EQ(get(&Engine::source_label), "Mine");
}

}  // namespace
}  // namespace tvn
