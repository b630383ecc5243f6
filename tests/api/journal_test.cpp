// What is left of live runs of the real executable that ends in every way there is, with the fake
// bluetoothd playing the straps.
#ifdef __linux__
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <random>
#include <sstream>
#include <thread>

#include "base/clock.h"
#include "base/files.h"
#include "tests/api/program.h"
#include "tests/bluez/fake_bluetoothd.h"
#include "tests/bluez/private_bus.h"
#include "tests/temporary_folder.h"
#include "tests/wait_until.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int k_runs = 50;
constexpr double k_speed = 10.0;  // of the straps, relative to real time

// Samples that tell their place.
std::vector<std::int32_t> counting_ecg() {
  std::vector<std::int32_t> ecg(130 * 120);
  for (std::size_t i = 0; i < ecg.size(); ++i) ecg[i] = static_cast<std::int32_t>(i);
  return ecg;
}

class JournalApiTest : public testing::Test {
 protected:
  // All at first: the fake bluetoothd waits for its client to have heard of a new one, and clients
  // die here.
  JournalApiTest() {
    for (int number = 0; number < k_runs; ++number) {
      fake::Strap strap;
      strap.address = strap_address(number);
      strap.name = "Polar H10 " + strap.address;
      strap.ecg = ecg_;
      strap.speed = k_speed;
      bluetoothd_.add_strap(strap, true);
    }
  }
  static std::string strap_address(int number) {
    return "A0:9E:1A:00:00:" + std::to_string(10 + number);
  }
  // On a data folder that outlives the program.
  std::unique_ptr<Program> begin(const std::string& data, int number = 0) {
    ProgramOptions options{std::to_string(test_port() + 10 * number), {}, true};
    options.environment = {{"DBUS_SYSTEM_BUS_ADDRESS", bus_.address()}, {"TVN_DATA", data}};
    return std::make_unique<Program>(options);
  }
  static double elapsed(const Program& program) {
    return std::stod(member(fetch(program.port(), "/status"), "elapsed"));
  }
  static void start_and_receive(const Program& program, const std::string& strap, double seconds) {
    fetch(program.port(), "/start_live?address=" + strap + "&name=Anna&sex=F&age=33");
    EXPECT_TRUE(wait_until([&] { return elapsed(program) >= seconds; }, 30.0));
  }
  // How many samples the recording at `path` holds, which must be the strap's first.
  static std::size_t samples_in(const std::string& path) {
    std::string text;
    EXPECT_TRUE(read_file(path, text));
    std::istringstream lines(text);
    std::size_t count = 0;
    for (long value; lines >> value; ++count) {
      if (value != static_cast<long>(count)) ADD_FAILURE() << value << " at " << count;
    }
    return count;
  }

  PrivateBus bus_;
  fake::Bluetoothd bluetoothd_{bus_.address()};
  TemporaryFolder data_;

 private:
  const std::vector<std::int32_t> ecg_ = counting_ecg();
};

// What a program was seen to have received, and until when.
struct Seen {
  double until;  // monotonic seconds
  double elapsed;
};

// 1 s before the kill is what may be lost; 0.1 s is what `elapsed` is rounded to.
double owed(const std::vector<Seen>& seen, double killed) {
  double most = 0.0;
  for (const Seen& look : seen) {
    if (look.until <= killed - 1.0) most = std::max(most, look.elapsed - 0.1);
  }
  return most;
}

