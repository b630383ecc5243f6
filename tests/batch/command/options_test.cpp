#include "batch/command/options.h"

#include <getopt.h>
#include <gmock/gmock.h>

#include <set>
#include <utility>

#include "base/files.h"

namespace tvn {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

ParsedOptions parse(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "talvern-batch");
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  optind = 0;  // getopt starts anew
  return parse_options(static_cast<int>(arguments.size()), argv.data(), 4);
}

// Every option that --help tells stands in the man page, and the other way round.
TEST(BatchOptions, TheManualHasThemAll) {
  std::string manual;
  ASSERT_TRUE(read_file(TVN_SOURCE_DIR "/doc/talvern-batch.1", manual));
  const auto options_in = [](const std::string& text, const std::string& before) {
    std::set<std::string> names;
    for (std::size_t at = 0; (at = text.find(before, at)) != std::string::npos;) {
      at += before.size();
      names.insert(text.substr(at, text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at) - at));
    }
    return names;
  };
  const std::set<std::string> told = options_in(k_help, " --");
  EXPECT_EQ(told.size(), 18u);
  EXPECT_EQ(options_in(manual, "Fl -"), told);
}

// The numbers are those of AreThePagesWithoutAny and the statuses of the command's tests.
TEST(BatchOptions, HelpTellsDefaultsAndExitStatuses) {
  for (const char* told : {"in-breath (5)", "out-breath (11)", "sex (M)", "age (40)", "texts (130)",
                           "0 when every recording gave a result, 1 when some did not, 2 when\nthe "
                           "options are wrong"}) {
    EXPECT_THAT(k_help, HasSubstr(told));
  }
}

TEST(BatchOptions, AreThePagesWithoutAny) {
  const auto [options, fault] = parse({"data"});
  EXPECT_EQ(fault, "");
  EXPECT_EQ(options.task, Task::run);
  EXPECT_THAT(options.arguments, ElementsAre("data"));
  EXPECT_EQ(options.values.report.sex, "M");
  EXPECT_EQ(options.values.report.age, 40);
  EXPECT_EQ(options.values.report.indur, 5);
  EXPECT_EQ(options.values.report.outdur, 11);
  EXPECT_EQ(options.values.report.cycle_seconds, 16);
  EXPECT_EQ(options.values.rate, 130);
  EXPECT_EQ(options.jobs, 4u);
}

TEST(BatchOptions, AllOfThem) {
  const auto [options, fault] =
      parse({"--in=4", "a",        "--out", "6.004",  "--sex", "f",        "--age=33",
             "--rate", "360.5",    "-oout", "-j",     "3",     "--resume", "--json",
             "-q",     "--single", "anna",  "--date", "d",     "--",       "-b"});
  EXPECT_EQ(fault, "");
  EXPECT_THAT(options.arguments, ElementsAre("a", "-b"));
  EXPECT_EQ(options.values.report.sex, "F");
  EXPECT_EQ(options.values.report.age, 33);
  EXPECT_EQ(options.values.report.indur, 4);
  EXPECT_EQ(options.values.report.outdur, 6);
  EXPECT_EQ(options.values.report.cycle_seconds, 10);
  EXPECT_EQ(options.values.rate, 360.5);
  EXPECT_EQ(options.values.date, "d");
  EXPECT_EQ(options.output, "out");
  EXPECT_EQ(options.jobs, 3u);
  EXPECT_TRUE(options.resume && options.json && options.quiet);
  EXPECT_EQ(options.single, "anna");
  const ReportSettings rounded = parse({"--in=4.236", "--out=6.004", "a"}).options.values.report;
  EXPECT_EQ(rounded.indur, 4.24);
  EXPECT_EQ(rounded.outdur, 6);
  EXPECT_EQ(rounded.cycle_seconds, 10.24);
}

TEST(BatchOptions, ImpossibleValuesAreFaults) {
  using Ranges = std::vector<std::pair<std::string, std::vector<std::string>>>;
  const Ranges ranges = {
      {"--in must be 0.05 to 600 seconds", {"--in=0", "--in=", "--in=5s", "--in=0.04"}},
      {"--out must be 0.05 to 600 seconds", {"--out=601", "--out=600.1"}},
      {"--age must be 0 to 120 years", {"--age=40.5", "--age=121", "--age=-1", "--age=0x10"}},
      {"--rate must be 20 to 20000 Hz", {"--rate=19.9", "--rate=20001", "--rate=nan"}},
      {"--jobs must be 1 to 1024", {"--jobs=0", "--jobs=1025"}}};
  for (const auto& [range, options] : ranges) {
    for (const std::string& option : options) {
      const std::string value = option.substr(option.find('=') + 1);
      EXPECT_EQ(parse({option, "data"}).fault, range + ", not '" + value + "'");
    }
  }
  EXPECT_EQ(parse({"--sex=X", "data"}).fault, "--sex must be F or M");
  EXPECT_EQ(parse({"--sex=X", "--age=121"}).fault, "--sex must be F or M");  // the first alone
  for (const std::string option : {"--in=0.05", "--out=600", "--age=0", "--age=120", "--rate=20",
                                   "--rate=20000", "--jobs=1", "--jobs=1024"}) {
    EXPECT_EQ(parse({option, "data"}).fault, "") << option;
  }
}

TEST(BatchOptions, WhatDoesNotGoTogetherIsAFault) {
  using Arguments = std::vector<std::string>;
  using Told = std::vector<std::pair<std::string, std::vector<Arguments>>>;
  const Told told = {
      {"no FOLDER given", {{}, {"--list"}, {"--json", "-q"}}},
      {"no option --nonsense", {{"--nonsense", "d"}}},
      {"no value for --output", {{"d", "--output"}}},
      {"--people brings sex and age: not --sex or --age",
       {{"--people=p", "--age=3", "d"}, {"--people=p", "--sex=F", "d"}}},
      {"--people and --single: give one of them", {{"--people=p", "--single=x", "d"}}},
      {"--list and --single: one person is nothing to share out", {{"--list", "--single=x", "d"}}},
      {"--group-file and a FOLDER: give one of them", {{"--group-file=-", "d"}}},
      {"--group-file brings its own values: no other options for them, no --list",
       {{"--group-file=-", "--rate=200"},
        {"--group-file=-", "--list"},
        {"--group-file=-", "--tables"},
        {"--group-file=-", "--people=p"},
        {"--group-file=-", "--single=x"}}},
      {"--tables needs --output", {{"--tables", "f"}, {"--tables"}}}};
  for (const auto& [fault, wrong] : told) {
    for (const Arguments& arguments : wrong) {
      EXPECT_EQ(parse(arguments).fault, fault) << testing::PrintToString(arguments);
    }
  }
  EXPECT_EQ(parse({"--group-file=-", "--resume", "--json", "-j2"}).fault, "");
  EXPECT_EQ(parse({"--tables", "-oout", "f"}).fault, "");
  EXPECT_EQ(parse({"--version", "--nonsense"}).fault, "");
}

}  // namespace
}  // namespace tvn
