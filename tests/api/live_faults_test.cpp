// What the machine does to a live run or a replay of the real executable that goes on: the disk,
// the clock, the memory and the processor fail it, and no sample is lost.
#ifdef __linux__
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <numeric>
#include <sstream>
#include <thread>

#include "base/clock.h"
#include "base/files.h"
#include "tests/api/machine_faults.h"
#include "tests/bluez/fake_bluetoothd.h"
#include "tests/bluez/private_bus.h"
#include "tests/temporary_folder.h"
#include "tests/wait_until.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr int k_straps = 5;
constexpr const char* k_ok = R"({"ok":true})";

class LiveFaultsTest : public testing::Test {
 protected:
  // All at first: the fake bluetoothd waits for its client to have heard of a new one, and clients
  // die here. A strap whose client died keeps its link, so that the next run takes the next one.
  LiveFaultsTest() {
    fake::Strap strap;
    strap.ecg.resize(std::size_t{130} * 1800);
    std::iota(strap.ecg.begin(), strap.ecg.end(), 0);  // samples that tell their place
    for (int number = 0; number < k_straps; ++number) {
      strap.address = address(number);
      strap.name = "Polar H10 " + strap.address;
      bluetoothd_.add_strap(strap, true);
    }
    start_program();
  }
  static std::string address(int number) { return "A0:9E:1A:00:00:0" + std::to_string(number); }
  void start_program() {
    program_.reset();
    ProgramOptions options{std::to_string(test_port()), {}, true};
    options.environment = {{"DBUS_SYSTEM_BUS_ADDRESS", bus_.address()}, {"TVN_DATA", data_.path()}};
    program_ = std::make_unique<Program>(machine_.on(options));
  }
  std::string get(const std::string& target) { return fetch(program_->port(), target); }
  // 0 when there is no answer: a machine that has nothing has no thread for one, either.
  double elapsed() {
    const std::string seconds = member(get("/status"), "elapsed");
    return seconds == "(missing)" ? 0.0 : std::stod(seconds);
  }
  // From a strap that sends this many times as fast as real ones.
  void start_live(double speed) {
    const std::string strap = address(next_strap_++);
    bluetoothd_.change_strap(strap, [speed](fake::Strap& s) { s.speed = speed; });
    EXPECT_EQ(get("/start_live?name=Anna&address=" + strap), k_ok);
  }
  void receive(double seconds) {
    EXPECT_TRUE(wait_until([&] { return elapsed() >= seconds; }, 30.0)) << elapsed();
  }
  std::vector<std::string> recovered() { return names_in(data_ / "recordings", "recovered_"); }
  std::vector<std::string> journals() { return names_in(data_.path(), ".run-"); }
  // How many samples a recording holds, which must be the strap's first.
  std::size_t samples_in(const std::string& name) {
    std::string text;
    EXPECT_TRUE(read_file(data_ / ("recordings/" + name), text)) << name;
    std::istringstream lines(text);
    std::size_t count = 0;
    for (std::size_t value = 0; lines >> value; ++count) {
      if (value != count) ADD_FAILURE() << value << " at " << count;
    }
    return count;
  }
  void end(int signal) {
    program_->send_signal(signal);
    EXPECT_TRUE(wait_until([this] { return !program_->is_alive(); }, 5.0));
    program_->wait_for_exit();
  }

  PrivateBus bus_;
  fake::Bluetoothd bluetoothd_{bus_.address()};
  TemporaryFolder data_;
  MachineFaults machine_;
  std::unique_ptr<Program> program_;

 private:
  int next_strap_ = 0;
};

// Its journal failed, too: the run is in memory alone, and is written when there is room.
TEST_F(LiveFaultsTest, ARunThatEndedOnAFullDiskIsWrittenWhenThereIsRoom) {
  for (const bool at_the_end : {false, true}) {
    machine_->room = 0;
    start_live(20.0);
    receive(31.0);
    EXPECT_THAT(program_->error_output(), HasSubstr("journal: No space left on device\n"));
    EXPECT_EQ(get("/start_replay?file=Sample%201.txt&speed=10000"), k_ok);
    EXPECT_THAT(program_->error_output(),
                HasSubstr("A run that ended is in memory alone; a start or a save tries again\n"));
    EXPECT_THAT(names_in(data_ / "recordings", ""), IsEmpty());
    machine_->room = INT64_MAX;
    if (at_the_end) {
      end(SIGTERM);
    } else {
      receive(2.0);
      EXPECT_THAT(get("/save"), StartsWith(R"({"ok":true)"));
    }
    ASSERT_THAT(recovered(), SizeIs(1));
    EXPECT_GE(samples_in(recovered()[0]), 31u * 130);
    EXPECT_THAT(journals(), IsEmpty());
    fs::remove_all(data_ / "recordings");
    start_program();
    EXPECT_THAT(recovered(), IsEmpty());
  }
}

