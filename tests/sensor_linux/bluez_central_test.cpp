// What is particular to BlueZ: expiry, slow ends, connections that come and go at the wrong moment.
// The fake bluetoothd behaves as version 5.66 was traced to do.
#include <systemd/sd-bus.h>

#include <filesystem>
#include <string>
#include <thread>

#include "base/clock.h"
#include "tests/sensor_linux/bluez_fixture.h"

namespace tvn {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

// 0, 1, 2, ... microvolts, so that a sample that is lost or out of place shows.
std::vector<std::int32_t> ramp(int count) {
  std::vector<std::int32_t> samples(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) samples[static_cast<std::size_t>(i)] = i - 50;
  return samples;
}

TEST_F(BluezCentralTest, CallsComeInTheOrderThatTheStrapNeeds) {
  begin();
  world_.bring_devices();
  scan();
  ASSERT_TRUE(stream());
  world_.settle();
  stop();
  ASSERT_TRUE(wait_for_call(disconnect_call_));
  EXPECT_THAT(bluetoothd().calls(),
              ElementsAre("SetDiscoveryFilter Transport=le DuplicateData=0", "StartDiscovery",
                          "StopDiscovery", connect_call_, "StartNotify data",
                          "StartNotify heart_rate", "StartNotify control", "WriteValue 0100",
                          "WriteValue 02000001820001010E00", "WriteValue 0300", disconnect_call_));
}

TEST_F(BluezCentralTest, NoSampleIsLostAndNoneComesAfterTheStop) {
  world_.strap().ecg = ramp(73 * 100 + 20);
  world_.strap().speed = 60.0;
  world_.strap().frames_after_stop = true;
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  ASSERT_TRUE(wait_until([this] { return world_.samples().size() == 7320; }));
  const std::vector<double> received = world_.samples();
  for (std::size_t i = 0; i < received.size(); ++i)
    ASSERT_EQ(received[i], static_cast<double>(i) - 50);
  stop();
  bluetoothd().notify(k_strap, "data", fake::Bytes(229, 0));
  world_.settle();
  EXPECT_EQ(world_.samples().size(), 7320u);
}

TEST_F(BluezCentralTest, OnlyWhatThisScanHasSeenIsListed) {
  begin();
  fake::Strap away;  // known from an earlier day, in a drawer today
  away.address = "A0:9E:1A:00:00:02";
  away.name = "Polar H10 drawer";
  away.advertises = false;
  bluetoothd().add_strap(away, true);
  scan();  // the driver has heard of it now: a signal comes before the replies that follow it
  ASSERT_TRUE(search_has_ended());
  fake::Strap slow = away;
  slow.address = "A0:9E:1A:00:00:03";
  slow.name = "Polar H10 slow";
  slow.advertises = slow.name_comes_late = true;
  bluetoothd().add_strap(slow);
  fake::Strap known = slow;
  known.address = "A0:9E:1A:00:00:01";
  known.name = "Polar H10 known";
  known.name_comes_late = false;
  bluetoothd().add_strap(known, true);
  const ScanResult found = scan();
  ASSERT_EQ(found.devices.size(), 2u);
  EXPECT_EQ(found.devices[0].name, "Polar H10 known");
  EXPECT_EQ(found.devices[1].name, "Polar H10 slow");
  bluetoothd().change_strap(slow.address, [](fake::Strap& strap) { strap.advertises = false; });
  EXPECT_EQ(scan().devices.size(), 1u);
  EXPECT_TRUE(search_has_ended());
}

// It has stopped advertising, and would be announced by nobody.
TEST_F(BluezCentralTest, AStrapThatSomebodyElseHasConnectedIsListedAndStreams) {
  begin();
  world_.remember_strap();
  fake::Strap nameless;
  nameless.address = "C8:0F:10:00:00:01";
  bluetoothd().add_strap(nameless, true);
  bluetoothd().connect_elsewhere(nameless.address);
  bluetoothd().connect_elsewhere(k_strap);
  world_.settle();  // not a word of it comes during the scan
  const ScanResult found = scan();
  ASSERT_EQ(found.devices.size(), 1u);
  EXPECT_EQ(found.devices[0].identifier, k_strap);
  ASSERT_TRUE(search_has_ended());
  EXPECT_TRUE(stream());
  bluetoothd().drop_link(k_strap);
  ASSERT_TRUE(world_.wait_for_status(k_disconnected));
  bluetoothd().change_strap(k_strap, [](fake::Strap& strap) { strap.advertises = false; });
  EXPECT_EQ(scan().devices.size(), 0u);  // it is not there any more
}

TEST_F(BluezCentralTest, AConnectionThatComesUpDuringAScanCountsAsSeen) {
  world_.strap().advertises = false;
  begin();
  world_.remember_strap();
  std::thread other([this] {
    EXPECT_TRUE(wait_until([this] { return bluetoothd().is_discovering(); }));
    bluetoothd().connect_elsewhere(k_strap);
  });
  EXPECT_EQ(scan().devices.size(), 1u);
  other.join();
  EXPECT_TRUE(search_has_ended());
}

TEST_F(BluezCentralTest, ALinkOfOurOwnThatAScanEndsIsNoSighting) {
  world_.strap().disconnect_seconds = 5.0;  // is still up when the scan is over
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  EXPECT_EQ(scan().devices.size(), 0u);
}

TEST_F(BluezCentralTest, ScansOnTheHeelsOfOneAnotherAllSucceed) {
  begin();
  world_.bring_devices();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(scan().devices.size(), 1u) << i;
  EXPECT_THAT(world_.log().lines(), Not(Contains(testing::HasSubstr("EXCEPTION"))));
}

TEST_F(BluezCentralTest, ADeviceThatBluezHasForgottenIsFoundAgain) {
  begin();
  world_.bring_devices();
  scan();
  ASSERT_TRUE(search_has_ended());
  bluetoothd().expire(k_strap);
  world_.start(k_strap);
  ASSERT_TRUE(wait_for_call("WriteValue 02000001820001010E00"));
  EXPECT_EQ(world_.statuses(),
            (Lines{"Connecting…", "Connected. Discovering services…", k_streaming}));
  const Lines calls = bluetoothd().calls();
  const auto second_search = std::find(calls.begin() + 3, calls.end(), "StartDiscovery");
  ASSERT_NE(second_search, calls.end());
  EXPECT_EQ(*(second_search + 1), "StopDiscovery");
  EXPECT_EQ(*(second_search + 2), connect_call_);
}

TEST_F(BluezCentralTest, ARefusalWithoutAMessageIsToldByItsName) {
  begin();
  bluetoothd().refuse_discovery({"Failed", ""});
  scan();
  EXPECT_THAT(world_.log().lines(), Contains("startScan EXCEPTION: org.bluez.Error.Failed"));
}

// bluetoothd knows no object any more, or one without the method.
TEST_F(BluezCentralTest, ADeviceThatIsForgottenAsItIsConnectedIsFoundAgainOnce) {
  begin();
  world_.bring_devices();
  scan();
  ASSERT_TRUE(search_has_ended());
  const auto expire_at_connect = [this](const Lines& errors) {
    bluetoothd().change_strap(k_strap, [&](fake::Strap& it) { it.expired_errors = errors; });
  };
  for (const char* unknown : {"UnknownObject", "UnknownMethod"}) {
    expire_at_connect({unknown});
    EXPECT_TRUE(stream()) << unknown;
    stop();
  }
  const std::string failed = "Connection failed: it has just gone";
  for (const Lines& errors :
       {Lines{"NoReply", "not asked"}, Lines{"UnknownObject", "UnknownObject", "not asked"}}) {
    expire_at_connect({});
    EXPECT_TRUE(stream());  // bluetoothd knows it again
    stop();
    expire_at_connect(errors);
    world_.start(k_strap);
    EXPECT_TRUE(wait_until([&] { return world_.statuses().back() == failed; })) << errors[0];
    bluetoothd().change_strap(
        k_strap, [](fake::Strap& it) { EXPECT_EQ(it.expired_errors, Lines{"not asked"}); });
    stop();
  }
}

TEST_F(BluezCentralTest, AForgottenDeviceThatStaysAwayIsGivenUp) {
  begin();
  world_.bring_devices();
  scan();
  bluetoothd().change_strap(k_strap, [](fake::Strap& strap) { strap.advertises = false; });
  bluetoothd().expire(k_strap);
  const double begun = monotonic_seconds();
  world_.start(k_strap);
  EXPECT_TRUE(world_.wait_for_status("Connecting…"));
  EXPECT_TRUE(wait_until([&] { return monotonic_seconds() - begun > 9.5; }));
  EXPECT_TRUE(world_.wait_for_status("Device not found. Try scanning again."));
  EXPECT_TRUE(search_has_ended());
}

// The device is there again, and is connected once the search for it has ended.
TEST_F(BluezCentralTest, BluetoothdDyingAtTheEndOfASearchFailsTheConnection) {
  begin();
  world_.bring_devices();
  scan();
  ASSERT_TRUE(search_has_ended());
  bluetoothd().expire(k_strap);
  bluetoothd().answer_discovery_after(0.5);
  world_.start(k_strap);
  ASSERT_TRUE(wait_until([this] {
    const Lines calls = bluetoothd().calls();
    return std::count(calls.begin(), calls.end(), "StopDiscovery") == 2;
  }));
  bluetoothd().die();
  EXPECT_TRUE(world_.wait_for_status("Connection failed: unknown"));
  EXPECT_THAT(bluetoothd().calls(), Not(Contains(connect_call_)));
}

TEST_F(BluezCentralTest, ASearchThatIsStoppedEnds) {
  begin();
  world_.bring_devices();
  scan();
  bluetoothd().change_strap(k_strap, [](fake::Strap& strap) { strap.advertises = false; });
  bluetoothd().expire(k_strap);
  world_.start(k_strap);
  EXPECT_TRUE(wait_until([this] { return bluetoothd().is_discovering(); }));
  stop();
  EXPECT_TRUE(search_has_ended());
  EXPECT_THAT(bluetoothd().calls(), Not(Contains(connect_call_)));
}

// bluetoothd takes 2 s to end a link, passes frames on meanwhile, and would kill a connection that
// is made in that time.
TEST_F(BluezCentralTest, ANewRunWaitsForTheOldLinkToEnd) {
  world_.strap().disconnect_seconds = 2.0;
  world_.strap().frames_after_stop = true;
  world_.strap().ecg = ramp(73 * 1000);
  world_.strap().speed = 20.0;
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  ASSERT_TRUE(wait_until([this] { return world_.samples().size() > 200; }));
  stop();
  const std::size_t received = world_.samples().size();
  const double begun = monotonic_seconds();
  world_.start(k_strap);
  EXPECT_TRUE(world_.wait_for_status("Connecting…"));
  std::this_thread::sleep_for(std::chrono::milliseconds(1000));
  EXPECT_EQ(world_.samples().size(), received);  // frames of the old link
  EXPECT_TRUE(world_.wait_for_status(k_streaming));
  EXPECT_GE(monotonic_seconds() - begun, 1.8);
  EXPECT_TRUE(wait_until([&] { return world_.samples().size() > received + 200; }));
  EXPECT_THAT(world_.statuses(), Not(Contains(k_disconnected)));
}

TEST_F(BluezCentralTest, ALinkThatNeverEndsIsWaitedForFiveSeconds) {
  world_.strap().disconnect_seconds = 60.0;
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  world_.settle();
  stop();
  const double begun = monotonic_seconds();
  ASSERT_TRUE(stream());
  EXPECT_GE(monotonic_seconds() - begun, 4.5);
  EXPECT_LT(monotonic_seconds() - begun, 8.0);
}

TEST_F(BluezCentralTest, AConnectionThatIsStillBeingMadeIsCalledOff) {
  world_.strap().connect_hangs = true;
  begin();
  world_.remember_strap();
  world_.start(k_strap);
  ASSERT_TRUE(wait_for_call(connect_call_));
  stop();
  EXPECT_TRUE(wait_for_call(disconnect_call_));
  EXPECT_EQ(world_.statuses(), Lines{"Connecting…"});
  bluetoothd().change_strap(k_strap, [](fake::Strap& strap) { strap.connect_hangs = false; });
  const double begun = monotonic_seconds();
  EXPECT_TRUE(stream());
  EXPECT_LT(monotonic_seconds() - begun, 3.0);  // a link that was never up need not go down
  world_.settle();
  EXPECT_TRUE(bluetoothd().is_connected(k_strap));  // wanted again, and left alone
  const Lines calls = bluetoothd().calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), disconnect_call_), 1);
}

