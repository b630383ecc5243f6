// Live runs of the real executable over the wire, with the fake bluetoothd playing a strap.
#ifdef __linux__
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <functional>
#include <sstream>
#include <thread>

#include "base/clock.h"
#include "base/files.h"
#include "tests/api/program.h"
#include "tests/bluez/fake_bluetoothd.h"
#include "tests/bluez/private_bus.h"
#include "tests/wait_until.h"

namespace tvn {
namespace {

using Lines = std::vector<std::string>;
using testing::Contains;

constexpr const char* k_strap = "A0:9E:1A:12:34:56";
constexpr const char* k_start =
    "/start_live?address=A0:9E:1A:12:34:56&device=Polar%20H10%2012345678";
constexpr const char* k_ok = R"({"ok":true})";

// The bundled recording `times` times over, in whole microvolts.
std::vector<std::int32_t> bundled_ecg(int times) {
  std::string text;
  EXPECT_TRUE(read_file(std::string(TVN_SOURCE_DIR) + "/assets/Sample 1.txt", text));
  std::vector<std::int32_t> once;
  std::istringstream lines(text);
  for (double value; lines >> value;) once.push_back(static_cast<std::int32_t>(std::lround(value)));
  std::vector<std::int32_t> all;
  for (int i = 0; i < times; ++i) all.insert(all.end(), once.begin(), once.end());
  return all;
}

class LiveApiTest : public testing::Test {
 protected:
  LiveApiTest() {
    strap_.address = k_strap;
    strap_.name = "Polar H10 12345678";
  }
  void bring_strap() {
    bluetoothd_.add_strap(strap_, true);
    ASSERT_TRUE(wait_until([this] { return !log_lines().empty(); }));
  }
  std::string get(const std::string& target) {
    const int fd = connect_to(program_.port());
    send_text(fd, "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    const std::string reply = receive_all(fd, 20.0);  // a scan takes more than ten seconds
    close(fd);
    return body_of(reply);
  }
  std::string status(const std::string& key) { return member(get("/status"), key); }
  bool wait_for_status(const std::string& text) {
    return wait_until([&] { return status("bt_status") == "\"" + text + "\""; });
  }
  // The sensor log's messages; it lies below HOME, which is the program's folder here.
  Lines log_lines() {
    std::string text;
    read_file(program_.folder() + "/Documents/TVN-Live/tvn_log.txt", text);
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line.substr(14));
    return lines;
  }
  // The samples of the newest saved recording.
  std::vector<double> save() {
    const std::string reply = get("/save");
    EXPECT_TRUE(reply.starts_with(R"({"ok":true,"file":")")) << reply;
    const std::string file = reply.substr(19, reply.find("\",\"count") - 19);
    std::string text;
    EXPECT_TRUE(read_file(program_.folder() + "/data/recordings/" + file, text));
    std::vector<double> samples;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
      if (!line.empty() && (std::isdigit(line[0]) != 0 || line[0] == '-')) {
        samples.push_back(std::stod(line));
      }
    }
    return samples;
  }

  PrivateBus bus_;
  fake::Bluetoothd bluetoothd_{bus_.address()};
  fake::Strap strap_;
  Program program_{make_options(bus_)};

