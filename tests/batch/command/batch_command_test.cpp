// talvern-batch as its users run it.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <map>
#include <thread>

#include "base/files.h"
#include "base/text_lines.h"
#include "batch/batch_job.h"
#include "host/setup/startup.h"
#include "recording/raw_ecg.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/batch/command/batch_program.h"
#include "tests/file_limit.h"
#include "tests/session/session_fixture.h"
#include "tests/without_streams.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

using Files = std::map<std::string, std::string>;  // path within a folder, content

class BatchCommandTest : public SessionTest {
 protected:
  std::string root() { return folder_ / "root"; }
  std::string out(const std::string& name = "out") { return folder_ / name; }
  void add(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(root() + "/" + path).parent_path());
    ASSERT_TRUE(write_file(root() + "/" + path, text));
  }
  void add_ecg(const std::string& path, double seconds = 60, std::uint64_t seed = 1,
               double fs = 130) {
    synthetic::EcgSettings settings;
    settings.seconds = seconds;
    settings.seed = seed;
    settings.fs = fs;
    std::string text;
    for (const double sample : synthetic::make_ecg(settings)) text += std::to_string(sample) + "\n";
    add(path, text);
  }
  // Four people with seven recordings, of which two give nothing.
  void add_study() {
    add_ecg("A/one.txt", 60, 1);
    add_ecg("A/two.csv", 40, 2);
    add("A/one_markers.csv", "marker,sample_index,seconds\n3,100,0.769\n7,2100,16.154\n");
    add("A/empty.txt", "ecg\n");
    add_ecg("B b/early, \"loud\".txt", 50, 3);
    add_ecg("x/A/again.txt", 64, 4);
    std::string rr = "Kubios HRV\nRR INTERVAL DATA\n,Time,RR\n";
    for (int i = 0; i < 50; ++i) rr += ",1,0.75\n,2,0.85\n";
    add("K/rr.csv", rr);
    add("nobody/short.txt", "1\n2\n1\n");
  }
  ProgramEnd run(const std::vector<std::string>& arguments, const std::string& input = "") {
    return BatchProgram(arguments, folder_ / "data", input).wait();
  }
  static Files files_in(const std::string& folder) {
    Files files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      std::string bytes;
      EXPECT_TRUE(read_file(entry.path().string(), bytes));
      files[fs::relative(entry.path(), folder).string()] = bytes;
    }
    return files;
  }
  std::string content(const std::string& path) {
    std::string text = "(missing)";
    read_file(out() + "/" + path, text);
    return text;
  }
  // The page's batch over the same folder, and the date that its reports tell.
  Files files_of_page(std::string& date) {
    load_report_logo(folder_ / "no web folder");
    do {
      fs::remove_all(folder_ / "exports");
      date = report_date(std::time(nullptr));
      run_batch(engine_, {root(), false, "", {"F", 33, 4, 6, 10}});
    } while (date != report_date(std::time(nullptr)));  // not over the turn of a minute
    return files_in(folder_ / "exports");
  }
};

TEST_F(BatchCommandTest, WritesTheReportsAndTablesOfThePage) {
  add_study();
  std::string date;
  const Files page = files_of_page(date);
  const ProgramEnd end = run({"--sex=F", "--age=33", "--in=4", "--out=6", "--date", date, "-o",
                              out(), "--jobs=2", root()});
  EXPECT_EQ(end.status, 1);
  Files files = files_in(out());
  std::erase_if(files, [](const auto& file) {
    return file.first.ends_with(".jsonl") || file.first.find('/') == std::string::npos;
  });
  EXPECT_EQ(page.size(), 8u);
  EXPECT_EQ(files, page);
}

