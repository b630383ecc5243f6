#include "web/job_handlers.h"

#include "tests/stand_in.h"
#include "tests/web/site_fixture.h"

namespace tvn {
namespace {

using JobHandlersTest = SiteTest;

TEST_F(JobHandlersTest, RefuseWhatNeedsMore) {
  EXPECT_EQ(body("/batch_start?root="), R"({"ok":false,"reason":"No folder selected."})");
  EXPECT_EQ(body("/tfr"), R"({"ok":true,"status":"computing"})");
  EXPECT_EQ(body("/tfr_status"), R"({"status":"error","error":"Not enough data recorded yet."})");
}

TEST_F(JobHandlersTest, RefuseASecondBatchWithoutOpeningTheDialog) {
  const StandIn dialog("zenity", "echo shown > '" + folder_.path() + "/shown'; echo /chosen");
  const std::string running = R"({"ok":false,"reason":"A batch is already running."})";
  engine_.batch_running = true;
  EXPECT_EQ(body("/batch_start"), running);
  EXPECT_EQ(body("/batch_start?root=/x"), running);
  EXPECT_EQ(body("/batch_run"), running);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "shown"));
  engine_.batch_running = false;
  body("/batch_start");
  EXPECT_TRUE(std::filesystem::exists(folder_ / "shown"));
}

TEST_F(JobHandlersTest, TellWhichPictureIsWhich) {
  {
    const SessionLock hold(engine_.lock);
    engine_.tfr_status = "done";
    engine_.tfr_ready = true;
    engine_.tfr_image_high_time = "data:time";
    engine_.tfr_image_high_frequency = "data:frequency";
  }
  EXPECT_EQ(body("/tfr_images"),
            R"({"status":"done","images":{"tfr3":"data:time","tfr10":"data:frequency"}})");
}

TEST_F(JobHandlersTest, NeverPretendThatAMissingJobHasWorked) {
  for (const char* target : {"/export", "/batch_start?root=/x", "/batch_run?mode=single"}) {
    EXPECT_TRUE(body(target).starts_with(R"({"ok":false,)")) << target;
  }
  EXPECT_TRUE(body("/export_status").starts_with(R"({"status":"error","error":")"));
  EXPECT_EQ(body("/batch_status"), R"({"status":"idle","total":0,"done":0,"msg":""})");
}

}  // namespace
}  // namespace tvn
