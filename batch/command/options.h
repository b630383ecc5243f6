// The command line of talvern-batch.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "batch/command/person_plan.h"

namespace tvn {

// What the command is asked to do.
enum class Task { run, list, tables, help, version };

struct Options {
  Task task = Task::run;
  std::vector<std::string> arguments;  // folders; of Task::tables the files of JSON lines
  std::optional<std::string> single;
  std::optional<std::string> people;      // a file
  std::optional<std::string> group_file;  // "-" is standard input
  CommonValues values;                    // no date: the present time
  std::string output;                     // empty: the data folder's exports
  unsigned jobs = 1;
  bool json = false, resume = false, quiet = false;
};

struct ParsedOptions {
  Options options;
  std::string fault;  // what is wrong with them; empty when nothing is
};

// Reads the arguments of main; cores: how many jobs there are by default. Call it once.
ParsedOptions parse_options(int argc, char** argv, unsigned cores);

// What --help prints.
extern const char* const k_help;

}  // namespace tvn
