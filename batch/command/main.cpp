// talvern-batch: reports, tables and data of many recordings, without a browser.
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>

#include "base/files.h"
#include "base/free_memory.h"
#include "base/standard_streams.h"
#include "base/version.h"
#include "batch/command/batch_run.h"
#include "batch/command/options.h"
#include "batch/command/people_file.h"
#include "batch/command/stop_request.h"
#include "batch/command/tables.h"
#include "export/export_texts.h"
#include "host/setup/executable_path.h"
#include "host/setup/startup.h"

namespace tvn {
namespace {

int refuse(const std::string& what) {
  std::fprintf(stderr, "talvern-batch: %s\n", what.c_str());
  return k_exit_wrong_use;
}

// Where the page's batches go as well.
std::string exports_of_data_folder(const Folders& folders) {
  create_data_folders(folders.data_dir);
  return folders.data_dir + "/exports";
}

// The people of a file of plan lines, or of standard input.
bool read_group_file(const std::string& path, std::vector<PersonPlan>& plans, std::string& fault) {
  std::ifstream file;
  if (path != "-") file.open(path, std::ios::binary);
  std::istream& lines = path == "-" ? std::cin : file;
  if (!lines) fault = path + " cannot be read";
  std::size_t number = 0;
  for (std::string line; fault.empty() && std::getline(lines, line);) {
    ++number;
    if (line.empty()) continue;
    auto plan = read_plan_line(line);
    if (!plan) fault = path + ":" + std::to_string(number) + ": not a line of --list";
    if (plan) plans.push_back(std::move(*plan));
  }
  return fault.empty();
}

// The people of the folders, with their values.
bool make_plans(const Options& options, const std::string& output, std::vector<PersonPlan>& plans,
                std::string& fault) {
  for (const std::string& folder : options.arguments) {
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error)) fault = folder + " is no folder";
  }
  if (!fault.empty()) return false;
  plans = make_plan({options.arguments, options.single, options.values, output});
  if (!options.people) return true;
  std::string text;
  if (!read_file(*options.people, text)) {
    fault = *options.people + " cannot be read";
    return false;
  }
  for (const std::string& wrong : apply_people(text, *options.people, plans)) {
    fault += (fault.empty() ? "" : "\n") + wrong;
  }
  return fault.empty();
}

int print_list(const std::vector<PersonPlan>& plans) {
  for (const PersonPlan& plan : plans) std::printf("%s\n", plan_line(plan).c_str());
  return std::fflush(stdout) == 0 ? k_exit_done : refuse("standard output cannot be written");
}

// The tables of lines that were printed before, one file after the other.
int make_tables(const Options& options) {
  std::error_code ignored;
  std::filesystem::create_directories(options.output, ignored);
  BatchTables tables(options.output);
  std::vector<std::string> files = options.arguments;
  if (files.empty()) files.emplace_back("-");
  for (const std::string& path : files) {
    std::ifstream file;
    if (path != "-") file.open(path, std::ios::binary);
    std::istream& lines = path == "-" ? std::cin : file;
    if (!lines) return refuse(path + " cannot be read");
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
      ++number;
      if (tables.add(line)) continue;
      return refuse(path + ":" + std::to_string(number) + ": not a whole line of --json");
    }
  }
  return tables.finish() ? k_exit_done : k_exit_wrong_use;
}

int work(Options options) {
  if (options.task == Task::tables) return make_tables(options);
  if (options.values.date.empty()) options.values.date = report_date(std::time(nullptr));
  const Folders folders = choose_folders(read_environment(), executable_path());
  const bool lists = options.task == Task::list;
  if (options.output.empty() && !lists) options.output = exports_of_data_folder(folders);
  std::vector<PersonPlan> plans;
  std::string fault;
  const bool is_planned = options.group_file ? read_group_file(*options.group_file, plans, fault)
                                             : make_plans(options, options.output, plans, fault);
  if (!is_planned) return refuse(fault);
  if (lists) return print_list(plans);
  if (plans.empty() && !options.group_file) {
    refuse("no recordings (.txt raw ECG or .csv Kubios) found");
    return k_exit_some_gave_nothing;
  }
  load_report_logo(folders.web_dir);
  note_stop_requests();
  return run_batch_command(plans, {options.output, options.jobs, options.resume, options.json,
                                   options.quiet, !options.group_file});
}

}  // namespace
}  // namespace tvn

int main(int argc, char** argv) {
  tvn::hold_standard_streams();
  // Writing a file that is larger than a limit allows must return an error.
  std::signal(SIGXFSZ, SIG_IGN);
  tvn::return_large_blocks_at_once();
  const unsigned cores = std::max(std::thread::hardware_concurrency(), 1U);
  const auto [options, fault] = tvn::parse_options(argc, argv, cores);
  if (!fault.empty()) {
    return tvn::refuse(fault + "\nTry 'talvern-batch --help' for more information.");
  }
  if (options.task == tvn::Task::help) std::fputs(tvn::k_help, stdout);
  if (options.task == tvn::Task::version) std::printf("talvern-batch %s\n", tvn::APP_VERSION);
  if (options.task == tvn::Task::help || options.task == tvn::Task::version) return 0;
  int status = tvn::k_exit_wrong_use;
  try {
    status = tvn::work(options);
  } catch (const std::exception& failure) {
    tvn::refuse(failure.what());
  }
  // Whoever called the program sees that it was ended, and ends too: shells, parallel, schedulers.
  if (status > tvn::k_exit_by_signal) {
    std::signal(tvn::stop_signal(), SIG_DFL);
    std::raise(tvn::stop_signal());
  }
  return status;
}
