#include "session/recovery.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <list>
#include <memory>
#include <set>

#include "base/clock.h"
#include "session/markers.h"
#include "session/run_journal.h"
#include "session/saved_recordings.h"
#include "tests/base/faulty_read.h"
#include "tests/file_limit.h"
#include "tests/session/live_run_fixture.h"
#include "tests/session/scarce_memory.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::UnorderedElementsAre;

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

TEST_F(RecoveryTest, WithoutMemoryForItAJournalWaitsForAnotherStart) {
  const std::string path = leave_journal(journal_of(1000));
  testing::internal::CaptureStderr();
  {
    const ScarceMemory scarce(100'000);
    EXPECT_THAT(recover(), IsEmpty());
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Could not recover " + path + ": std::bad_alloc\n");
  EXPECT_THAT(recover(), ElementsAre(name_));
}

TEST_F(RecoveryTest, AJournalThatCannotBeReadWaitsForAnotherStart) {
  const std::string path = leave_journal(journal_of(10));
  testing::internal::CaptureStderr();
  {
    const FaultyRead broken([] { return EIO; });
    EXPECT_THAT(recover(), IsEmpty());
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Could not read the journal " + path + "; it waits for another start\n");
  EXPECT_THAT(recover(), ElementsAre(name_));
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
  append_saved_record(bytes, 100 * 130 - 389, 0);
  leave_journal(bytes, ".run-1.journal");
  EXPECT_THAT(recover(), IsEmpty());
  EXPECT_THAT(journals(), IsEmpty());
  bytes = journal_of(100);
  append_saved_record(bytes, 100 * 130 - 390, 0);
  leave_journal(bytes, ".run-1.journal");
  EXPECT_THAT(recover(), ElementsAre(name_));
  EXPECT_EQ(text_of(name_), ecg_text(ramp(0, 13000)));
}

TEST_F(RecoveryTest, AMarkerThatNoSaveHoldsBringsTheRunBack) {
  for (const std::size_t saved_markers : {1u, 0u}) {
    std::string bytes = journal_of(10);
    append_marker_record(bytes, {1300, 4});
    append_saved_record(bytes, 1300, saved_markers);
    leave_journal(bytes);
    EXPECT_THAT(recover(), SizeIs(1 - saved_markers));
    EXPECT_THAT(journals(), IsEmpty());
  }
  EXPECT_EQ(read_markers(recordings_dir(engine_) + "/" + name_).size(), 1u);
}

TEST_F(RecoveryTest, ADamagedJournalIsKeptAside) {
  std::string bytes = journal_of(5);
  bytes += "no record";
  append_samples_records(bytes, 650, ramp(650, 650));
  leave_journal(bytes, ".run-1.journal");
  leave_journal(std::string(5000, 'x'), ".run-2.journal");
  testing::internal::CaptureStderr();
  EXPECT_THAT(recover(), ElementsAre(name_));
  const std::string kept = "A damaged journal is kept as " + folder_ / ".run-";
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            kept + "1.journal.damaged\n" + kept + "2.journal.damaged\n");
  EXPECT_EQ(text_of(name_), ecg_text(ramp(0, 1300)));
  EXPECT_THAT(journals(), ElementsAre(".run-1.journal.damaged", ".run-2.journal.damaged"));
  EXPECT_THAT(recover(), IsEmpty());  // once
  EXPECT_THAT(journals(), SizeIs(2));
}

// A folder is in the way.
TEST_F(RecoveryTest, AJournalThatStaysIsTold) {
  leave_journal(std::string(5000, 'x'), ".run-1.journal");
  fs::create_directory(folder_ / ".run-1.journal.damaged");
  testing::internal::CaptureStderr();
  EXPECT_THAT(recover(), IsEmpty());
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "A damaged journal stays, and will be recovered again: " + folder_ / ".run-1.journal" + "\n");
  EXPECT_TRUE(fs::is_regular_file(folder_ / ".run-1.journal"));
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

TEST_F(RecoveryTest, AReplacedRunThatMemoryIsShortForIsWrittenLater) {
  start();
  send(31);
  testing::internal::CaptureStderr();
  {
    const ScarceMemory scarce(8'000);
    start();
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Could not recover the run that ended: std::bad_alloc\n"
            "A run that ended is in memory alone; a start or a save tries again\n");
  EXPECT_THAT(recordings(), IsEmpty());
  start();
  EXPECT_THAT(recordings(), SizeIs(1));
}

// Its journal ended on the full disk, too: the run is in memory alone until there is room.
TEST_F(RecoveryTest, AReplacedRunWithoutAJournalIsWrittenWhenThereIsRoom) {
  for (const bool by_save : {false, true}) {
    {
      const FileLimit full(2000);
      testing::internal::CaptureStderr();
      start();
      send(31);
      start();
      send(31.5);
      start();
      EXPECT_THAT(
          testing::internal::GetCapturedStderr(),
          HasSubstr("A run that ended is in memory alone; a start or a save tries again\n"));
      EXPECT_THAT(recordings(), IsEmpty());
    }
    send(2);
    if (by_save) {
      EXPECT_THAT(save_recording(engine_), HasSubstr(R"("ok":true)"));
    } else {
      start();
    }
    const auto recovered = names_in(recordings_dir(engine_), "recovered_anna_");
    ASSERT_THAT(recovered, SizeIs(2));
    const std::vector<std::string> texts = {text_of(recovered[0]), text_of(recovered[1])};
    EXPECT_THAT(texts, UnorderedElementsAre(ecg_text(ramp(0, 4030)), ecg_text(ramp(0, 4095))));
    EXPECT_THAT(journals(), SizeIs(1)) << "of the run that goes on";
    start();
    EXPECT_THAT(names_in(recordings_dir(engine_), "recovered_anna_"), SizeIs(2)) << "once";
    stop(engine_);
    for (const std::string& name : recordings()) fs::remove(recordings_dir(engine_) + "/" + name);
    for (const std::string& name : journals()) fs::remove(folder_ / name);
  }
}

// Two programs that recover runs of one second and name take a name each.
TEST_F(RecoveryTest, SeveralProgramsAtOnceTakeNoNameTwice) {
  constexpr std::size_t k_journals = 24;
  for (std::size_t i = 0; i < k_journals; ++i) {
    leave_journal(journal_of(10 + static_cast<double>(i)),
                  ".run-" + std::to_string(i) + ".journal");
  }
  std::vector<pid_t> programs;
  for (int i = 0; i < 4; ++i) {
    programs.push_back(fork());
    if (programs.back() == 0) {
      recover_journals(folder_.path());
      _exit(0);
    }
  }
  for (const pid_t program : programs) waitpid(program, nullptr, 0);
  EXPECT_THAT(journals(), IsEmpty());
  std::set<std::size_t> sizes;
  for (const std::string& name : recordings()) {
    sizes.insert(fs::file_size(recordings_dir(engine_) + "/" + name));
  }
  EXPECT_THAT(sizes, SizeIs(k_journals)) << "each journal's own recording";
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
  EXPECT_THAT(recover(), IsEmpty()) << "it may still be written";
  std::list<std::shared_ptr<LeftRun>> left;  // ends, journals included, without the session's lock
  {
    const SessionLock hold(engine_.lock);
    left.swap(engine_.left_runs);
  }
  left.clear();  // the program has ended
  EXPECT_THAT(recover(), SizeIs(1));
  EXPECT_THAT(recordings(), SizeIs(1));
}

}  // namespace
}  // namespace tvn
