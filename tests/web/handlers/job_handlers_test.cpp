#include "web/handlers/job_handlers.h"

#include <set>
#include <thread>

#include "tests/stand_in.h"
#include "tests/web/handlers/site_fixture.h"

namespace tvn {
namespace {

class JobHandlersTest : public SiteTest {
 protected:
  // The labels of the report folders.
  std::set<std::string> reports() {
    std::set<std::string> labels;
    for (const auto& entry : std::filesystem::directory_iterator(folder_ / "exports")) {
      const std::string name = entry.path().filename().string();
      labels.insert(name.substr(0, name.find("_export")));
    }
    return labels;
  }
};

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
  EXPECT_EQ(body("/batch_run?age=70&indur=3&name=x"), running);
  EXPECT_EQ(get(&Engine::age), 40);  // as it was, and so is all of the session
  EXPECT_EQ(get(&Engine::cycle_seconds), 16);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "shown"));
  engine_.batch_running = false;
  body("/batch_start");
  ASSERT_TRUE(done("/batch_status"));
  EXPECT_TRUE(std::filesystem::exists(folder_ / "shown"));
}

TEST_F(JobHandlersTest, OpenOneFolderDialogAtATime) {
  const std::string open = folder_ / "open", close = folder_ / "close";
  const StandIn dialog("zenity", "echo shown >> '" + open + "'; while [ ! -e '" + close +
                                     "' ]; do sleep 0.01; done");
  std::thread first([this] {
    EXPECT_EQ(body("/batch_start"), R"({"ok":false,"reason":"No folder selected."})");
  });
  EXPECT_TRUE(wait_until([&] { return std::filesystem::exists(open); }));
  EXPECT_EQ(body("/batch_start"), R"({"ok":false,"reason":"A folder dialog is already open."})");
  EXPECT_EQ(body("/batch_start?root="), R"({"ok":false,"reason":"No folder selected."})");
  ASSERT_TRUE(write_file(close, ""));
  first.join();
  EXPECT_EQ(body("/batch_start"), R"({"ok":false,"reason":"No folder selected."})");
  std::string shown;
  ASSERT_TRUE(read_file(open, shown));
  EXPECT_EQ(shown, "shown\nshown\n");
}

TEST_F(JobHandlersTest, TellWhichPictureIsWhich) {
  {
    const SessionLock hold(engine_.lock);
    engine_.tfr_status = "done";
    engine_.tfr_ready = true;
    engine_.tfr_image_high_time = SharedText("data:time");
    engine_.tfr_image_high_frequency = SharedText("data:frequency");
  }
  EXPECT_EQ(body("/tfr_images"),
            R"({"status":"done","images":{"tfr3":"data:time","tfr10":"data:frequency"}})");
}

TEST_F(JobHandlersTest, TellHowFarTheyAreAndWhatFailed) {
  {
    const SessionLock hold(engine_.lock);
    engine_.tfr_status = engine_.export_status = "error";
    engine_.tfr_error = "Too \"short\"";
    engine_.export_error = "No room.";
    engine_.batch_status = "running";
    engine_.batch_total = 7;
    engine_.batch_done = 3;
    engine_.batch_msg = "Processing anna / 4.txt";
  }
  EXPECT_EQ(body("/tfr_status"), R"({"status":"error","error":"Too \"short\""})");
  EXPECT_EQ(body("/export_status"), R"({"status":"error","error":"No room."})");
  EXPECT_EQ(body("/batch_status"),
            R"({"status":"running","total":7,"done":3,"msg":"Processing anna / 4.txt"})");
}

TEST_F(JobHandlersTest, ExportTheRunSoFar) {
  EXPECT_EQ(body("/export_status"), R"({"status":"idle"})");
  EXPECT_EQ(body("/export"), R"({"ok":true,"status":"exporting"})");
  ASSERT_TRUE(done("/export_status"));
  EXPECT_EQ(body("/export_status"), R"({"status":"done","result":{"folder":"recording_export"}})");
}

TEST_F(JobHandlersTest, BatchOverAFolder) {
  EXPECT_EQ(body("/batch_status"), R"({"status":"idle","total":0,"done":0,"msg":""})");
  EXPECT_EQ(body("/batch_start?root=" + folder_ / "nothing"), R"({"ok":true})");
  ASSERT_TRUE(done("/batch_status"));
  EXPECT_EQ(body("/batch_status"),
            R"({"status":"done","total":0,"done":0,"msg":"Done — 0 report(s) written to )"
            R"(Documents/TVN-Live/exports.","result":{"reports":0}})");
}

TEST_F(JobHandlersTest, BatchOverUploadsWithTheRequestsSettings) {
  const std::string ecg = synthetic_ecg_text(60);
  body("/batch_new");
  body("/batch_upload?rel=study/anna/1.txt", ecg);
  body("/batch_upload?rel=study/berta/1.txt", ecg);
  EXPECT_EQ(body("/batch_run?indur=4&outdur=6&sex=F&age=33"), R"({"ok":true})");
  ASSERT_TRUE(done("/batch_status"));
  EXPECT_EQ(reports(), (std::set<std::string>{"anna", "berta"}));
  EXPECT_EQ(get(&Engine::cycle_seconds), 10);
  EXPECT_EQ(get(&Engine::age), 33);
}

// "batchname" goes before "patient"; an empty one is a name, too, and becomes "recording".
TEST_F(JobHandlersTest, BatchOfOnePersonIsNamedByTheRequest) {
  body("/batch_new");
  body("/batch_upload?rel=a/1.txt", synthetic_ecg_text(60));
  std::set<std::string> names;
  for (const char* query : {"batchname=An+na&patient=x", "patient=Berta", "batchname=", ""}) {
    EXPECT_EQ(body(std::string("/batch_run?mode=single&") + query), R"({"ok":true})");
    ASSERT_TRUE(done("/batch_status"));
  }
  EXPECT_EQ(reports(), (std::set<std::string>{"An_na", "Berta", "recording", "import"}));
  body("/batch_run?mode=SINGLE");
  ASSERT_TRUE(done("/batch_status"));
  EXPECT_TRUE(reports().contains("a"));
}

}  // namespace
}  // namespace tvn
