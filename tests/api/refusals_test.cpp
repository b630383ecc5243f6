// The system refuses the real executable what it needs: threads, memory, descriptors, a home, a
// disk that can be written. It says so, stays alive, and goes on when there is plenty again.
#ifdef __linux__
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "base/clock.h"
#include "base/files.h"
#include "tests/api/machine_faults.h"
#include "tests/wait_until.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* k_no_reply = "(no reply)";
constexpr const char* k_ok = R"({"ok":true})";

class RefusalsTest : public testing::Test {
 protected:
  std::string get(const std::string& target) { return fetch(program_.port(), target); }
  std::string status_of(const std::string& path) { return member(get(path), "status"); }
  void play_sample() {
    EXPECT_EQ(get("/start_replay?file=Sample%201.txt&speed=10000&name=Anna"), k_ok);
    EXPECT_TRUE(wait_until([this] { return member(get("/status"), "running") == "false"; }));
  }
  // Everything that a person does works.
  void expect_all_well() {
    EXPECT_TRUE(program_.is_alive());
    play_sample();
    EXPECT_THAT(get("/save"), StartsWith(R"({"ok":true)"));
    get("/export");
    EXPECT_TRUE(wait_until([this] { return status_of("/export_status") == "\"done\""; }));
    get("/tfr");
    EXPECT_TRUE(wait_until([this] { return status_of("/tfr_status") == "\"done\""; }));
    get("/batch_new");
    post(program_.port(), "/batch_upload?rel=a.txt", sample());
    EXPECT_EQ(get("/batch_run?mode=single"), k_ok);
    EXPECT_TRUE(wait_until([this] { return status_of("/batch_status") != "\"running\""; }));
    EXPECT_THAT(get("/batch_status"), HasSubstr(R"("result":{"reports":1})"));
    EXPECT_THAT(post(program_.port(), "/import?fname=a.txt", sample()),
                StartsWith(R"({"ok":true)"));
  }
  static std::string sample() {
    std::string text;
    EXPECT_TRUE(read_file(std::string(TVN_SOURCE_DIR) + "/assets/Sample 2.txt", text));
    return text;
  }
  std::vector<std::string> recordings() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(program_.folder() + "/recordings")) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  MachineFaults machine_;
  Program program_{machine_.on({std::to_string(test_port()), {}, false})};
};

TEST_F(RefusalsTest, WithoutAThreadNobodyIsAnswered) {
  machine_->threads = 0;
  const double begun = monotonic_seconds();
  EXPECT_EQ(get("/status"), k_no_reply);
  EXPECT_EQ(get("/start_replay?file=Sample%201.txt"), k_no_reply);
  EXPECT_LT(monotonic_seconds() - begun, 2.0);  // nobody is kept waiting
  machine_->threads = INT64_MAX;
  EXPECT_EQ(member(get("/status"), "mode"), "\"idle\"");
  expect_all_well();
}

// The request's own thread is the last: the job's is refused.
TEST_F(RefusalsTest, AJobWithoutAThreadIsAnErrorAndTheNextOneRuns) {
  play_sample();
  const auto get_with_one_thread = [this](const std::string& target) {
    machine_->threads = 1;
    const std::string reply = get(target);
    machine_->threads = INT64_MAX;
    return reply;
  };
  EXPECT_EQ(get_with_one_thread("/export"), k_no_reply);
  EXPECT_EQ(status_of("/export_status"), "\"error\"");
  get_with_one_thread("/tfr");
  EXPECT_EQ(status_of("/tfr_status"), "\"error\"");
  get("/batch_new");
  post(program_.port(), "/batch_upload?rel=a.txt", sample());
  EXPECT_EQ(get_with_one_thread("/batch_run?mode=single"), k_no_reply);
  EXPECT_EQ(status_of("/batch_status"), "\"error\"");
  EXPECT_EQ(get_with_one_thread("/start_replay?file=Sample%201.txt"), k_no_reply);
  EXPECT_EQ(member(get("/status"), "running"), "false");
  expect_all_well();
}

TEST_F(RefusalsTest, PassesWithoutThreadsWaitAndTheReplayGoesOn) {
  get("/start_replay?file=Sample%201.txt&speed=20");
  EXPECT_TRUE(wait_until([this] { return member(get("/status"), "hr") != "null"; }));
  const auto position = [this] { return std::stod(member(get("/status"), "elapsed")); };
  machine_->threads = 0;
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  machine_->threads = INT64_MAX;
  const double before = position();
  EXPECT_GE(before, 30.0);
  const std::string beats = member(get("/status"), "rr_count");
  EXPECT_TRUE(wait_until([&] { return member(get("/status"), "rr_count") != beats; }, 5.0));
  expect_all_well();
}