 private:
  // The data lie elsewhere than the log.
  static ProgramOptions make_options(const PrivateBus& bus) {
    ProgramOptions options{std::to_string(test_port()), {}, false};
    options.environment = {{"DBUS_SYSTEM_BUS_ADDRESS", bus.address()}};
    options.data_folder = "/data";
    return options;
  }
};

TEST_F(LiveApiTest, AScanListsWhatHasANameToTheLetter) {
  bring_strap();
  fake::Strap nameless;
  nameless.address = "C8:0F:10:00:00:01";
  bluetoothd_.add_strap(nameless);
  fake::Strap odd = nameless;
  odd.address = "00:11:22:33:44:55";
  odd.name = "TV \"lounge\" \\ 2";
  bluetoothd_.add_strap(odd);
  EXPECT_EQ(get("/bt_available"), R"({"available":true})");
  const double begun = monotonic_seconds();
  EXPECT_EQ(
      get("/scan"),
      R"({"success":true,"devices":[{"name":"TV \"lounge\" \\ 2","address":)"
      R"("00:11:22:33:44:55"},{"name":"Polar H10 12345678","address":"A0:9E:1A:12:34:56"}]})");
  EXPECT_GE(monotonic_seconds() - begun, 10.0);
  EXPECT_LT(monotonic_seconds() - begun, 14.0);
  EXPECT_EQ(log_lines(),
            (Lines{"centralManagerDidUpdateState: 5 poweredOn=1", "MacBle::scan() enter",
                   "startScan (poweredOn=1, isScanning=0)", "MacBle::scan() done, 2 device(s)"}));
}

TEST_F(LiveApiTest, TenMinutesArriveWithoutALostSample) {
  strap_.ecg = bundled_ecg(3);  // 12.9 minutes of 130 samples a second, of which ten are taken
  strap_.ecg.resize(std::size_t{10} * 60 * 130);
  strap_.speed = 60.0;
  bring_strap();
  EXPECT_EQ(get(std::string(k_start) + "&name=Eva&indur=5&outdur=11&sex=F&age=33"), k_ok);
  ASSERT_TRUE(wait_for_status("Streaming ECG…"));
  EXPECT_EQ(status("mode"), "\"live\"");
  EXPECT_EQ(status("source_label"), "\"Live — Polar H10 12345678\"");
  ASSERT_TRUE(wait_until([this] { return std::stod(status("elapsed")) > 120.0; }));
  EXPECT_EQ(get("/mark?key=4"), k_ok);
  ASSERT_TRUE(wait_until([this] { return status("elapsed") == "600"; }, 60.0));
  // The bundled recording's heart beats 66 times a minute on average and follows its breathing.
  ASSERT_TRUE(wait_until([this] { return status("tvn") != "null"; }));
  const double heart_rate = std::stod(status("hr"));
  EXPECT_GT(heart_rate, 45.0);
  EXPECT_LT(heart_rate, 100.0);
  EXPECT_EQ(status("k"), "4");
  EXPECT_EQ(get("/stop"), k_ok);
  EXPECT_EQ(status("running"), "false");
  const std::vector<double> saved = save();
  EXPECT_EQ(saved, std::vector<double>(strap_.ecg.begin(), strap_.ecg.end()));
  ASSERT_TRUE(wait_until([this] { return bluetoothd_.writes().size() == 3; }));
  EXPECT_EQ(bluetoothd_.writes(),
            (Lines{"0100 request", "02000001820001010E00 request", "0300 request"}));

  EXPECT_EQ(get("/export"), R"({"ok":true,"status":"exporting"})");
  const std::string done = R"({"status":"done","result":{"folder":"Eva_export"}})";
  ASSERT_TRUE(wait_until([&] { return get("/export_status") == done; }));
  const std::string exported = program_.folder() + "/data/exports/Eva_export/Eva";
  std::string edf, report;
  ASSERT_TRUE(read_file(exported + ".edf", edf));
  EXPECT_EQ(edf.size(), 768u + 600 * 380);
  EXPECT_NE(edf.find(std::string("\x14") + "4" + "\x14"), std::string::npos);  // the marker
  ASSERT_TRUE(read_file(exported + "_report.pdf", report));
  EXPECT_NE(report.find("(600 s) Tj"), std::string::npos);
}

TEST_F(LiveApiTest, TheTraceRunsInRealTime) {
  strap_.ecg = bundled_ecg(1);
  bring_strap();
  get(k_start);
  ASSERT_TRUE(wait_until([this] { return std::stod(status("elapsed")) > 0.0; }));
  const double begun = monotonic_seconds();
  const double elapsed = std::stod(status("elapsed"));
  std::this_thread::sleep_for(std::chrono::seconds(4));
  const double wall = monotonic_seconds() - begun;
  // A frame holds 0.56 s, so that elapsed goes in steps of that.
  EXPECT_NEAR(std::stod(status("elapsed")) - elapsed, wall, 0.75);
  const std::string snapshot = get("/status");
  const std::size_t start = snapshot.find("\"ecg\":[");
  const std::string ecg = snapshot.substr(start, snapshot.find(']', start) - start);
  EXPECT_GT(std::count(ecg.begin(), ecg.end(), ','), 400);
}

TEST_F(LiveApiTest, FaultsShowTheirTexts) {
  bring_strap();
  get("/start_live?address=11:22:33:44:55:66");
  EXPECT_TRUE(wait_for_status("Device not found. Try scanning again."));
  bluetoothd_.change_strap(k_strap, [](fake::Strap& strap) {
    strap.connect_error = {"Failed", "le-connection-abort-by-local"};
  });
  get(k_start);
  EXPECT_TRUE(wait_for_status("Connection failed: le-connection-abort-by-local"));
  bluetoothd_.change_strap(k_strap, [](fake::Strap& strap) { strap.connect_error.reset(); });
  get(k_start);
  EXPECT_TRUE(wait_for_status("Streaming ECG…"));
  bluetoothd_.drop_link(k_strap);
  EXPECT_TRUE(wait_for_status("Disconnected."));
  EXPECT_EQ(status("running"), "true");  // until the person stops it
  get(k_start);
  EXPECT_TRUE(wait_for_status("Streaming ECG…"));
  bluetoothd_.set_powered(false);
  EXPECT_TRUE(wait_for_status("Bluetooth is turned off."));
  get("/stop");
  EXPECT_EQ(get("/scan"),
            R"({"success":false,"reason":"Bluetooth is off or not available. Turn Bluetooth on )"
            R"(and try again."})");
  get(k_start);
  EXPECT_TRUE(wait_for_status("Bluetooth is turned off."));
}

