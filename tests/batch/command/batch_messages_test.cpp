// What talvern-batch tells its users, to the letter, and the exit status that goes with it.
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>

#include "base/files.h"
#include "tests/batch/command/batch_program.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;

class BatchMessages : public testing::Test {
 protected:
  // A recording of Kubios: 100 intervals.
  void add_person(const std::string& name) {
    std::string rr;
    for (int i = 0; i < 50; ++i) rr += ",1,0.75\n,2,0.85\n";
    add_rr(name + "/rr.csv", rr);
  }
  void add_rr(const std::string& path, const std::string& rows) {
    add(path, "Kubios HRV\nRR INTERVAL DATA\n,Time,RR\n" + rows);
  }
  void add(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(root_ + path).parent_path());
    ASSERT_TRUE(write_file(root_ + path, text));
  }
  ProgramEnd run(const std::vector<std::string>& arguments, const std::string& input = "") {
    return BatchProgram(arguments, folder_ / "data", input).wait();
  }
  // Runs it in a shell, where `before` stands before the command and `after` behind it.
  ProgramEnd run_in_shell(const std::string& before, const std::string& arguments,
                          const std::string& after = "") {
    const std::string errors = folder_ / "errors";
    const std::string command = before + "TVN_DATA='" + (folder_ / "data") +
                                "' " TVN_BATCH_PROGRAM " " + arguments + after + " 2> '" + errors +
                                "'";
    ProgramEnd end;
    end.status = WEXITSTATUS(std::system(command.c_str()));
    EXPECT_TRUE(read_file(errors, end.errors));
    return end;
  }
  // As the program tells these lines.
  static std::string told(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += "talvern-batch: " + line + '\n';
    return text;
  }

  TemporaryFolder folder_;
  const std::string root_ = folder_ / "root/";
  const std::string out_ = folder_ / "out";
};

TEST_F(BatchMessages, WrongUseNamesTheFileOrTheOption) {
  add_person("A");
  const std::string none = folder_ / "none", refused = " cannot be read";
  const std::vector<std::pair<std::vector<std::string>, std::string>> wrong = {
      {{}, "no FOLDER given\nTry 'talvern-batch --help' for more information."},
      {{"--age=x", "d"},
       "--age must be 0 to 120 years, not 'x'\n"
       "Try 'talvern-batch --help' for more information."},
      {{root_, none}, none + " is no folder"},
      {{root_ + "A/rr.csv"}, root_ + "A/rr.csv is no folder"},
      {{"--people", none, root_}, none + refused},
      {{"--group-file", none}, none + refused},
      {{"--tables", none}, none + refused}};
  for (const auto& [arguments, message] : wrong) {
    std::vector<std::string> all = arguments;
    all.insert(all.begin(), {"-o", out_});
    const ProgramEnd end = run(all);
    EXPECT_EQ(end.status, 2) << message;
    EXPECT_EQ(end.errors, told({message}));
    EXPECT_EQ(end.output, "");
  }
}

TEST_F(BatchMessages, APlaceThatCannotBeWrittenIn) {
  add_person("A");
  const std::string inside = root_ + "A/rr.csv/out";
  const ProgramEnd end = run({"-q", "-o", inside, root_});
  EXPECT_EQ(end.status, 2);
  EXPECT_EQ(end.errors, told({"cannot write in " + inside + ": Not a directory"}));
}

TEST_F(BatchMessages, FoldersWithoutRecordings) {
  fs::create_directories(root_ + "empty");
  const ProgramEnd none = run({"-o", out_, root_});
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.errors, told({"no recordings (.txt raw ECG or .csv Kubios) found"}));
  // A person of a share whose recordings are gone.
  add_person("A");
  const std::string list = run({"--list", root_}).output;
  fs::remove(root_ + "A/rr.csv");
  const ProgramEnd gone = run({"-o", out_, "--group-file=-"}, list);
  EXPECT_EQ(gone.status, 1);
  EXPECT_EQ(gone.errors, told({root_ + "A has no recordings",
                               "0 recordings, 1 of them without a result; 0 reports in " + out_}));
}