// bluetoothd tries for 41 s, longer than the bus library waits for other calls; that library's own
// variable shortens the matter.
TEST_F(BluezCentralTest, AConnectionMayTakeLongerThanTheBusWaits) {
  setenv("SYSTEMD_BUS_TIMEOUT", "1s", 1);
  world_.strap().connect_seconds = 2.5;
  begin();
  world_.remember_strap();
  EXPECT_TRUE(stream());
  EXPECT_EQ(world_.statuses().front(), "Connecting…");
  unsetenv("SYSTEMD_BUS_TIMEOUT");
}

TEST_F(BluezCentralTest, AConnectionThatComesUpAfterItWasCalledOffIsEnded) {
  world_.strap().connect_hangs = true;
  world_.strap().comes_up_all_the_same = true;
  world_.strap().connect_seconds = 0.3;
  begin();
  world_.remember_strap();
  world_.start(k_strap);
  ASSERT_TRUE(wait_for_call(connect_call_));
  stop();
  EXPECT_TRUE(wait_until([this] { return bluetoothd().is_connected(k_strap); }));
  EXPECT_TRUE(wait_until([this] { return !bluetoothd().is_connected(k_strap); }));
  const Lines calls = bluetoothd().calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), disconnect_call_), 2);
}

// As a strap does that still holds the link of a program that vanished.
TEST_F(BluezCentralTest, AStrapThatDropsTheLinkAtOnceIsMissed) {
  world_.strap().drops_at_once = true;
  begin();
  world_.remember_strap();
  world_.start(k_strap);
  EXPECT_TRUE(world_.wait_for_status(k_disconnected));
  bluetoothd().change_strap(k_strap, [](fake::Strap& strap) { strap.drops_at_once = false; });
  EXPECT_TRUE(stream());
}