TEST_F(LiveFaultsTest, ADiskThatBecomesReadOnlyEndsTheJournalAndNotTheRun) {
  start_live(10.0);
  receive(5.0);
  ASSERT_TRUE(wait_until([this] { return fs::file_size(data_ / journals().at(0)) > 650; }))
      << "a second of the run is there";
  machine_->is_read_only = true;
  receive(30.0);
  EXPECT_TRUE(wait_until([this] {
    return program_->error_output().find(".journal: Read-only file system\n") != std::string::npos;
  }));
  EXPECT_EQ(member(get("/status"), "running"), "true");
  machine_->is_read_only = false;
  get("/stop");
  EXPECT_THAT(get("/save"), StartsWith(R"({"ok":true)"));
  const auto saved = names_in(data_ / "recordings", "Anna_");
  ASSERT_THAT(saved, SizeIs(1));
  EXPECT_GE(samples_in(saved[0]), 3900u);
  EXPECT_THAT(journals(), IsEmpty());
}

// What was there of the record is cut off, and all before it counts.
TEST_F(LiveFaultsTest, AKillInTheMiddleOfAnAppendCostsThatOneAlone) {
  for (const std::int64_t room : {1'000, 3'000, 3'001, 6'000}) {
    start_live(10.0);
    receive(5.0);
    ASSERT_TRUE(wait_until([this] { return fs::file_size(data_ / journals().at(0)) > 4u * 650; }))
        << "more than three seconds are there";
    machine_->kills_when_full = true;
    machine_->room = room;
    EXPECT_TRUE(wait_until([this] { return !program_->is_alive(); }, 10.0));
    program_->wait_for_exit();
    machine_->kills_when_full = false;
    machine_->room = INT64_MAX;
    start_program();
    ASSERT_THAT(recovered(), SizeIs(1)) << room;
    EXPECT_GT(samples_in(recovered()[0]), 390u) << room;
    EXPECT_THAT(journals(), IsEmpty()) << "torn, not damaged";
    fs::remove_all(data_ / "recordings");
    start_program();
  }
}

// Nor while a start makes a recording of it: the next one does it again.
TEST_F(LiveFaultsTest, AKillInTheMiddleOfARecoveryLosesNothing) {
  start_live(10.0);
  receive(5.0);
  get("/mark?key=2");
  std::this_thread::sleep_for(std::chrono::seconds(1));
  end(SIGKILL);
  const std::string path = data_ / journals().at(0);
  std::string journal;
  ASSERT_TRUE(read_file(path, journal));
  start_program();
  ASSERT_THAT(recovered(), SizeIs(2)) << "the recording and its markers";
  const std::size_t samples = samples_in(recovered()[0]);
  const auto bytes =
      static_cast<std::int64_t>(fs::file_size(data_ / ("recordings/" + recovered()[0])));
  // A start writes one byte to see whether it can, and the two samples.
  const std::int64_t before = 1 + 123'590 + 118'453;
  for (const std::int64_t room :
       {before, before + bytes / 2, before + bytes, before + bytes + 30}) {
    program_.reset();
    fs::remove_all(data_ / "recordings");
    ASSERT_TRUE(write_file(path, journal));
    machine_->kills_when_full = true;
    machine_->room = room;
    start_program();
    EXPECT_EQ(program_->port(), 0) << "killed";
    EXPECT_LE(recovered().size(), 1u);
    machine_->room = INT64_MAX;
    start_program();
    ASSERT_THAT(names_in(data_ / "recordings", ""), SizeIs(2)) << room;
    EXPECT_EQ(samples_in(recovered()[0]), samples) << room;
    EXPECT_THAT(journals(), IsEmpty());
  }
}

TEST_F(LiveFaultsTest, WithoutAThreadForTheJournalTheRunGoesOn) {
  machine_->thread_to_refuse = 2;  // after the request's own
  start_live(10.0);
  EXPECT_THAT(program_->error_output(), HasSubstr("The journal of this run ends: "));
  receive(5.0);
  EXPECT_THAT(get("/save"), StartsWith(R"({"ok":true)"));
  machine_->thread_to_refuse = 3;  // the run's own
  EXPECT_EQ(get("/start_live?name=Eva&address=" + address(4)), "(no reply)");
  EXPECT_EQ(member(get("/status"), "running"), "false");
  start_live(10.0);
  EXPECT_THAT(journals(), testing::Contains(StartsWith(".run-")));
  receive(3.0);
}

