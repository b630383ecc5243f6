#include "session/recovery.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>

#include "base/clock.h"
#include "session/markers.h"
#include "session/run_journal.h"
#include "session/saved_recordings.h"
#include "tests/file_limit.h"
#include "tests/session/live_run_fixture.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

class RecoveryTest : public LiveRunTest {
 protected:
  // A journal that a program left behind, last written to at the time 1735722600.
  std::string leave_journal(const std::string& bytes, const std::string& name = ".run-1.journal") {
    const std::string path = folder_ / name;
    EXPECT_TRUE(write_file(path, bytes));
    struct timespec times[2] = {{1735722600, 0}, {1735722600, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    return path;
  }
  static std::string journal_of(double seconds) {
    std::string bytes = journal_head();
    append_settings_record(bytes, {"anna", 5.5, 11, "F", 33});
    append_samples_records(bytes, 0, ramp(0, static_cast<std::size_t>(seconds * 130)));
    return bytes;
  }
  std::vector<std::string> recover() { return recover_journals(folder_.path()); }
  std::string text_of(const std::string& name) {
    std::string text = "(missing)";
    read_file(recordings_dir(engine_) + "/" + name, text);
    return text;
  }
  const std::string name_ =
      "recovered_anna_on5.5_off11_F33_" + local_time_text(1735722600, "%Y%m%d-%H%M%S") + ".csv";
};

TEST_F(RecoveryTest, AJournalBecomesARecordingWithItsMarkers) {
  std::string bytes = journal_of(10);
  append_marker_record(bytes, {260, 4});
  leave_journal(bytes);
  EXPECT_THAT(recover(), ElementsAre(name_));
  EXPECT_EQ(text_of(name_), ecg_text(ramp(0, 1300)));
  EXPECT_EQ(read_markers(recordings_dir(engine_) + "/" + name_).size(), 1u);
  EXPECT_THAT(journals(), IsEmpty());
  EXPECT_THAT(recover(), IsEmpty());
}

TEST_F(RecoveryTest, LessThanThreeSecondsGo) {
  std::string bytes = journal_head();
  append_samples_records(bytes, 0, ramp(0, 389));
  leave_journal(bytes, ".run-1.journal");
  append_samples_records(bytes, 389, ramp(389, 1));
  leave_journal(bytes, ".run-2.journal");
  leave_journal("", ".run-3.journal");
  EXPECT_THAT(recover(), ElementsAre(MatchesRegex("recovered_recording_on5_off11_M40_.*")));
  EXPECT_THAT(journals(), IsEmpty());
}

TEST_F(RecoveryTest, WhatWasSavedDuringTheRunDoesNotCountButComesAlong) {
  std::string bytes = journal_of(100);
  append_saved_record(bytes, 100 * 130 - 389);
  leave_journal(bytes, ".run-1.journal");
  EXPECT_THAT(recover(), IsEmpty());
  EXPECT_THAT(journals(), IsEmpty());
  bytes = journal_of(100);
  append_saved_record(bytes, 100 * 130 - 390);
  leave_journal(bytes, ".run-1.journal");
  EXPECT_THAT(recover(), ElementsAre(name_));
  EXPECT_EQ(text_of(name_), ecg_text(ramp(0, 13000)));
}

TEST_F(RecoveryTest, ADamagedJournalIsKeptAside) {
  std::string bytes = journal_of(5);
  bytes += "no record";
  append_samples_records(bytes, 650, ramp(650, 650));
  leave_journal(bytes, ".run-1.journal");
  leave_journal(std::string(5000, 'x'), ".run-2.journal");
  EXPECT_THAT(recover(), ElementsAre(name_));
  EXPECT_EQ(text_of(name_), ecg_text(ramp(0, 1300)));
  EXPECT_THAT(journals(), ElementsAre(".run-1.journal.damaged", ".run-2.journal.damaged"));
  EXPECT_THAT(recover(), IsEmpty());  // once
  EXPECT_THAT(journals(), SizeIs(2));
}

TEST_F(RecoveryTest, CutAtEveryByteOfItsLastTwoRecordsItGivesTheRest) {
  std::string bytes = journal_of(3);
  const std::size_t whole = bytes.size();
  append_samples_records(bytes, 390, ramp(390, 5));
  const std::size_t first_end = bytes.size();
  append_samples_records(bytes, 395, ramp(395, 5));
  for (std::size_t length = whole; length <= bytes.size(); ++length) {
    leave_journal(bytes.substr(0, length));
    ASSERT_THAT(recover(), ElementsAre(name_)) << length;
    const std::size_t samples = length < first_end ? 390 : length < bytes.size() ? 395 : 400;
    ASSERT_EQ(text_of(name_), ecg_text(ramp(0, samples))) << length;
    ASSERT_THAT(journals(), IsEmpty()) << length;
    fs::remove(recordings_dir(engine_) + "/" + name_);
  }
}

TEST_F(RecoveryTest, ARecordingOfTheSameNameIsNotReplaced) {
  leave_journal(journal_of(10), ".run-1.journal");
  leave_journal(journal_of(20), ".run-2.journal");
  const std::vector<std::string> names = recover();
  ASSERT_THAT(names, SizeIs(2));
  EXPECT_EQ(text_of(names[0]), ecg_text(ramp(0, 1300)));
  EXPECT_EQ(text_of(names[1]), ecg_text(ramp(0, 2600)));
}

// A recovery that was itself cut short, after the recording and before the journal's end.
TEST_F(RecoveryTest, ARecoveryMayBeRepeated) {
  leave_journal(journal_of(10));
  recover();
  leave_journal(journal_of(10));
  EXPECT_THAT(recover(), ElementsAre(name_));
  EXPECT_THAT(recordings(), SizeIs(1));
}

TEST_F(RecoveryTest, AFullDiskLeavesTheJournalForTheNextStart) {
  leave_journal(journal_of(10));
  {
    const FileLimit full(1000);
    EXPECT_THAT(recover(), IsEmpty());
  }
  EXPECT_THAT(recordings(), IsEmpty());
  EXPECT_THAT(recover(), ElementsAre(name_));
}

TEST_F(RecoveryTest, AnotherProgramsJournalIsLeftAlone) {
  start();
  send(10);
  ASSERT_TRUE(journal_reaches(1300));
  EXPECT_THAT(recover(), IsEmpty());
  stop(engine_);
  EXPECT_THAT(recover(), IsEmpty());  // it may still be saved
  EXPECT_THAT(journals(), SizeIs(1));
}

TEST_F(RecoveryTest, AnUnsavedRunThatAnotherReplacesBecomesARecording) {
  for (const bool by_replay : {false, true}) {
    start();
    send(30);
    add_marker(engine_, 3);
    if (by_replay) {
      start_replay(engine_, write_recording("b.txt", ramp(0, 500)), {{"speed", "0"}});
    } else {
      start();
    }
    EXPECT_THAT(journals(), SizeIs(by_replay ? 0 : 1));
    ASSERT_GE(recordings().size(), 2u);
    const auto recovered = names_in(recordings_dir(engine_), "recovered_anna_on4_off6_F40_");
    ASSERT_THAT(recovered, SizeIs(2)) << "the recording and its markers";
    EXPECT_EQ(text_of(recovered[0]), ecg_text(ramp(0, 3900)));
    for (const std::string& name : recordings()) fs::remove(recordings_dir(engine_) + "/" + name);
  }
}

TEST_F(RecoveryTest, OfAReplacedRunLessThanThirtyUnsavedSecondsGo) {
  start();
  send(29.9);
  start();
  EXPECT_THAT(recordings(), IsEmpty());
  EXPECT_THAT(journals(), SizeIs(1));
  send(60);
  save_recording(engine_);
  const std::vector<std::string> saved = recordings();
  send(29.9);
  start();
  EXPECT_EQ(recordings(), saved);
  send(60);
  stop(engine_);
  save_recording(engine_);
  start();
  EXPECT_THAT(names_in(recordings_dir(engine_), "recovered_"), IsEmpty());
  EXPECT_THAT(journals(), SizeIs(1));
}

TEST_F(RecoveryTest, AReplacedRunThatCannotBeWrittenKeepsItsJournal) {
  start();
  send(31);
  stop(engine_);
  {
    const FileLimit full(1000);
    start();
  }
  stop(engine_);
  EXPECT_THAT(recordings(), IsEmpty());
  EXPECT_THAT(journals(), SizeIs(2));
  EXPECT_THAT(recover(), SizeIs(1));
  EXPECT_THAT(recordings(), SizeIs(1));
}

}  // namespace
}  // namespace tvn