TEST_F(BluezCentralTest, AConnectionThatWasCalledOffIsWatchedDuringTheNextRun) {
  world_.strap().connect_hangs = true;
  world_.strap().comes_up_all_the_same = true;
  world_.strap().connect_seconds = 2.0;
  begin();
  world_.remember_strap();
  fake::Strap other;
  other.address = "A0:9E:1A:00:00:02";
  other.name = "Polar H10 other";
  bluetoothd().add_strap(other, true);
  world_.start(k_strap);
  ASSERT_TRUE(wait_for_call(connect_call_));
  stop();
  world_.start(other.address);
  ASSERT_TRUE(world_.wait_for_status(k_streaming));
  stop();
  EXPECT_FALSE(bluetoothd().is_connected(k_strap));
  EXPECT_TRUE(wait_until([this] { return bluetoothd().is_connected(k_strap); }));
  EXPECT_TRUE(wait_until([this] { return !bluetoothd().is_connected(k_strap); }));
}

// Who only asks it to stop leaves it with a link that nobody has.
TEST_F(BluezCentralTest, TheEndWaitsUntilAStrapThatAnswersSlowlyIsAskedToLeave) {
  world_.strap().answer_seconds = 0.3;
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  world_.end_driver();
  EXPECT_TRUE(wait_until([this] { return !bluetoothd().is_connected(k_strap); }));
  EXPECT_EQ(world_.writes().back(), "0300");
}