TEST_F(LiveFaultsTest, WithLittleMemoryNoSampleIsLost) {
  std::size_t pages = 0;
  std::ifstream("/proc/" + std::to_string(program_->process()) + "/statm") >> pages;
  const std::size_t used = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  program_->limit(RLIMIT_AS, used + 40'000'000);  // a day of ECG at once takes 90 MB
  start_live(20.0);
  receive(60.0);
  EXPECT_TRUE(wait_until([this] { return get("/save").starts_with(R"({"ok":true)"); }, 5.0));
  EXPECT_GE(samples_in(names_in(data_ / "recordings", "Anna_").at(0)), 7800u);
  EXPECT_TRUE(wait_until([this] {
    return member(get("/status"), "bt_status") == "\"Streaming ECG…\"";
  })) << "not that samples are being lost";
}

// An hour, as when summer time ends or a clock is corrected.
TEST_F(LiveFaultsTest, AClockThatIsSetBackChangesNothingButNames) {
  start_live(10.0);
  receive(5.0);
  const double until_jump = elapsed();
  machine_->clock_ahead = -3600;
  receive(until_jump + 10.0);
  EXPECT_THAT(get("/status"), Not(HasSubstr("\"ecg\":[]"))) << "the trace goes on";
  const std::string hour_ago = local_time_text(std::time(nullptr) - 3600, "%Y%m%d-%H%M");
  const std::string minute_later = local_time_text(std::time(nullptr) - 3540, "%Y%m%d-%H%M");
  EXPECT_THAT(get("/save"),
              ContainsRegex("_(" + hour_ago + "|" + minute_later + ")[0-9]{2}\\.csv"));
  receive(until_jump + 40.0);
  end(SIGKILL);
  start_program();
  ASSERT_THAT(recovered(), SizeIs(1)) << "more than three seconds after the save";
  EXPECT_GE(samples_in(recovered()[0]), static_cast<std::size_t>(130 * (until_jump + 25.0)));
}

TEST_F(LiveFaultsTest, AReplayDoesNotHeedTheClock) {
  EXPECT_EQ(get("/start_replay?file=Sample%201.txt&speed=10"), k_ok);
  double before = elapsed();
  for (const int ahead : {-3600, 86'400, -86'400}) {
    machine_->clock_ahead = ahead;
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const double now = elapsed();
    EXPECT_GE(now, before + 4.5);
    EXPECT_LE(now, before + 50.0) << "no jump";
    before = now;
  }
}

double stopped_seconds() {
  const char* seconds = getenv("TVN_STOPPED_SECONDS");
  return seconds == nullptr ? 6.0 : atof(seconds);
}

// Stopped as by Ctrl-Z, or a lid that is closed: what the strap sent meanwhile is there afterwards.
TEST_F(LiveFaultsTest, AStoppedProgramTakesUpItsRunAgain) {
  start_live(1.0);
  receive(4.0);
  const int stream = connect_to(program_->port());
  send_text(stream, "GET /stream HTTP/1.1\r\n\r\n");
  const auto sent = [this] {
    return static_cast<double>(bluetoothd_.samples_sent(address(0))) / 130;
  };
  const double before = sent();
  program_->send_signal(SIGSTOP);
  EXPECT_TRUE(wait_until([&] { return sent() - before >= stopped_seconds(); }, 90.0));
  const double until_now = sent();
  program_->send_signal(SIGCONT);
  EXPECT_TRUE(wait_until([&] { return elapsed() >= until_now - 0.1; }, 10.0)) << elapsed();
  EXPECT_EQ(member(get("/status"), "bt_status"), "\"Streaming ECG…\"");
  receive_all(stream, 1.0);
  EXPECT_GT(receive_all(stream, 1.0).size(), 5000u) << "snapshots go on";
  close(stream);
  get("/stop");
  get("/save");
  const auto saved = names_in(data_ / "recordings", "Anna_");
  ASSERT_THAT(saved, SizeIs(1));
  EXPECT_GE(static_cast<double>(samples_in(saved[0])), 130 * until_now);
}

TEST_F(LiveFaultsTest, AStoppedReplayIsWhereItsTimeIs) {
  const double asked = monotonic_seconds();
  EXPECT_EQ(get("/start_replay?file=Sample%201.txt&speed=2"), k_ok);
  EXPECT_TRUE(wait_until([this] { return elapsed() > 0.0; }));
  const double begun = monotonic_seconds();
  program_->send_signal(SIGSTOP);
  std::this_thread::sleep_for(std::chrono::duration<double>(stopped_seconds() / 2));
  const double least = 2.0 * (monotonic_seconds() - begun);
  program_->send_signal(SIGCONT);
  EXPECT_TRUE(wait_until([&] { return elapsed() >= least; }, 1.0)) << "at once, not bit by bit";
  const double seconds = elapsed();
  EXPECT_LE(seconds, 2.0 * (monotonic_seconds() - asked) + 0.1);
  EXPECT_TRUE(wait_until([this] { return member(get("/status"), "hr") != "null"; }, 10.0));
  EXPECT_EQ(member(get("/status"), "running"), "true");
}

}  // namespace
}  // namespace tvn
#endif