TEST_F(LiveApiTest, BluetoothdRestartingInMidRunIsSurvived) {
  strap_.ecg = bundled_ecg(1);
  strap_.speed = 5.0;
  bring_strap();
  get(k_start);
  ASSERT_TRUE(wait_until([this] { return std::stod(status("elapsed")) > 2.0; }));
  bluetoothd_.die();
  EXPECT_TRUE(wait_for_status("Disconnected."));
  const double received = std::stod(status("elapsed"));
  EXPECT_GT(received, 2.0);  // what had come stays
  bluetoothd_.come_back();
  bluetoothd_.change_strap(k_strap, [](fake::Strap&) {});
  EXPECT_EQ(get("/stop"), k_ok);
  EXPECT_EQ(std::stod(status("elapsed")), received);
  EXPECT_THAT(get("/scan"), testing::HasSubstr(k_strap));
  get(k_start);
  EXPECT_TRUE(wait_for_status("Streaming ECG…"));
}

TEST_F(LiveApiTest, AStopDuringTheWaitOfAStartIsNotLost) {
  bring_strap();
  bluetoothd_.set_powered(false);
  ASSERT_TRUE(wait_until(
      [this] { return log_lines().back().starts_with("centralManagerDidUpdateState: 4"); }));
  std::thread starting([this] { EXPECT_EQ(get(k_start), k_ok); });
  ASSERT_TRUE(wait_until([this] { return status("bt_status") == "\"Starting…\""; }));
  EXPECT_EQ(get("/stop"), k_ok);
  starting.join();
  EXPECT_EQ(status("running"), "false");
  bluetoothd_.set_powered(true);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_FALSE(bluetoothd_.is_connected(k_strap));
}

// A strap whose program vanished keeps its link, and nobody finds it.
TEST_F(LiveApiTest, EndingTheProgramLeavesTheStrapProperly) {
  strap_.ecg = bundled_ecg(1);
  bring_strap();
  get(k_start);
  ASSERT_TRUE(wait_until([this] { return bluetoothd_.writes().size() == 2; }));
  const double begun = monotonic_seconds();
  program_.send_signal(SIGTERM);
  EXPECT_EQ(program_.wait_for_exit(), -1);  // ended by the signal, as its sender expects
  EXPECT_LT(monotonic_seconds() - begun, 3.0);
  EXPECT_TRUE(wait_until([this] { return !bluetoothd_.is_connected(k_strap); }));
  EXPECT_EQ(bluetoothd_.writes().back(), "0300 request");
}

TEST(LiveWithoutBus, SaysWhatIsMissing) {
  Program program({std::to_string(test_port()), {}, false});
  EXPECT_EQ(fetch(program.port(), "/bt_available"), R"({"available":true})");
  EXPECT_EQ(fetch(program.port(), "/scan"),
            R"({"success":false,"reason":"Bluetooth is off or not available. Turn Bluetooth on )"
            R"(and try again."})");
  EXPECT_EQ(fetch(program.port(), "/start_live?address=AA:BB"), k_ok);
  EXPECT_TRUE(wait_until([&] {
    return member(fetch(program.port(), "/status"), "bt_status") ==
           "\"Device not found. Try scanning again.\"";
  }));
  EXPECT_EQ(fetch(program.port(), "/stop"), k_ok);
}

}  // namespace
}  // namespace tvn
#endif