TEST_F(BatchMessages, TellWhyARecordingIsLeftOut) {
  add("A/1.txt", "");
  fs::resize_file(root_ + "A/1.txt", 1'500'000'000);  // a hole, which takes no room
  add_rr("A/2.csv", ",1,1e300\n,2,1e300\n,3,1e300\n,4,1e308\n");
  add("A/3.txt", "ecg\n");
  add_rr("A/4.csv", ",1,0.8\n,2,0.8\n");
  add_rr("A/5.csv", ",1,-0.8\n,2,-0.8\n,3,-0.9\n,4,90\n,5,-0.7\n");
  add_rr("A/6.csv", ",1,0.8\n,2,0.8\n,3,0.8\n");
  const ProgramEnd end = run({"-o", out_, root_});
  EXPECT_EQ(end.status, 1);
  const std::string a = root_ + "A/";
  EXPECT_EQ(end.errors, told({a + "1.txt is larger than 1 GB", a + "2.csv is longer than 48 h",
                              a + "3.txt is no recording: it has no line that is a number",
                              a + "4.csv has fewer than 3 intervals between beats",
                              a + "5.csv has intervals that are not above 0",
                              a + "6.csv is shorter than a breathing cycle",
                              "6 recordings, 6 of them without a result; 0 reports in " + out_}));
  std::string summary;
  ASSERT_TRUE(read_file(out_ + "/summary.csv", summary));
  EXPECT_THAT(summary, EndsWith(",is shorter than a breathing cycle\n"));
}

// A beat every 3 s; of intervals the rate of a raw ECG is not to blame.
TEST_F(BatchMessages, WarnOfIntervalsThatAreNoHearts) {
  std::string rows;
  for (int i = 0; i < 20; ++i) rows += ",1,3\n";
  add_rr("A/slow.csv", rows);
  const ProgramEnd end = run({"-o", out_, root_});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.errors, told({"warning: " + root_ +
                                  "A/slow.csv: the beats found are no heart's (20.0 a minute)",
                              "1 recordings, 0 of them without a result; 1 reports in " + out_}));
}

TEST_F(BatchMessages, WhatIsInTheWayIsNamed) {
  add_person("A");
  add_person("B");
  ASSERT_EQ(run({"-q", "-o", out_, root_}).status, 0);
  const std::string again =
      "nothing was done: --resume goes on with an earlier run, another --output begins a new one";
  const std::string a = out_ + "/A_export is ", b = out_ + "/B_export is ";
  const ProgramEnd there = run({"-q", "-o", out_, root_});
  EXPECT_EQ(there.status, 2);
  EXPECT_EQ(there.errors, told({a + "there already", b + "there already",
                                out_ + "/summary.csv is there already", again}));
  const ProgramEnd other = run({"-q", "--resume", "--age=41", "-o", out_, root_});
  const std::string another = "of other settings or recordings, or not by this program";
  EXPECT_EQ(other.status, 2);
  EXPECT_EQ(other.errors, told({a + another, b + another,
                                "nothing was done: remove them, or choose another --output"}));
}

TEST_F(BatchMessages, OfManyInTheWayTenAreNamed) {
  std::vector<std::string> lines;
  for (int i = 10; i < 23; ++i) {
    const std::string name = "P" + std::to_string(i);
    add_person(name);
    fs::create_directories(out_ + "/" + name + "_export");
    if (i < 20) lines.push_back(out_ + "/" + name + "_export is there already");
  }
  lines.emplace_back("and 3 more");
  lines.emplace_back(
      "nothing was done: --resume goes on with an earlier run, another --output begins a new one");
  const ProgramEnd end = run({"-o", out_, root_});
  EXPECT_EQ(end.status, 2);
  EXPECT_EQ(end.errors, told(lines));
}

#ifdef __linux__
TEST_F(BatchMessages, StandardOutputThatIsFull) {
  add_person("A");
  const std::string full = "standard output cannot be written", to = " > /dev/full";
  const ProgramEnd list = run_in_shell("", "--list '" + root_ + "'", to);
  EXPECT_EQ(list.status, 2);
  EXPECT_EQ(list.errors, told({full}));
  const ProgramEnd json = run_in_shell("", "--json -q -o '" + out_ + "' '" + root_ + "'", to);
  EXPECT_EQ(json.status, 2);
  EXPECT_EQ(json.errors,
            told({full, "1 recordings, 0 of them without a result; 1 reports in " + out_ +
                            "; not all was done: the same command with --resume goes on"}));
}
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TVN_OWN_MEMORY 0  // the sanitizer's needs more than any limit
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TVN_OWN_MEMORY 0
#endif
#endif
#if defined(__linux__) && !defined(TVN_OWN_MEMORY)
// 900 MB of a file in 600 MB of memory: this recording is left out, the next one is done.
TEST_F(BatchMessages, ARecordingThatTakesTooMuchMemoryIsLeftOut) {
  add("A/large.txt", "");
  fs::resize_file(root_ + "A/large.txt", 900'000'000);
  add_person("B");
  const ProgramEnd end =
      run_in_shell("ulimit -v 600000; ", "--date=d -j1 -o '" + out_ + "' '" + root_ + "'");
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.errors, told({root_ + "A/large.txt cannot be analysed: std::bad_alloc",
                              "2 recordings, 1 of them without a result; 1 reports in " + out_}));
}
#endif

}  // namespace
}  // namespace tvn