TEST_F(BluezCentralTest, AStrapThatStopsAnsweringIsLeftAllTheSame) {
  world_.strap().falls_silent_on_write = true;
  begin();
  world_.remember_strap();
  world_.start(k_strap);
  ASSERT_TRUE(wait_for_call("WriteValue 0100"));
  const double begun = monotonic_seconds();
  stop();
  EXPECT_LT(monotonic_seconds() - begun, 0.5);
  EXPECT_TRUE(wait_for_call(disconnect_call_));
  EXPECT_LT(monotonic_seconds() - begun, 3.0);
}

// What the link had still to ask for is not asked for any more: it would start what the stop ends.
TEST_F(BluezCentralTest, AStopWhileTheStrapIsSubscribedToSkipsTheRest) {
  world_.strap().answer_seconds = 0.8;  // within the second that a stop waits for
  begin();
  world_.remember_strap();
  world_.start(k_strap);
  ASSERT_TRUE(wait_until([this] { return bluetoothd().calls().size() == 2; }));
  stop();
  ASSERT_TRUE(wait_for_call(disconnect_call_));
  EXPECT_THAT(bluetoothd().calls(), ElementsAre(connect_call_, StartsWith("StartNotify "),
                                                "WriteValue 0300", disconnect_call_));
}

// As a program leaves it that was killed: the strap answers "already in state", and frames come.
TEST_F(BluezCentralTest, AStrapThatStreamsAlreadyIsTakenAsItIs) {
  world_.strap().is_streaming_already = true;
  world_.strap().ecg = ramp(73 * 20);
  world_.strap().speed = 20.0;
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  EXPECT_TRUE(wait_until([this] { return world_.samples().size() == 73 * 20; }));
}