TEST_F(RefusalsTest, TheEndNeedsNoThread) {
  machine_->threads = 0;
  program_.send_signal(SIGTERM);
  EXPECT_TRUE(wait_until([this] { return !program_.is_alive(); }, 3.0));
  program_.wait_for_exit();
}

std::size_t address_space_of(pid_t process) {
  std::size_t pages = 0;
  std::ifstream("/proc/" + std::to_string(process) + "/statm") >> pages;
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

TEST_F(RefusalsTest, WithoutMemoryALargeRequestEndsAndNothingElse) {
  play_sample();
  const int stream = connect_to(program_.port());
  send_text(stream, "GET /stream HTTP/1.1\r\n\r\n");
  program_.limit(RLIMIT_AS, address_space_of(program_.process()) + 30'000'000);
  const std::string body(60'000'000, '1');
  EXPECT_EQ(post(program_.port(), "/import?fname=a.txt", body), k_no_reply);
  EXPECT_EQ(post(program_.port(), "/batch_upload?rel=a.txt", body), k_no_reply);
  EXPECT_EQ(member(get("/status"), "elapsed"), "257.2");
  EXPECT_THAT(get("/save"), StartsWith(R"({"ok":true)"));
  EXPECT_THAT(recordings(), testing::SizeIs(1));
  get("/export");
  EXPECT_TRUE(wait_until([this] { return status_of("/export_status") != "\"exporting\""; }));
  EXPECT_GT(receive_all(stream, 0.5).size(), 1000u) << "the stream goes on";
  close(stream);
  program_.limit(RLIMIT_AS, RLIM_INFINITY);
  expect_all_well();
}

TEST_F(RefusalsTest, WithoutDescriptorsFilesFailAndTheSessionStays) {
  play_sample();
  machine_->opens_no_files = true;
  EXPECT_EQ(get("/save"), R"({"ok":false,"error":"write failed"})");
  EXPECT_THAT(program_.error_output(),
              ContainsRegex("Could not write .*/recordings/Anna_.*csv: Too many open files\n"));
  EXPECT_EQ(get("/start_replay?file=Sample%201.txt"), R"({"error":"file not found"})");
  get("/export");
  EXPECT_TRUE(wait_until([this] { return status_of("/export_status") != "\"exporting\""; }));
  EXPECT_THAT(get("/export_status"), HasSubstr("Anna_report.pdf could not be written."));
  EXPECT_THAT(post(program_.port(), "/import?fname=a.txt", sample()),
              StartsWith(R"({"ok":true,"file":"imported_a_)"));
  EXPECT_EQ(member(get("/status"), "total"), "0");
  EXPECT_THAT(recordings(), IsEmpty());
  machine_->opens_no_files = false;
  expect_all_well();
}

// Seconds of the processor that a process has used so far (fields 14 and 15 of proc(5)'s stat).
double processor_seconds_of(pid_t process) {
  std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
  std::string word;
  for (int field = 1; field < 14; ++field) stat >> word;
  double user = 0, system = 0;
  stat >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// No connection can be had until there is room again.
void expect_a_request_to_wait(const Program& program, const std::function<void()>& make_room) {
  // The program may have been waiting for the next connection before.
  const int first = connect_to(program.port());
  const int fd = connect_to(program.port());
  send_text(fd, "GET /status HTTP/1.1\r\n\r\n");
  const double used = processor_seconds_of(program.process());
  EXPECT_EQ(receive_all(fd, 0.6), "");
  EXPECT_LT(processor_seconds_of(program.process()) - used, 0.2);
  make_room();
  EXPECT_THAT(receive_all(fd, 5.0), HasSubstr("\"mode\":\"idle\""));
  close(fd);
  close(first);
}

TEST_F(RefusalsTest, WithoutADescriptorARequestWaits) {
  program_.limit(RLIMIT_NOFILE, 0);
  expect_a_request_to_wait(program_, [this] { program_.limit(RLIMIT_NOFILE, 1000); });
  expect_all_well();
}

TEST_F(RefusalsTest, WithoutWhatTheSystemNeedsForItARequestWaits) {
  for (const int error : {ENFILE, ENOBUFS, ENOMEM}) {
    SCOPED_TRACE(std::strerror(error));
    machine_->accept_error = error;
    expect_a_request_to_wait(program_, [this] { machine_->accept_error = 0; });
  }
  expect_all_well();
}

// As a system remounts a disk after errors.
TEST_F(RefusalsTest, ADiskThatBecomesReadOnlyIsToldAndNothingElseChanges) {
  play_sample();
  EXPECT_THAT(get("/save"), StartsWith(R"({"ok":true)"));
  const std::vector<std::string> before = recordings();
  machine_->is_read_only = true;
  EXPECT_EQ(get("/save"), R"({"ok":false,"error":"write failed"})");
  EXPECT_THAT(program_.error_output(), HasSubstr(".csv: Read-only file system\n"));
  EXPECT_THAT(post(program_.port(), "/import?fname=a.txt", sample()),
              StartsWith(R"({"ok":true,"file":"imported_a_)"));
  EXPECT_EQ(member(get("/status"), "total"), "0");
  EXPECT_EQ(get("/batch_new"), k_ok);
  EXPECT_EQ(post(program_.port(), "/batch_upload?rel=a.txt", sample()), k_ok);
  play_sample();
  get("/export");
  EXPECT_TRUE(wait_until([this] { return status_of("/export_status") != "\"exporting\""; }));
  EXPECT_THAT(get("/export_status"), HasSubstr("Read-only file system"));
  EXPECT_THAT(get("/export_status"), ContainsRegex("Anna_on.*csv could not be written"));
  EXPECT_EQ(get("/batch_start?root=" + program_.folder() + "/sample_data"), k_ok);
  EXPECT_TRUE(wait_until([this] { return status_of("/batch_status") != "\"running\""; }));
  EXPECT_EQ(status_of("/batch_status"), "\"error\"");
  EXPECT_EQ(recordings(), before);
  machine_->is_read_only = false;
  expect_all_well();
}

TEST(Refusals, AReadOnlyDataFolderIsToldAtStart) {
  MachineFaults machine;
  machine->is_read_only = true;
  const Program program(machine.on({std::to_string(test_port()), {}, false}));
  EXPECT_EQ(program.error_output(),
            "The data folder " + program.folder() + " cannot be written: Read-only file system\n" +
                "Could not write " + program.folder() +
                "/sample_data/Sample 1.txt: Read-only file system\n" + "Could not write " +
                program.folder() + "/sample_data/Sample 2.txt: Read-only file system\n");
  EXPECT_EQ(member(fetch(program.port(), "/status"), "mode"), "\"idle\"");
  EXPECT_EQ(fetch(program.port(), "/start_replay?file=Sample%201.txt"),
            R"({"error":"file not found"})");
  EXPECT_THAT(fetch(program.port(), "/"), StartsWith("<!DOCTYPE html>"));
}

TEST_F(RefusalsTest, ARecordingThatIsCutWhileItIsReadIsNotFound) {
  const std::string path = program_.folder() + "/recordings/long.csv";
  ASSERT_TRUE(write_file(path, sample()));
  machine_->read_milliseconds = 300;
  std::string reply;
  std::thread asking([&] { reply = get("/start_replay?dir=saved&file=long.csv"); });
  EXPECT_TRUE(wait_until([this] { return machine_->reads > 0; }));
  fs::resize_file(path, 50'000);
  asking.join();
  EXPECT_EQ(reply, R"({"error":"file not found"})");
  EXPECT_EQ(member(get("/status"), "mode"), "\"idle\"");
  machine_->read_milliseconds = 0;
  EXPECT_EQ(get("/start_replay?dir=saved&file=long.csv"), k_ok) << "as it is now";
}

TEST(Refusals, WithoutAHomeTheDataLieInTheWorkingFolder) {
  ProgramOptions options{std::to_string(test_port()), {}, true};
  options.has_home = false;
  const Program program(options);
  EXPECT_NE(program.port(), 0);
  EXPECT_EQ(program.error_output(), "");
  EXPECT_TRUE(fs::exists(program.folder() + "/sample_data/Sample 1.txt"));
  EXPECT_EQ(fetch(program.port(), "/start_live?address=AA:BB"), k_ok) << "nor is there a log";
  EXPECT_EQ(fetch(program.port(), "/stop"), k_ok);
  EXPECT_THAT(fetch(program.port(), "/scan"), HasSubstr("\"success\":false"));
}

}  // namespace
}  // namespace tvn
#endif
