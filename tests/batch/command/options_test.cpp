#include "batch/command/options.h"

#include <getopt.h>
#include <gmock/gmock.h>

#include <set>

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
  for (const std::string option :
       {"--in=0", "--in=", "--out=601", "--age=40.5", "--age=121", "--age=-1", "--sex=X",
        "--rate=19.9", "--rate=20001", "--rate=nan", "--jobs=0", "--jobs=1025", "--in=5s",
        "--age=0x10", "--in=0.04", "--out=600.1"}) {
    const std::string name = option.substr(0, option.find('='));
    EXPECT_THAT(parse({option, "data"}).fault, HasSubstr(name)) << option;
  }
  for (const std::string option : {"--in=0.05", "--out=600", "--age=0", "--age=120", "--rate=20",
                                   "--rate=20000", "--jobs=1", "--jobs=1024"}) {
    EXPECT_EQ(parse({option, "data"}).fault, "") << option;
  }
}

TEST(BatchOptions, WhatDoesNotGoTogetherIsAFault) {
  using Arguments = std::vector<std::string>;
  for (const Arguments& arguments :
       {Arguments{}, Arguments{"--nonsense", "d"}, Arguments{"d", "--output"},
        Arguments{"--people=p", "--age=3", "d"}, Arguments{"--people=p", "--single=x", "d"},
        Arguments{"--list", "--single=x", "d"}, Arguments{"--group-file=-", "d"},
        Arguments{"--group-file=-", "--rate=200"}, Arguments{"--group-file=-", "--list"},
        Arguments{"--tables", "f"}}) {
    EXPECT_NE(parse(arguments).fault, "") << testing::PrintToString(arguments);
  }
  EXPECT_EQ(parse({"--nonsense", "d"}).fault, "no option --nonsense");
  EXPECT_EQ(parse({"d", "--output"}).fault, "no value for --output");
  EXPECT_EQ(parse({"--group-file=-", "--resume", "--json", "-j2"}).fault, "");
  EXPECT_EQ(parse({"--tables", "-oout", "f"}).fault, "");
  EXPECT_EQ(parse({"--version", "--nonsense"}).fault, "");
}

}  // namespace
}  // namespace tvn