TEST_F(BluezCentralTest, ServicesThatAreToldTooEarlyAreUsedWhenTheyCome) {
  world_.strap().resolves_early = true;
  begin();
  world_.remember_strap();
  EXPECT_TRUE(stream());
}

TEST_F(BluezCentralTest, OtherNotificationsAndOddFramesAreIgnored) {
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  world_.settle();
  bluetoothd().notify(k_strap, "heart_rate", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0});
  bluetoothd().notify(k_strap, "control", fake::Bytes(13, 0));
  bluetoothd().notify(k_strap, "data", {});
  bluetoothd().notify(k_strap, "data", fake::Bytes(12, 0));
  bluetoothd().notify(k_strap, "data", {2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0});
  bluetoothd().notify(k_strap, "data", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0});
  EXPECT_TRUE(wait_until([this] { return !world_.samples().empty(); }));
  EXPECT_EQ(world_.samples(), std::vector<double>{7.0});
}

TEST_F(BluezCentralTest, NonsenseFromTheBusChangesNothing) {
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  world_.settle();
  bluetoothd().send_nonsense(k_strap);
  world_.send_frame({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0});
  EXPECT_TRUE(wait_until([this] { return !world_.samples().empty(); }));
  EXPECT_EQ(world_.samples(), std::vector<double>{9.0});
  EXPECT_EQ(world_.statuses().back(), k_streaming);
}

// Says to every connection of the bus, as bluetoothd would, that the adapter was turned off. A
// signal that is sent to somebody by name arrives whatever that somebody listens to.
void lie_to_everybody(const std::string& bus_address) {
  sd_bus* bus = nullptr;
  ASSERT_GE(sd_bus_new(&bus), 0);
  ASSERT_GE(sd_bus_set_address(bus, bus_address.c_str()), 0);
  ASSERT_GE(sd_bus_set_bus_client(bus, 1), 0);
  ASSERT_GE(sd_bus_start(bus), 0);
  for (int name = 0; name < 10; ++name) {
    sd_bus_message* signal = nullptr;
    sd_bus_message_new_signal(bus, &signal, "/org/bluez/hci0", "org.freedesktop.DBus.Properties",
                              "PropertiesChanged");
    sd_bus_message_append(signal, "sa{sv}as", "org.bluez.Adapter1", 1, "Powered", "b", 0, 0);
    sd_bus_send_to(bus, signal, (":1." + std::to_string(name)).c_str(), nullptr);
    sd_bus_message_unref(signal);
  }
  sd_bus_flush_close_unref(bus);
}

TEST_F(BluezCentralTest, SignalsOfSomebodyElseAreNotBelieved) {
  begin();
  world_.remember_strap();
  ASSERT_TRUE(stream());
  lie_to_everybody(world_.bus().address());
  world_.settle();
  world_.send_frame({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0});
  EXPECT_TRUE(wait_until([this] { return !world_.samples().empty(); }));
  EXPECT_EQ(world_.statuses().back(), k_streaming);
}

TEST_F(BluezCentralTest, AllBusWorkIsOnOneThreadOfThatName) {
  begin();
  int named = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    read_file(task.path().string() + "/comm", name);
    named += name == "tvn.ble\n";
  }
  EXPECT_EQ(named, 1);
}

}  // namespace
}  // namespace tvn
