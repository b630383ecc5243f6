#include "web/handlers/import_handler.h"

#include "tests/faulty_sync.h"
#include "tests/file_limit.h"
#include "tests/web/handlers/site_fixture.h"
#include "web/handlers/upload_handlers.h"

namespace tvn {
namespace {

using ImportHandlerTest = SiteTest;

namespace fs = std::filesystem;

TEST_F(ImportHandlerTest, ImportsARawEcg) {
  const std::string reply = body("/import?fname=My+test.txt&label=other", flat_ecg(1000));
  const std::string prefix = R"({"ok":true,"file":"imported_My_test_)";
  ASSERT_TRUE(reply.starts_with(prefix)) << reply;
  const std::string name = reply.substr(19, reply.size() - 19 - 2);
  EXPECT_EQ(name.size(), std::string("imported_My_test_20260101-120000.csv").size());
  EXPECT_EQ(get(&Engine::source_label), "Imported — My test.txt");
  std::string stored;
  ASSERT_TRUE(read_file(recordings_dir(engine_) + "/" + name, stored));
  EXPECT_EQ(stored, flat_ecg(1000));
}

// "fname" goes before "name"; without either it is import.txt. What is left of a name when it is
// made fit for files may be nothing.
TEST_F(ImportHandlerTest, IsNamedByTheRequest) {
  const std::pair<const char*, const char*> names[] = {{"?name=b.txt&fname=a.txt", "a.txt"},
                                                       {"?name=b.c.txt", "b.c.txt"},
                                                       {"", "import.txt"},
                                                       {"?fname=", ""}};
  const std::string stored[] = {"imported_a_2", "imported_b.c_2", "imported_import_2",
                                "imported_recording_2"};
  for (std::size_t i = 0; i < 4; ++i) {
    const std::string reply = body("/import" + std::string(names[i].first), flat_ecg(400));
    EXPECT_TRUE(reply.starts_with(R"({"ok":true,"file":")" + stored[i])) << reply;
    EXPECT_EQ(get(&Engine::source_label), std::string("Imported — ") + names[i].second);
  }
}

TEST_F(ImportHandlerTest, BringsAnImportTo130SamplesPerSecond) {
  body("/import?name=b&fs=260", "1000000.4\n-0.00001234567\n" + flat_ecg(998));
  const SessionLock hold(engine_.lock);
  EXPECT_EQ(engine_.replay_len, 500);
  EXPECT_EQ(engine_.replay_ecg.samples()[0], 1e6);  // six significant digits are kept
  EXPECT_EQ(engine_.source_label, "Imported — b");
}

TEST_F(ImportHandlerTest, RefusesAnImportThatIsNoRecording) {
  EXPECT_EQ(body("/import"), R"({"ok":false,"note":"No file received."})");
  const std::string note =
      "{\"ok\":false,\"note\":\"That file did not look like a raw ECG (.txt/.csv with one sample "
      "per line) or a Kubios export.\"}";
  EXPECT_EQ(body("/import?fname=a.txt", "hello"), note);
  EXPECT_EQ(body("/import?fname=a.txt", flat_ecg(389)), note);
  EXPECT_EQ(body("/import?fname=a.txt&fs=1e-300", flat_ecg(389)), note);
  EXPECT_EQ(body("/import?fname=k.csv", "Kubios\nRR INTERVAL DATA\n,1,0.8\n,2,0.9\n"),
            R"({"ok":false,"note":"This looks like a Kubios file but no RR-interval column was )"
            R"(found."})");
  EXPECT_FALSE(engine_.running);
}

TEST_F(ImportHandlerTest, MakesAReportOfAKubiosExport) {
  std::string text = "Kubios\nRR INTERVAL DATA\n";
  for (int i = 0; i < 60; ++i) text += ",1," + std::to_string(780 + i % 9 * 10) + "\n";
  body("/batch_upload?rel=old/a.txt", "x");
  EXPECT_EQ(body("/import?fname=Anna+M.csv&age=50&sex=F", text),
            R"({"ok":true,"kubios":true,"beats":60})");
  ASSERT_TRUE(done("/batch_status"));
  EXPECT_TRUE(fs::exists(folder_ / "exports/Anna_M_export/Anna_M_report.pdf"));
  EXPECT_EQ(get(&Engine::age), 50);
  std::string stored;
  ASSERT_TRUE(read_file(upload_dir(engine_) + "/Anna_M.csv", stored));
  EXPECT_EQ(stored, text);
  EXPECT_FALSE(fs::exists(upload_dir(engine_) + "/old"));
  EXPECT_FALSE(engine_.running);
}

TEST_F(ImportHandlerTest, AKubiosImportDuringABatchLeavesTheUploadsAlone) {
  body("/batch_upload?rel=a.txt", "x");
  engine_.batch_running = true;
  EXPECT_EQ(body("/import?fname=k.csv&age=70", "Kubios\nRR INTERVAL DATA\n,1,1\n,2,1\n,3,1\n"),
            R"({"ok":false,"note":"A batch is already running."})");
  EXPECT_EQ(get(&Engine::age), 40);
  EXPECT_TRUE(fs::exists(upload_dir(engine_) + "/a.txt"));
}

#ifdef __linux__
TEST_F(ImportHandlerTest, IsBroughtToTheDisk) {
  std::vector<std::string> synced;
  const FaultySync watch([&](const std::string& path) { synced.push_back(path); });
  body("/import?fname=a.txt", flat_ecg(1000));
  ASSERT_EQ(synced.size(), 1u);
  EXPECT_TRUE(synced[0].starts_with(recordings_dir(engine_))) << synced[0];
}
#endif

// The reply leaves it unsaid; the recording is not in the list, and an empty replay shows it.
TEST_F(ImportHandlerTest, OnAFullDiskLeavesNoHalfRecording) {
  const std::string ecg = flat_ecg(5000);
  {
    const FileLimit full(1000);
    EXPECT_TRUE(body("/import?fname=a.txt", ecg).starts_with(R"({"ok":true,"file":"imported_a_)"));
  }
  EXPECT_EQ(get(&Engine::mode), "replay");
  EXPECT_EQ(get(&Engine::source_label), "Imported — a.txt");
  EXPECT_EQ(get(&Engine::replay_len), 0);
  EXPECT_TRUE(fs::is_empty(recordings_dir(engine_)));
}

TEST_F(ImportHandlerTest, ANameOfAnyLengthIsCut) {
  body("/import?fname=" + std::string(1000, 'n') + ".txt", flat_ecg(500));
  ASSERT_EQ(get(&Engine::replay_len), 500);
  const fs::path stored = fs::directory_iterator(recordings_dir(engine_))->path();
  EXPECT_EQ(stored.filename().string().size(), 255u);
}

}  // namespace
}  // namespace tvn
