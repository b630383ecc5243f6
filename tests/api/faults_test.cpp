// What the machine does to the real executable: disks that are full, folders that cannot be
// written, kills in the middle of writing, a Bluetooth service that does not answer.
#ifdef __linux__
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "base/clock.h"
#include "base/files.h"
#include "tests/api/program.h"
#include "tests/temporary_folder.h"
#include "tests/wait_until.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class FaultsApiTest : public testing::Test {
 protected:
  std::string get(const std::string& target) { return fetch(program_.port(), target); }
  void wait_while(const std::string& status_path, const std::string& key,
                  const std::string& value) {
    for (int i = 0; i < 600 && member(get(status_path), key) == value; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  void play_sample() {
    get("/start_replay?file=Sample%201.txt&speed=10000&name=Anna");
    wait_while("/status", "running", "true");
  }
  std::string recordings() { return program_.folder() + "/recordings"; }
  std::string exports() { return program_.folder() + "/exports"; }
  Program program_{{std::to_string(test_port()), {}, false}};
};

TEST_F(FaultsApiTest, OnAFullDiskNothingHalfIsLeftAndEverythingIsTold) {
  play_sample();
  std::string sample;
  ASSERT_TRUE(read_file(program_.folder() + "/sample_data/Sample 1.txt", sample));
  get("/batch_new");
  post(program_.port(), "/batch_upload?rel=whole.txt", sample);
  program_.limit_files(4000);
  EXPECT_EQ(get("/save"), R"({"ok":false,"error":"write failed"})");
  EXPECT_THAT(program_.error_output(),
              ContainsRegex("^Could not write .*/recordings/Anna_on.*csv: File too large\n$"));
  EXPECT_THAT(post(program_.port(), "/import?fname=big.txt", sample),
              StartsWith(R"({"ok":true,"file":"imported_big_)"));
  EXPECT_EQ(member(get("/status"), "total"), "0");
  EXPECT_EQ(post(program_.port(), "/batch_upload?rel=half.txt", sample), R"({"ok":true})");
  EXPECT_THAT(program_.error_output(), HasSubstr("/_upload_tmp/half.txt: File too large\n"));
  EXPECT_THAT(names_in(program_.folder() + "/_upload_tmp"), testing::ElementsAre("whole.txt"));
  EXPECT_THAT(names_in(recordings()), IsEmpty());
  play_sample();
  get("/export");
  wait_while("/export_status", "status", "\"exporting\"");
  EXPECT_THAT(get("/export_status"),
              ContainsRegex(R"("errors":\["Anna_on.*csv could not be written\.","Anna_ECG\.txt)"));
  get("/batch_run?batchname=all");
  wait_while("/batch_status", "status", "\"running\"");
  EXPECT_THAT(get("/batch_status"), HasSubstr(R"({"status":"error",)"));
  EXPECT_THAT(get("/batch_status"), HasSubstr("File too large"));
  EXPECT_THAT(names_in(recordings()), IsEmpty());
  EXPECT_TRUE(program_.is_alive());
}

TEST_F(FaultsApiTest, TheExportsFolderVanishingInMidExportIsToldFileByFile) {
  play_sample();
  get("/export");
  for (int i = 0; i < 2000 && !fs::exists(exports() + "/Anna_export"); ++i) usleep(500);
  fs::remove_all(exports());
  wait_while("/export_status", "status", "\"exporting\"");
  const std::string status = get("/export_status");
  EXPECT_THAT(status, HasSubstr("Anna_report.pdf could not be written."));
  get("/export");
  wait_while("/export_status", "status", "\"exporting\"");
  EXPECT_EQ(get("/export_status"), R"({"status":"done","result":{"folder":"Anna_export"}})");
}

TEST_F(FaultsApiTest, ARecordingThatCannotBeReadIsNotFound) {
  fs::create_symlink("/proc/self/mem", recordings() + "/broken.csv");
  EXPECT_EQ(get("/start_replay?dir=saved&file=broken.csv"), R"({"error":"file not found"})");
  EXPECT_EQ(member(get("/status"), "mode"), "\"idle\"");
}

TEST_F(FaultsApiTest, ASaveUnderANameOfAnyLength) {
  get("/start_replay?file=Sample%201.txt&speed=10000&name=" + std::string(222, 'n'));
  wait_while("/status", "running", "true");
  EXPECT_THAT(get("/save"), StartsWith(R"({"ok":true,"file":"nnn)"));
}

// Killed at the first sight of what an import writes.
TEST(Faults, AKillInMidImportLeavesWholeRecordingsOnly) {
  std::string ecg;
  for (int i = 0; i < 1'000'000; ++i) ecg += std::to_string(i % 1000) + "\n";
  const TemporaryFolder data;
  const std::string recordings = data / "recordings";
  ProgramOptions options{std::to_string(test_port()), {}, true};
  options.environment = {{"TVN_DATA", data.path()}};
  std::size_t kills_in_the_middle = 0;
  for (int i = 0; i < 8; ++i) {
    Program program(options);
    EXPECT_THAT(names_in(recordings), IsEmpty()) << "the start removes what was left";
    std::thread importing([&] { post(program.port(), "/import?fname=big.txt", ecg); });
    while (names_in(recordings).empty()) usleep(200);
    program.send_signal(SIGKILL);
    importing.join();
    for (const std::string& name : names_in(recordings)) {
      if (!name.ends_with(".csv")) ++kills_in_the_middle;
      EXPECT_TRUE(!name.ends_with(".csv") || fs::file_size(recordings + "/" + name) == ecg.size());
      if (name.ends_with(".csv")) fs::remove(recordings + "/" + name);
    }
  }
  EXPECT_GT(kills_in_the_middle, 0u);
}

TEST(Faults, AFolderThatCannotBeWrittenIsToldAtStart) {
  ProgramOptions options{std::to_string(test_port()), {}, false};
  options.data_folder = "/stderr/data";  // below a file
  const Program program(options);
  EXPECT_THAT(program.error_output(),
              StartsWith("The data folder " + program.folder() +
                         "/stderr/data cannot be written: Not a directory\n"));
  EXPECT_NE(program.port(), 0);
  EXPECT_NE(fetch(program.port(), "/status"), "(no reply)");
}

TEST(Faults, TheEndWaitsForAnExport) {
  Program program({std::to_string(test_port()), {}, false});
  fetch(program.port(), "/start_replay?file=Sample%201.txt&speed=10000&name=Anna");
  while (member(fetch(program.port(), "/status"), "running") == "true") usleep(10'000);
  fetch(program.port(), "/export");
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait_for_exit(), -1);
  EXPECT_TRUE(fs::exists(program.folder() + "/exports/Anna_export/Anna_report.pdf"));
}

// Resident memory in megabytes.
double memory_of(pid_t process) {
  std::string text;
  std::ifstream("/proc/" + std::to_string(process) + "/statm") >> text >> text;
  return std::stod(text) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

// The most of it that there ever was.
double most_memory_of(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string word; status >> word;) {
    if (word != "VmHWM:") continue;
    double kilobytes = 0.0;
    status >> kilobytes;
    return kilobytes / 1e3;
  }
  return 0.0;
}

TEST(Faults, MemoryOfLargeBodiesGoesBack) {
  const Program program({std::to_string(test_port()), {}, false});
  const std::string body(20'000'000, 'x');
  std::vector<std::thread> senders;
  for (int i = 0; i < 8; ++i) {
    senders.emplace_back([&] {
      for (int n = 0; n < 4; ++n) post(program.port(), "/import?fname=a.txt", body);
    });
  }
  for (std::thread& sender : senders) sender.join();
  EXPECT_TRUE(wait_until([&] { return memory_of(program.process()) < 40.0; }, 10.0))
      << memory_of(program.process());
}

TEST(Faults, MemoryOfUploadsThatBreakOffGoesBack) {
  const Program program({std::to_string(test_port()), {}, false});
  const std::string half(30'000'000, 'x');
  for (const char* target : {"/import?fname=a.txt", "/batch_upload?rel=a.txt", "/status"}) {
    const int fd = connect_to(program.port());
    send_text(fd, "POST " + std::string(target) + " HTTP/1.1\r\nContent-Length: 60000000\r\n\r\n");
    send_text(fd, half);
    close(fd);
  }
  EXPECT_GT(most_memory_of(program.process()), 35.0) << "it was read";
  EXPECT_TRUE(wait_until([&] { return memory_of(program.process()) < 40.0; }, 10.0))
      << memory_of(program.process());
}

// A bus that accepts and is silent: what asks it waits for a minute and more.
class SilentBus {
 public:
  explicit SilentBus(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(fd_, 10), 0);
  }
  SilentBus(const SilentBus&) = delete;
  SilentBus& operator=(const SilentBus&) = delete;
  ~SilentBus() { close(fd_); }

 private:
  int fd_;
};

TEST(Faults, ASilentBusDoesNotHoldUpTheEnd) {
  const TemporaryFolder folder;
  const SilentBus bus(folder / "bus");
  ProgramOptions options{std::to_string(test_port()), {}, false};
  options.environment = {{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + folder / "bus"}};
  Program program(options);
  const int starting = connect_to(program.port());
  send_text(starting, "GET /start_live?address=A0:9E:1A:12:34:56 HTTP/1.1\r\n\r\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const double begun = monotonic_seconds();
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait_for_exit(), -1);
  EXPECT_LT(monotonic_seconds() - begun, 3.0);
  close(starting);
}

}  // namespace
}  // namespace tvn
#endif