TEST_F(JournalApiTest, FiftyKillsLoseASecondAtMost) {
  std::atomic<int> recovered = 0;
  const auto live_and_die = [&](int number) {
    std::minstd_rand random(static_cast<unsigned>(number + 1));
    const TemporaryFolder data;
    auto program = begin(data.path(), number);
    const std::string strap = strap_address(number);
    fetch(program->port(), "/start_live?address=" + strap + "&name=Anna");
    const double end = monotonic_seconds() + std::uniform_real_distribution(0.0, 2.6)(random);
    std::vector<Seen> seen;
    while (monotonic_seconds() < end) {
      const double now = elapsed(*program);
      seen.push_back({monotonic_seconds(), now});
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    const double killed = monotonic_seconds();
    program->send_signal(SIGKILL);
    program->wait_for_exit();
    program = begin(data.path(), number);
    const auto names = names_in(data / "recordings", "recovered_Anna_on5_off11_M40_");
    const double owed_seconds = owed(seen, killed);
    EXPECT_EQ(names_in(data.path(), ".run-").size(), 0u);
    if (names.empty()) {
      EXPECT_LT(owed_seconds, 3.0);
      return;
    }
    ++recovered;
    EXPECT_THAT(program->banner(), HasSubstr("  Recovered recording: " + names[0] + "\n="));
    const std::size_t samples = samples_in(data / ("recordings/" + names[0]));
    EXPECT_GE(static_cast<double>(samples), owed_seconds * 130) << "kill " << number;
  };
  constexpr int k_at_a_time = 5;
  for (int first = 0; first < k_runs; first += k_at_a_time) {
    std::vector<std::thread> threads;
    for (int i = first; i < first + k_at_a_time; ++i) threads.emplace_back(live_and_die, i);
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_GT(recovered, 20) << "most kills come after three seconds of ECG";
}

TEST_F(JournalApiTest, EverySignalKeepsTheRunForTheNextStart) {
  int number = 0;
  std::signal(SIGHUP, SIG_DFL);  // a test that is started under nohup hands on that it is ignored
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    auto program = begin(data_.path());
    start_and_receive(*program, strap_address(number++), 5.0);
    fetch(program->port(), "/mark?key=3");
    program->send_signal(signal);
    program->wait_for_exit();
    EXPECT_THAT(names_in(data_ / "recordings", ""), IsEmpty());
    program = begin(data_.path());
    const auto names = names_in(data_ / "recordings", "recovered_Anna_on5_off11_F33_");
    ASSERT_THAT(names, SizeIs(2)) << "the recording and its markers";
    EXPECT_GE(samples_in(data_ / ("recordings/" + names[0])), 650u);
    EXPECT_THAT(fetch(program->port(), "/recordings"), HasSubstr(names[0]));
    EXPECT_EQ(fetch(program->port(), "/start_replay?dir=saved&file=" + names[0]), R"({"ok":true})");
    EXPECT_NE(member(fetch(program->port(), "/status"), "markers"), "[");
    for (const std::string& name : names) fs::remove(data_ / ("recordings/" + name));
  }
}

TEST_F(JournalApiTest, ASecondProgramLeavesTheRunOfTheFirstAlone) {
  const auto first = begin(data_.path(), 0);
  start_and_receive(*first, strap_address(0), 5.0);
  const auto second = begin(data_.path(), 1);
  EXPECT_THAT(second->banner(), testing::Not(HasSubstr("Recovered")));
  EXPECT_THAT(names_in(data_.path(), ".run-"), SizeIs(1));
  EXPECT_THAT(names_in(data_ / "recordings", ""), IsEmpty());
}

TEST_F(JournalApiTest, ASavedRunLeavesNothingToRecover) {
  auto program = begin(data_.path());
  start_and_receive(*program, strap_address(0), 5.0);
  fetch(program->port(), "/stop");
  EXPECT_THAT(names_in(data_.path(), ".run-"), SizeIs(1));
  EXPECT_THAT(fetch(program->port(), "/save"), HasSubstr("\"ok\":true"));
  EXPECT_THAT(names_in(data_.path(), ".run-"), IsEmpty());
  program->send_signal(SIGTERM);
  program->wait_for_exit();
  program = begin(data_.path());
  EXPECT_THAT(names_in(data_ / "recordings", "recovered"), IsEmpty());
}

TEST_F(JournalApiTest, AnExportLeavesNothingToRecoverEither) {
  const auto program = begin(data_.path());
  start_and_receive(*program, strap_address(0), 5.0);
  fetch(program->port(), "/stop");
  fetch(program->port(), "/export");
  EXPECT_TRUE(wait_until(
      [&] { return member(fetch(program->port(), "/export_status"), "status") == "\"done\""; }));
  EXPECT_THAT(names_in(data_.path(), ".run-"), IsEmpty());
}

TEST_F(JournalApiTest, AStartThatReplacesTheRunKeepsIt) {
  const auto program = begin(data_.path());
  start_and_receive(*program, strap_address(0), 31.0);
  EXPECT_EQ(fetch(program->port(), "/start_replay?file=Sample%201.txt"), R"({"ok":true})");
  const auto names = names_in(data_ / "recordings", "recovered_Anna_");
  ASSERT_THAT(names, SizeIs(1));
  EXPECT_GE(samples_in(data_ / ("recordings/" + names[0])), 3900u);
  EXPECT_THAT(names_in(data_.path(), ".run-"), IsEmpty());
}

TEST_F(JournalApiTest, OnAFullDiskTheRunGoesOnAndItIsTold) {
  const auto program = begin(data_.path());
  const std::string strap = strap_address(0);
  start_and_receive(*program, strap, 5.0);
  const std::string journal = data_ / names_in(data_.path(), ".run-").at(0);
  ASSERT_TRUE(wait_until([&] { return fs::file_size(journal) > 4u * 390 + 300; }));
  program->limit_files(fs::file_size(journal) + 100);
  EXPECT_TRUE(wait_until([&] { return elapsed(*program) > 30.0; }, 30.0));
  EXPECT_TRUE(wait_until([&] {
    return program->error_output().find(".journal: File too large\n") != std::string::npos;
  }));
  EXPECT_EQ(member(fetch(program->port(), "/status"), "running"), "true");
  program->send_signal(SIGKILL);
  program->wait_for_exit();
  const auto again = begin(data_.path());  // what fitted is not lost
  EXPECT_THAT(again->banner(), HasSubstr("  Recovered recording: recovered_Anna_"));
}

}  // namespace
}  // namespace tvn
#endif