TEST_F(BatchCommandTest, TheTablesTellOfEveryFile) {
  add_study();
  run({"-q", "-o", out(), root()});
  const std::string summary = content("summary.csv");
  EXPECT_THAT(summary, StartsWith("person,recording,file,seconds,beats,mean_heart_rate,"
                                  "breathing_frequency,last_tvn,mean_log_power,cycles,"
                                  "normative_level,program_version,warning\nA,empty,"));
  EXPECT_EQ(std::count(summary.begin(), summary.end(), '\n'), 1 + 7);
  const std::string r = root();
  EXPECT_THAT(summary, HasSubstr("A,empty," + r +
                                 "/A/empty.txt,,,,0.0625,,,0,9.1148,1.0.0,"
                                 "is no recording: it has no line that is a number\n"));
  // 39 breaths of ... the made ECG: beats 0.85 s apart on average in 60 s.
  EXPECT_THAT(summary, ContainsRegex("A,one," + r +
                                     "/A/one.txt,60,[67][0-9],7[0-9][.0-9]*,0.0625,"
                                     "[-.0-9]+,[.0-9]+,3,9.1148,1.0.0,\n"));
  EXPECT_THAT(summary, HasSubstr("\nB_b,\"early, \"\"loud\"\"\",\"" + r +
                                 "/B b/early, \"\"loud\"\".txt\","));
  // 100 intervals of 0.8 s on average, as their mean rate the mean of 80 and 70.6 over time.
  EXPECT_THAT(summary, HasSubstr("K,Kubios RR (100 beats)," + r + "/K/rr.csv,80,100,7"));
  EXPECT_THAT(summary, HasSubstr("\nA-2,again,"));
  const std::string cycles = content("cycles.csv");
  EXPECT_THAT(cycles, StartsWith("person,recording,file,cycle,begin,log_power,markers\nA,one,"));
  EXPECT_EQ(std::count(cycles.begin(), cycles.end(), '\n'), 1 + 3 + 2 + 3 + 5 + 4);
  EXPECT_THAT(cycles, ContainsRegex("A,one," + r + "/A/one.txt,0,0,[.0-9]+,3\n"));
  EXPECT_THAT(cycles, ContainsRegex("A,one," + r + "/A/one.txt,1,16,[.0-9]+,7\n"));
  EXPECT_THAT(cycles, ContainsRegex("A,two," + r + "/A/two.csv,1,16,[.0-9]+,\n"));
}

TEST_F(BatchCommandTest, WhatGivesNothingIsNamedAndCounted) {
  add_study();
  const ProgramEnd end = run({"-o", out(), root()});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.output, "");
  EXPECT_EQ(end.errors,
            "talvern-batch: " + root() +
                "/A/empty.txt is no recording: it has no line that is a number\n"
                "talvern-batch: " +
                root() +
                "/nobody/short.txt has fewer than 3 intervals between beats\n"
                "talvern-batch: 7 recordings, 2 of them without a result; 4 reports in " +
                out() + "\n");
}

TEST_F(BatchCommandTest, TheNumberOfJobsChangesNothing) {
  add_study();
  for (int i = 0; i < 20; ++i) add_ecg("many/" + std::to_string(i) + ".txt", 20 + i % 3 * 30, 9);
  const std::vector<std::string> common = {"--json", "--date=d", "-q"};
  Files wanted;
  std::string lines;
  for (const char* jobs : {"1", "2", "7"}) {
    std::vector<std::string> arguments = common;
    arguments.insert(arguments.end(), {"-j", jobs, "-o", out(jobs), root()});
    const ProgramEnd end = run(arguments);
    if (wanted.empty()) wanted = files_in(out(jobs));
    if (lines.empty()) lines = end.output;
    EXPECT_EQ(files_in(out(jobs)), wanted) << jobs;
    EXPECT_EQ(end.output, lines) << jobs;
  }
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 27);
  EXPECT_EQ(wanted.size(), 5u * 3 + 2);
}

TEST_F(BatchCommandTest, TablesCanBeMadeOfTheLinesLater) {
  add_study();
  const ProgramEnd end = run({"-q", "--json", "-o", out(), root()});
  ASSERT_TRUE(write_file(folder_ / "lines", end.output));
  EXPECT_EQ(run({"--tables", "-o", out("later"), folder_ / "lines"}).status, 0);
  const Files later = files_in(out("later"));
  EXPECT_EQ(later.size(), 2u);
  EXPECT_EQ(later.at("summary.csv"), content("summary.csv"));
  EXPECT_EQ(later.at("cycles.csv"), content("cycles.csv"));
  EXPECT_EQ(run({"--tables", "-o", out("piped")}, end.output).status, 0);
  EXPECT_EQ(files_in(out("piped")), later);
}

TEST_F(BatchCommandTest, ALineThatIsCutOffMakesNoTables) {
  add_ecg("A/one.txt");
  const std::string lines = run({"-q", "--json", "-o", out(), root()}).output;
  const ProgramEnd end =
      run({"--tables", "-o", out("later")}, lines + lines.substr(0, lines.size() / 2));
  EXPECT_EQ(end.status, 2);
  EXPECT_EQ(end.errors, "talvern-batch: -:2: not a whole line of --json\n");
  EXPECT_THAT(files_in(out("later")), IsEmpty());
}

