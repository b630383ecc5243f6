#include "batch/command/batch_run.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include "base/clock.h"
#include "base/names.h"
#include "base/text_lines.h"
#include "batch/command/json_line.h"
#include "batch/command/ordered_work.h"
#include "batch/command/person_folder.h"
#include "batch/command/progress.h"
#include "batch/command/recording_line.h"
#include "batch/command/stop_request.h"
#include "batch/command/tables.h"

namespace tvn {
namespace {

// A recording, made by any thread.
struct Made {
  BatchOutcome outcome;
  std::string reason;  // why there is no result
  std::string line;
};

struct Task {
  std::size_t plan = 0, path = 0;
};

Made make_recording(const PersonPlan& plan, const std::string& path) {
  Made made;
  try {
    made.outcome = analyse_file(path, analysis_settings(plan.settings.report), {plan.rate, 1});
    if (!made.outcome.result) made.reason = reason_text(made.outcome.reason);
  } catch (const std::exception& failure) {
    made.reason = std::string("cannot be analysed: ") + failure.what();
  }
  made.line = recording_line(plan, path, made.outcome, made.reason) + '\n';
  return made;
}

// Whether a line tells of a recording that gave nothing: it alone has no beats.
bool gave_nothing(const JsonObject& line) {
  const auto beats = line.find("beats");
  return beats != line.end() && beats->second.text == "null";
}

class Run {
 public:
  Run(const std::vector<PersonPlan>& plans, const RunOptions& options, std::vector<bool> is_done)
      : plans_(plans),
        options_(options),
        is_done_(std::move(is_done)),
        work_(work_to_do()),
        progress_(work_.size(), Progress::style_for(options.quiet), monotonic_seconds()) {
    if (options.tables) tables_.emplace(options.output);
  }

  int execute() {
    finish_done_before(work_.empty() ? plans_.size() : work_.front().plan);
    const Work<Made> work{
        work_.size(), [] { return stop_signal() == 0; },
        [this](std::size_t i) {
          const PersonPlan& plan = plans_[work_[i].plan];
          return make_recording(plan, plan.paths[work_[i].path]);
        },
        [this](std::size_t i, Made made) { return take(work_[i], std::move(made)); }};
    const std::size_t taken = work_in_order(work, options_.jobs);
    const bool whole = !failed_ && taken == work_.size();
    if (whole && tables_ && !tables_->finish()) failed_ = true;
    if (options_.json && std::fflush(stdout) != 0) fail("standard output cannot be written");
    progress_.end();
    if (!options_.quiet || !whole) tell_end(whole);
    if (failed_) return k_exit_wrong_use;
    if (!whole) return k_exit_by_signal + stop_signal();
    return nothing_ > 0 ? k_exit_some_gave_nothing : k_exit_done;
  }

 private:
  std::vector<Task> work_to_do() const {
    std::vector<Task> work;
    for (std::size_t i = 0; i < plans_.size(); ++i) {
      if (is_done_[i]) continue;
      for (std::size_t path = 0; path < plans_[i].paths.size(); ++path) work.push_back({i, path});
    }
    return work;
  }

  void fail(const std::string& what) {
    progress_.tell(what);
    failed_ = true;
  }

  // Those that an earlier run has done tell their results where their turn is.
  void finish_done_before(std::size_t end) {
    for (; next_ < end; ++next_) {
      const PersonPlan& plan = plans_[next_];
      std::string lines;
      if (is_done_[next_]) {
        read_file(person_folder_path(options_.output, plan) + "/" + lines_file_name(plan), lines);
        ++kept_;
      } else if (plan.paths.empty()) {
        progress_.tell(plan.folder + " has no recordings");
        ++nothing_;
      }
      publish(lines);
    }
  }

  bool take(const Task& task, Made made) {
    const PersonPlan& plan = plans_[task.plan];
    const std::string& path = plan.paths[task.path];
    if (!person_) person_.emplace(options_.output);
    if (made.outcome.result) {
      const std::string warning = warning_of(*made.outcome.result, plan.rate);
      if (!warning.empty()) progress_.tell("warning: " + path + ": " + warning);
      person_->add(std::move(made.outcome.result->column), std::move(made.outcome.result->entry));
    } else {
      progress_.tell(path + " " + made.reason);
    }
    lines_ += made.line;
    progress_.step(monotonic_seconds());
    if (task.path + 1 < plan.paths.size()) return true;
    return finish_person(task.plan);
  }

  bool finish_person(std::size_t index) {
    const PersonPlan& plan = plans_[index];
    if (!person_->is_empty() && !write_person(plan)) {
      failed_ = true;
      return false;
    }
    publish(std::exchange(lines_, ""));
    person_.reset();
    next_ = index + 1;
    finish_done_before(next_with_work(index + 1));
    return !failed_;
  }

