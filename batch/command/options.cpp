#include "batch/command/options.h"

#include <getopt.h>

#include <array>

#include "base/decimal.h"
#include "base/rounding.h"

namespace tvn {

const char* const k_help =
    R"(Usage: talvern-batch [OPTION]... FOLDER...
Writes a report, a table and data for every person in the folders: each folder
with recordings (raw ECG texts, RR exports of Kubios) is one person's.

The person and the breathing:
      --single NAME      all recordings are those of one person of this name
      --in SECONDS       in-breath (5)
      --out SECONDS      out-breath (11)
      --sex F|M          sex (M) and
      --age YEARS        age (40) of everybody
      --people FILE.csv  instead: folder,sex,age,in,out of every person
      --rate HZ          sampling rate of raw ECG texts (130)
      --date TEXT        what reports give as their date (now)

The run:
  -o, --output FOLDER    where the results go (the exports of the data folder)
  -j, --jobs N           recordings that are worked on at the same time (cores)
      --resume           leaves what an earlier run has done as it is
      --json             prints a line of JSON per recording
  -q, --quiet            shows no progress
      --help             prints this
      --version          prints the version

Many machines:
      --list             prints the people, a line each, and does nothing else
      --group-file FILE  does the people of such lines; - is standard input
      --tables FILE...   writes the two tables of what --json has printed

Exit status: 0 when every recording gave a result, 1 when some did not, 2 when
the options are wrong or nothing can be written.
)";

namespace {

enum Option : int {
  k_single = 256,
  k_in,
  k_out,
  k_sex,
  k_age,
  k_people,
  k_rate,
  k_date,
  k_resume,
  k_json,
  k_list,
  k_group_file,
  k_tables,
  k_show_help,
  k_show_version
};

constexpr std::array<option, 19> k_options = {{
    {"single", required_argument, nullptr, k_single},
    {"in", required_argument, nullptr, k_in},
    {"out", required_argument, nullptr, k_out},
    {"sex", required_argument, nullptr, k_sex},
    {"age", required_argument, nullptr, k_age},
    {"people", required_argument, nullptr, k_people},
    {"rate", required_argument, nullptr, k_rate},
    {"date", required_argument, nullptr, k_date},
    {"output", required_argument, nullptr, 'o'},
    {"jobs", required_argument, nullptr, 'j'},
    {"resume", no_argument, nullptr, k_resume},
    {"json", no_argument, nullptr, k_json},
    {"quiet", no_argument, nullptr, 'q'},
    {"list", no_argument, nullptr, k_list},
    {"group-file", required_argument, nullptr, k_group_file},
    {"tables", no_argument, nullptr, k_tables},
    {"help", no_argument, nullptr, k_show_help},
    {"version", no_argument, nullptr, k_show_version},
    {nullptr, 0, nullptr, 0},
}};

constexpr double k_most_jobs = 1024;

class Parser {
 public:
  explicit Parser(unsigned cores) { parsed_.options.jobs = cores; }

  ParsedOptions parse(int argc, char** argv) {
    for (;;) {
      // NOLINTNEXTLINE(concurrency-mt-unsafe): start-up has one thread
      const int option = ::getopt_long(argc, argv, ":o:j:q", k_options.data(), nullptr);
      if (option == -1) break;
      if (option == '?' || option == ':') {
        fault(std::string(option == ':' ? "no value for " : "no option ") + argv[optind - 1]);
        return parsed_;
      }
      take(option, optarg == nullptr ? "" : optarg);
      const Task task = parsed_.options.task;
      if (task == Task::help || task == Task::version) return parsed_;
    }
    parsed_.options.arguments.assign(argv + optind, argv + argc);
    settle();
    return parsed_;
  }

 private:
  void fault(const std::string& what) {
    if (parsed_.fault.empty()) parsed_.fault = what;
  }

  void take(int option, const std::string& value) {
    Options& options = parsed_.options;
    switch (option) {
      case k_single:
        options.single = value;
        break;
      case k_people:
        options.people = value;
        break;
      case k_group_file:
        options.group_file = value;
        break;
      case k_resume:
        options.resume = true;
        break;
      case k_json:
        options.json = true;
        break;
      case k_list:
        options.task = Task::list;
        break;
      case k_tables:
        options.task = Task::tables;
        break;
      case k_show_help:
        options.task = Task::help;
        break;
      case k_show_version:
        options.task = Task::version;
        break;
      case 'q':
        options.quiet = true;
        break;
      case 'o':
        options.output = value;
        break;
      default:
        take_value(option, value);
    }
  }

  void take_value(int option, const std::string& value) {
    CommonValues& values = parsed_.options.values;
    gave_values_ = gave_values_ || option != 'j';
    switch (option) {
      case k_in:
        in_ = number("--in", value, is_possible_breath, "0.05 to 600 seconds");
        break;
      case k_out:
        out_ = number("--out", value, is_possible_breath, "0.05 to 600 seconds");
        break;
      case k_rate:
        values.rate = number("--rate", value, is_possible_rate, "20 to 20000 Hz");
        break;
      case k_age:
        values.report.age =
            truncate_to<std::int32_t>(number("--age", value, is_possible_age, "0 to 120 years"));
        gave_person_ = true;
        break;
      case k_sex:
        values.report.sex = value == "f" ? "F" : value == "m" ? "M" : value;
        if (values.report.sex != "F" && values.report.sex != "M") fault("--sex must be F or M");
        gave_person_ = true;
        break;
      case k_date:
        values.date = value;
        break;
      case 'j':
        parsed_.options.jobs = truncate_to<unsigned>(number(
            "--jobs", value, [](double n) { return n >= 1 && n <= k_most_jobs; }, "1 to 1024"));
        break;
      default:
        break;
    }
  }

  double number(const char* name, const std::string& text, bool (*is_possible)(double),
                const char* range) {
    const DecimalScan scan = scan_decimal(text);
    const bool is_number = scan.status == DecimalStatus::ok && scan.length == text.size();
    if (is_number && is_possible(scan.value)) return scan.value;
    fault(std::string(name) + " must be " + range + ", not '" + text + "'");
    return 0;
  }

  // What does not go together.
  void settle() {
    Options& options = parsed_.options;
    options.values.report = breathing(options.values.report, in_, out_);
    const bool lists = options.task == Task::list, makes_tables = options.task == Task::tables;
    if (options.group_file) {
      if (lists || makes_tables || options.people || options.single || gave_values_) {
        fault("--group-file brings its own values: no other options for them, no --list");
      }
      if (!options.arguments.empty()) fault("--group-file and a FOLDER: give one of them");
    } else if (!makes_tables && options.arguments.empty()) {
      fault("no FOLDER given");
    }
    if (options.people && gave_person_) fault("--people brings sex and age: not --sex or --age");
    if (options.people && options.single) fault("--people and --single: give one of them");
    if (lists && options.single) fault("--list and --single: one person is nothing to share out");
    if (makes_tables && options.output.empty()) fault("--tables needs --output");
  }

  ParsedOptions parsed_;
  double in_ = 5, out_ = 11;  // seconds
  bool gave_values_ = false, gave_person_ = false;
};

}  // namespace

ParsedOptions parse_options(int argc, char** argv, unsigned cores) {
  return Parser(cores).parse(argc, argv);
}

}  // namespace tvn