TEST_F(BatchCommandTest, ALineWithoutOneOfItsMembersMakesNoTables) {
  add_ecg("A/one.txt");
  const std::string line = run({"-q", "--json", "-o", out(), root()}).output;
  for (const std::string member :
       {"person", "recording", "cycle_seconds", "last_tvn", "log_power"}) {
    std::string other = line;
    const std::size_t at = other.find('"' + member + "\":");
    ASSERT_NE(at, std::string::npos) << member;
    other.replace(at, member.size() + 2, "\"other\"");
    const ProgramEnd end = run({"--tables", "-o", out("later")}, other);
    EXPECT_EQ(end.status, 2) << member;
    EXPECT_EQ(end.errors, "talvern-batch: -:1: not a whole line of --json\n") << member;
  }
}

TEST_F(BatchCommandTest, GroupsGoToOtherMachinesAndComeBack) {
  add_study();
  const ProgramEnd whole = run({"-q", "--json", "--date=d", "--age=50", "-o", out(), root()});
  const ProgramEnd list = run({"--list", "--date=d", "--age=50", root()});
  EXPECT_EQ(list.status, 0);
  EXPECT_EQ(std::count(list.output.begin(), list.output.end(), '\n'), 5);
  EXPECT_FALSE(fs::exists(folder_ / "data/exports"));
  std::string lines;
  std::string_view rest = list.output;
  while (!rest.empty()) {
    const std::string group(take_line(rest));
    lines += run({"-q", "--json", "-o", out("parts"), "--group-file=-"}, group + "\n").output;
  }
  EXPECT_EQ(lines, whole.output);
  run({"--tables", "-o", out("parts")}, lines);
  EXPECT_EQ(files_in(out("parts")), files_in(out()));
}

TEST_F(BatchCommandTest, AnEmptyShareIsDone) {
  EXPECT_EQ(run({"-q", "-o", out(), "--group-file=-"}).status, 0);
  const ProgramEnd end = run({"-o", out(), "--group-file=-"}, "{}\n");
  EXPECT_EQ(end.status, 2);
  EXPECT_EQ(end.errors, "talvern-batch: -:1: not a line of --list\n");
}

TEST_F(BatchCommandTest, EveryPersonHasTheirOwnValues) {
  add_ecg("A/one.txt");
  add_ecg("B/two.txt");
  ASSERT_TRUE(write_file(folder_ / "p.csv", "folder,sex,age,in,out\nA,F,33,4,6\nB,M,70,,\n"));
  EXPECT_EQ(run({"-q", "--people", folder_ / "p.csv", "-o", out(), root()}).status, 0);
  const std::string a = content("A_export/A_report.pdf"), b = content("B_export/B_report.pdf");
  EXPECT_THAT(a, HasSubstr("(F / 33) Tj"));
  EXPECT_THAT(a, HasSubstr("(10 s) Tj"));
  EXPECT_THAT(a, Not(HasSubstr("were not set per person")));
  EXPECT_THAT(b, HasSubstr("(M / 70) Tj"));
  EXPECT_THAT(b, HasSubstr("(16 s) Tj"));
  // 9.465 - 0.02832 * 33, as the report's colours have it for women.
  EXPECT_THAT(content("summary.csv"), HasSubstr(",0.1,"));
  EXPECT_THAT(content("summary.csv"), HasSubstr(",8.53044,1.0.0,\n"));
}

TEST_F(BatchCommandTest, WrongPeopleAreToldBeforeAnythingRuns) {
  add_ecg("A/one.txt");
  ASSERT_TRUE(write_file(folder_ / "p.csv", "folder,sex,age,in,out\nA,F,133,4,6\nC,M,70,,\n"));
  const ProgramEnd end = run({"--people", folder_ / "p.csv", "-o", out(), root()});
  EXPECT_EQ(end.status, 2);
  const std::string people = folder_ / "p.csv";
  EXPECT_EQ(end.errors, "talvern-batch: " + people +
                            ":2: age must be whole years to 120, not '133'\n" + people +
                            ":3: no recordings in a folder C\n");
  EXPECT_FALSE(fs::exists(out()));
}

TEST_F(BatchCommandTest, ResumeLeavesWhatIsWholeAndDoesTheRest) {
  add_study();
  const ProgramEnd whole = run({"-q", "--json", "--date=d", "-o", out(), root()});
  const Files wanted = files_in(out());
  fs::remove_all(out() + "/A_export");
  fs::resize_file(out() + "/K_export/K_report.pdf", 1000);  // as after a power cut
  fs::remove(out() + "/summary.csv");
  const auto before = fs::last_write_time(out() + "/B_b_export/B_b_report.pdf");
  const ProgramEnd rest = run({"--json", "--date=d", "-o", out(), "--resume", root()});
  EXPECT_EQ(rest.status, 1);
  EXPECT_EQ(rest.output, whole.output);
  EXPECT_EQ(files_in(out()), wanted);
  EXPECT_EQ(fs::last_write_time(out() + "/B_b_export/B_b_report.pdf"), before);
  EXPECT_THAT(rest.errors, EndsWith("7 recordings, 2 of them without a result; 2 reports in " +
                                    out() + ", 2 there before\n"));
}