  // The first person from `index` on who is not done and has recordings.
  std::size_t next_with_work(std::size_t index) const {
    while (index < plans_.size() && (is_done_[index] || plans_[index].paths.empty())) ++index;
    return index;
  }

  bool write_person(const PersonPlan& plan) {
    HiddenFolder folder(options_.output);
    if (folder.error()) {
      tell_write_failure(person_folder_path(options_.output, plan), folder.error());
      return false;
    }
    const BatchPerson::Written written = person_->write(folder.path(), plan.label, plan.settings);
    if (!written.table || !written.report) return false;
    if (!write_file(folder.path() + "/" + lines_file_name(plan), lines_)) return false;
    if (!folder.rename_to(person_folder_path(options_.output, plan))) return false;
    ++reports_;
    return true;
  }

  void publish(std::string_view lines) {
    if (options_.json) std::fwrite(lines.data(), 1, lines.size(), stdout);
    if (options_.json && (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)) {
      fail("standard output cannot be written");
    }
    while (!lines.empty()) {
      const std::string_view line = take_line(lines);
      if (const auto object = read_json_object(line)) {
        ++recordings_;
        if (gave_nothing(*object)) ++nothing_;
      }
      if (tables_) tables_->add(line);
    }
  }

  void tell_end(bool whole) {
    std::string text = std::to_string(recordings_) + " recordings, " + std::to_string(nothing_) +
                       " of them without a result; " + std::to_string(reports_) + " reports in " +
                       options_.output;
    if (kept_ > 0) text += ", " + std::to_string(kept_) + " there before";
    if (!whole) text += "; not all was done: the same command with --resume goes on";
    progress_.tell(text);
  }

  const std::vector<PersonPlan>& plans_;
  const RunOptions& options_;
  const std::vector<bool> is_done_;  // by an earlier run
  const std::vector<Task> work_;
  Progress progress_;
  std::optional<BatchTables> tables_;
  // The person whose recordings come now.
  std::optional<BatchPerson> person_;
  std::string lines_;
  std::size_t next_ = 0;  // the first plan that has not told its results
  std::size_t recordings_ = 0, nothing_ = 0, reports_ = 0, kept_ = 0;
  bool failed_ = false;
};

void tell(const std::string& text) {
  std::fprintf(stderr, "talvern-batch: %s\n", text.c_str());
}

bool make_output(const std::string& output) {
  std::error_code error;
  std::filesystem::create_directories(output, error);
  const WriteResult tried = error ? WriteResult{error} : try_to_write_in(output);
  if (!tried) tell("cannot write in " + output + ": " + tried.reason());
  return bool{tried};
}

// Which persons are done already; none, and told, when something is in the way.
std::optional<std::vector<bool>> look_for_done(const std::vector<PersonPlan>& plans,
                                               const RunOptions& options) {
  constexpr std::size_t k_told = 10;
  std::vector<bool> is_done(plans.size());
  std::size_t in_the_way = 0;
  const auto refuse = [&](const std::string& what) {
    if (++in_the_way <= k_told) tell(what);
  };
  for (std::size_t i = 0; i < plans.size(); ++i) {
    const std::string place = person_folder_path(options.output, plans[i]);
    const Found found = find_person(options.output, plans[i]);
    is_done[i] = options.resume && found == Found::whole;
    if (found == Found::nothing || is_done[i]) continue;
    if (!options.resume) {
      refuse(place + " is there already");
    } else if (found == Found::another) {
      refuse(place + " is of other settings or recordings, or not by this program");
    } else {
      std::error_code ignored;
      std::filesystem::remove_all(place, ignored);
    }
  }
  std::error_code error;
  const std::string summary = options.output + "/" + std::string(k_summary_file);
  if (options.tables && !options.resume && std::filesystem::exists(summary, error)) {
    refuse(summary + " is there already");
  }
  if (in_the_way == 0) return is_done;
  if (in_the_way > k_told) tell("and " + std::to_string(in_the_way - k_told) + " more");
  tell(options.resume ? "nothing was done: remove them, or choose another --output"
                      : "nothing was done: --resume goes on with an earlier run, another --output "
                        "begins a new one");
  return std::nullopt;
}

}  // namespace

int run_batch_command(const std::vector<PersonPlan>& plans, const RunOptions& options) {
  if (!make_output(options.output)) return k_exit_wrong_use;
  remove_hidden_folders(options.output);
  auto is_done = look_for_done(plans, options);
  if (!is_done) return k_exit_wrong_use;
  return Run(plans, options, std::move(*is_done)).execute();
}

}  // namespace tvn