TEST_F(BatchCommandTest, WhatIsThereIsNeverReplaced) {
  add_ecg("A/one.txt");
  fs::create_directories(out() + "/A_export");
  ASSERT_TRUE(write_file(out() + "/A_export/mine.txt", "x"));
  for (const char* option : {"-q", "--resume"}) {
    const ProgramEnd end = run({option, "-o", out(), root()});
    EXPECT_EQ(end.status, 2);
    EXPECT_THAT(end.errors, HasSubstr(out() + "/A_export is "));
    EXPECT_EQ(files_in(out()).size(), 1u);
  }
}

TEST_F(BatchCommandTest, ResumeTellsOtherSettingsApart) {
  add_ecg("A/one.txt");
  EXPECT_EQ(run({"-q", "-o", out(), root()}).status, 0);
  const Files before = files_in(out());
  EXPECT_EQ(run({"-q", "-o", out(), root()}).status, 2);
  EXPECT_EQ(run({"-q", "--resume", "--age=41", "-o", out(), root()}).status, 2);
  EXPECT_EQ(files_in(out()), before);
  // The person's folder alone is in the way, too.
  fs::remove(out() + "/summary.csv");
  EXPECT_EQ(run({"-q", "-o", out(), root()}).status, 2);
}

// Killed at any moment there are only whole folders, and going on gives what one run gives.
TEST_F(BatchCommandTest, AKilledRunLeavesNothingHalf) {
  for (int i = 0; i < 12; ++i) add_ecg("P" + std::to_string(10 + i) + "/1.txt", 120, 5);
  run({"-q", "--date=d", "-o", out(), root()});
  const Files wanted = files_in(out());
  const std::vector<std::string> arguments = {"-q",          "--date=d", "-o",
                                              out("killed"), "--resume", root()};
  int kills = 0;
  for (int milliseconds = 30;; milliseconds += 60) {
    BatchProgram program(arguments, folder_ / "data");
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    kill(program.process(), SIGKILL);
    if (program.wait().status == 0) break;
    ++kills;
    if (!fs::exists(out("killed"))) continue;
    for (const auto& [path, bytes] : files_in(out("killed"))) {
      if (path.starts_with(".")) continue;
      EXPECT_EQ(bytes, wanted.at(path)) << path;
    }
  }
  EXPECT_GT(kills, 1);
  EXPECT_EQ(files_in(out("killed")), wanted);
}

TEST_F(BatchCommandTest, AnInterruptEndsAfterTheRecordingsUnderWay) {
  for (int i = 0; i < 100; ++i) add_ecg("P" + std::to_string(100 + i) + "/1.txt", 120, 5);
  for (const int signal : {SIGINT, SIGTERM}) {
    const std::string to = out(std::to_string(signal));
    BatchProgram program({"-q", "-j1", "-o", to, root()}, folder_ / "data");
    ASSERT_TRUE(wait_until([&] { return fs::exists(to + "/P100_export"); }));
    kill(program.process(), signal);
    const ProgramEnd end = program.wait();
    EXPECT_EQ(end.status, 128 + signal);
    EXPECT_THAT(end.errors,
                MatchesRegex("\ntalvern-batch: ending after the recordings under way; once more "
                             "ends at once\n"
                             "talvern-batch: [0-9]+ recordings, 0 of them without a result; [0-9]+ "
                             "reports in " +
                             to + "; not all was done: the same command with --resume goes on\n"));
    const Files files = files_in(to);
    EXPECT_FALSE(files.contains("summary.csv"));
    EXPECT_EQ(files.size() % 3, 0u);
    EXPECT_LT(files.size(), 300u);
  }
}

TEST_F(BatchCommandTest, TakesTextsOfAnotherRate) {
  add_ecg("A/fast.txt", 120, 1, 360);
  EXPECT_EQ(run({"-q", "--rate=360", "-o", out(), root()}).status, 0);
  // 120 s with a beat every 0.85 s on average.
  EXPECT_THAT(content("summary.csv"),
              ContainsRegex("fast.txt,120,1[34][0-9],7[0-9][.0-9]*,0.0625,.*,1.0.0,\n"));
}

TEST_F(BatchCommandTest, WarnsWhenTheBeatsAreNoHearts) {
  add_ecg("A/fast.txt", 120, 1, 360);
  const ProgramEnd end = run({"-q", "-o", out(), root()});
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.errors,
              MatchesRegex("talvern-batch: warning: " + root() +
                           "/A/fast.txt: the beats found are no heart's \\(2[0-9]\\.[0-9] "
                           "a minute\\): is the recording's rate 130 Hz\\?\n"));
  EXPECT_THAT(content("summary.csv"), HasSubstr("a minute): is the recording's rate 130 Hz?\n"));
}

TEST_F(BatchCommandTest, SinglePersonAndTheDataFolderByDefault) {
  add_ecg("day 1/one.txt");
  add_ecg("day 2/two.txt");
  EXPECT_EQ(run({"-q", "--single", "Anna B.", root()}).status, 0);
  EXPECT_TRUE(fs::exists(folder_ / "data/exports/Anna_B._export/Anna_B._report.pdf"));
}

TEST_F(BatchCommandTest, WrongUseHasStatus2) {
  EXPECT_EQ(run({}).status, 2);
  EXPECT_EQ(run({"--nonsense"}).status, 2);
  EXPECT_EQ(run({folder_ / "nowhere"}).status, 2);
  add_ecg("A/one.txt");
  ASSERT_TRUE(write_file(folder_ / "file", ""));
  const ProgramEnd end = run({"-q", "-o", folder_ / "file/out", root()});
  EXPECT_EQ(end.status, 2);
  EXPECT_THAT(end.errors, HasSubstr("cannot write in " + folder_.path() + "/file/out: "));
  EXPECT_EQ(run({"--help"}).status, 0);
  EXPECT_THAT(run({"--help"}).output, StartsWith("Usage: talvern-batch "));
  EXPECT_EQ(run({"--version"}).output, "talvern-batch 1.0.0\n");
  fs::create_directories(folder_ / "empty");
  EXPECT_EQ(run({"-o", out(), folder_ / "empty"}).status, 1);
}

// The table of log power fits, the report does not: there is no folder with the one alone.
TEST_F(BatchCommandTest, APersonWhoseReportCannotBeWrittenHasNoFolder) {
  add_ecg("A/one.txt");
  ProgramEnd end;
  {
    const FileLimit full(10'000);
    end = run({"-o", out(), root()});
  }
  EXPECT_EQ(end.status, 2) << end.errors;
  EXPECT_THAT(end.errors, testing::HasSubstr("_report.pdf: File too large\n"));
  EXPECT_FALSE(fs::exists(out() + "/A_export"));
  EXPECT_EQ(run({"-q", "-o", out(), root()}).status, 0);
  EXPECT_TRUE(fs::exists(out() + "/A_export/A_report.pdf"));
}

TEST_F(BatchCommandTest, StandardOutputThatIsFullIsNoSuccess) {
  add_ecg("A/one.txt");
  const std::string command = std::string(TVN_BATCH_PROGRAM) + " -q --json -o '" + out() + "' '" +
                              root() + "' > /dev/full 2> '" + out("errors") + "'";
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 2);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TVN_OWN_MEMORY 0  // the sanitizer's is added
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TVN_OWN_MEMORY 0
#endif
#endif
#if defined(__linux__) && !defined(TVN_OWN_MEMORY)
// A person's pages wait in a file: 34 kB each, of a thousand they would take 34 MB.
TEST_F(BatchCommandTest, ThePagesOfOnePersonTakeLittleMemory) {
  add_ecg("P/0.txt", 20);
  const auto peak_with = [this](int recordings) {
    for (int i = 1; i < recordings; ++i) {
      std::error_code exists;
      fs::create_hard_link(root() + "/P/0.txt", root() + "/P/" + std::to_string(i) + ".txt",
                           exists);
    }
    const std::string to = out(std::to_string(recordings));
    const ProgramEnd end = run({"-q", "-j1", "-o", to, root()});
    EXPECT_EQ(end.status, 0);
    EXPECT_GT(fs::file_size(to + "/P_export/P_report.pdf"),
              30'000u * static_cast<unsigned>(recordings));
    return end.peak_kilobytes;
  };
  const long few = peak_with(250), many = peak_with(1000);
  EXPECT_LT(many - few, 12'000);
}
#endif

#ifdef __linux__
// A complaint would go into whatever got the number: a report, a table.
TEST_F(BatchCommandTest, WithoutStandardStreamsTheirNumbersAreHeld) {
  const std::string pipe = folder_ / "pipe";  // nobody writes to it: reading it takes for ever
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_TRUE(holds_its_streams(TVN_BATCH_PROGRAM, "--group-file", pipe.c_str()));
}
#endif

}  // namespace
}  // namespace tvn
