// The disk of the real executable fills up, and the program is killed, in the middle of every kind
// of writing: what has its name is whole, and nothing else is touched.
#ifdef __linux__
#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <regex>

#include "base/files.h"
#include "tests/api/machine_faults.h"
#include "tests/wait_until.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;
using Task = std::function<void(const Program&)>;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSubsetOf;
using testing::SizeIs;

constexpr std::int64_t k_plenty = std::int64_t{1} << 40;
constexpr const char* k_unfinished = "(unfinished)";

// What can be said of a file's content at any time of day, in a few characters.
std::string digest(const std::string& name, std::string content) {
  if (name.ends_with(".pdf")) {
    return content.starts_with("%PDF-") && content.ends_with("%%EOF\n") ? "whole" : "half a PDF";
  }
  if (name.ends_with(".edf") && content.size() > 256) content.erase(88, 96);  // dates and times
  return std::to_string(content.size()) + " bytes, " +
         std::to_string(std::hash<std::string>()(content));
}

// All files of a data folder, by their paths in it without the times.
Files files_in(const std::string& data) {
  static const std::regex k_time("[0-9]{8}-[0-9]{6}");
  Files files;
  for (const auto& entry : fs::recursive_directory_iterator(data)) {
    if (!entry.is_regular_file()) continue;
    const std::string name = entry.path().filename().string();
    const std::string path = fs::relative(entry.path(), data).string();
    std::string content;
    read_file(entry.path().string(), content);
    const bool finished = !name.starts_with(".tvn-");
    files[std::regex_replace(path, k_time, "TIME")] =
        finished ? digest(name, std::move(content)) : k_unfinished;
  }
  return files;
}

Files without_unfinished(Files files) {
  std::erase_if(files, [](const auto& file) { return file.second == k_unfinished; });
  return files;
}

// A program on a machine and a data folder of its own, in which recordings lie.
struct Session {
  TemporaryFolder data;
  MachineFaults machine;
  std::unique_ptr<Program> program;

  Session() {
    fs::create_directories(data / "recordings");
    EXPECT_TRUE(write_file(data / "recordings/kept.csv", "1\n2\n"));
    EXPECT_TRUE(write_file(data / "recordings/kept_markers.csv", "1,1\n"));
  }
  void start() {
    ProgramOptions options{std::to_string(test_port()), {}, true};
    options.environment = {{"TVN_DATA", data.path()}};
    program.reset();  // one at a time
    program = std::make_unique<Program>(machine.on(options));
  }
  void expect_death() {
    EXPECT_TRUE(wait_until([this] { return !program->is_alive(); }, 10.0));
    program->wait_for_exit();
  }
};

// What `write` has made in the end, and how many bytes it took for it.
struct Whole {
  Files before, after;
  std::int64_t bytes = 0;
};

Whole write_undisturbed(const Task& prepare, const Task& write) {
  Session session;
  session.start();
  prepare(*session.program);
  Whole whole;
  whole.before = files_in(session.data.path());
  session.machine->room = k_plenty;
  write(*session.program);
  whole.bytes = k_plenty - session.machine->room;
  whole.after = files_in(session.data.path());
  EXPECT_GT(whole.after.size(), whole.before.size());
  return whole;
}

void expect_whole_files_on_a_full_disk(const Whole& whole, const Task& prepare, const Task& write) {
  for (const std::int64_t room : {std::int64_t{0}, whole.bytes / 2, whole.bytes - 1}) {
    Session session;
    session.start();
    prepare(*session.program);
    session.machine->room = room;
    write(*session.program);
    const Files files = files_in(session.data.path());
    EXPECT_THAT(files, IsSubsetOf(whole.after)) << room;
    EXPECT_LT(files.size(), whole.after.size()) << room;
    EXPECT_THAT(whole.before, IsSubsetOf(files)) << room;
    EXPECT_THAT(session.program->error_output(), HasSubstr(": No space left on device\n"));
    session.machine->room = k_plenty;
    write(*session.program);
    EXPECT_GE(files_in(session.data.path()).size(), whole.after.size()) << "as if nothing had been";
  }
}

void expect_whole_files_after_kills(const Whole& whole, const Task& prepare, const Task& write) {
  for (const std::int64_t room : {std::int64_t{0}, whole.bytes / 3, whole.bytes - 1}) {
    Session session;
    session.start();
    prepare(*session.program);
    session.machine->kills_when_full = true;
    session.machine->room = room;
    write(*session.program);
    session.expect_death();
    const Files killed = files_in(session.data.path());
    EXPECT_THAT(without_unfinished(killed), IsSubsetOf(whole.after)) << room;
    EXPECT_THAT(whole.before, IsSubsetOf(killed)) << room;
    EXPECT_EQ(killed.size(), without_unfinished(killed).size() + 1) << "in the middle of a file";
    session.machine->room = k_plenty;
    session.start();
    // The folder of uploads is made anew by the next batch.
    Files again = files_in(session.data.path());
    std::erase_if(again, [](const auto& file) { return file.first.starts_with("_upload_tmp/"); });
    EXPECT_EQ(again.size(), without_unfinished(again).size()) << "the start removes what was left";
    EXPECT_THAT(again, IsSubsetOf(whole.after)) << room;
  }
}

void expect_whole_files(const Task& prepare, const Task& write) {
  const Whole whole = write_undisturbed(prepare, write);
  expect_whole_files_on_a_full_disk(whole, prepare, write);
  expect_whole_files_after_kills(whole, prepare, write);
}

void wait_while(const Program& program, const std::string& status_path, const std::string& value) {
  wait_until([&] { return member(fetch(program.port(), status_path), "status") != value; });
}

// Half of a recording, with a marker.
void play_half(const Program& program) {
  fetch(program.port(), "/start_replay?file=Sample%201.txt&speed=0&name=Anna");
  fetch(program.port(), "/seek?frac=0.5");
  fetch(program.port(), "/mark?key=4");
}

std::string sample_of(const Program& program, const std::string& target) {
  std::string sample;
  EXPECT_TRUE(read_file(std::string(TVN_SOURCE_DIR) + "/assets/Sample 2.txt", sample));
  return post(program.port(), target, sample);
}

TEST(HalfFiles, NoneOfASaveNorOfItsMarkers) {
  expect_whole_files(play_half, [](const Program& program) { fetch(program.port(), "/save"); });
}

TEST(HalfFiles, NoneOfAnImport) {
  expect_whole_files([](const Program&) {},
                     [](const Program& program) { sample_of(program, "/import?fname=a.txt"); });
}

TEST(HalfFiles, NoneOfAnUpload) {
  expect_whole_files([](const Program& program) { fetch(program.port(), "/batch_new"); },
                     [](const Program& program) { sample_of(program, "/batch_upload?rel=a.txt"); });
}

void export_half(const Program& program) {
  fetch(program.port(), "/export");
  wait_while(program, "/export_status", "\"exporting\"");
}

TEST(HalfFiles, NoneOfAnExport) {
  expect_whole_files(play_half, export_half);
}

TEST(HalfFiles, NoneOfABatch) {
  const auto upload = [](const Program& program) {
    fetch(program.port(), "/batch_new");
    sample_of(program, "/batch_upload?rel=a.txt");
  };
  expect_whole_files(upload, [](const Program& program) {
    fetch(program.port(), "/batch_run?mode=single&batchname=Jane");
    wait_while(program, "/batch_status", "\"running\"");
  });
}

// An export that has no room for all of its files names each one that is missing.
TEST(HalfFiles, AnExportNamesWhatIsMissing) {
  const std::int64_t bytes = write_undisturbed(play_half, export_half).bytes;
  std::size_t exports_in_part = 0;
  for (int fifths = 1; fifths < 5; ++fifths) {
    Session session;
    session.start();
    play_half(*session.program);
    session.machine->room = bytes * fifths / 5;
    export_half(*session.program);
    const std::string status = fetch(session.program->port(), "/export_status");
    std::size_t missing = 0;
    for (const char* end :
         {"_ECG.txt", "_HR.txt", "_markers.csv", ".edf", "_TVN_logpower.csv", "_report.pdf"}) {
      const std::string name = std::string("Anna") + end;
      const bool is_there = fs::exists(session.data / ("exports/Anna_export/" + name));
      const bool is_named = status.find(name + " could not be written.") != std::string::npos;
      EXPECT_NE(is_there, is_named) << name << " of " << status;
      if (!is_there) ++missing;
    }
    EXPECT_GT(missing, 0u) << status;
    if (missing < 6) ++exports_in_part;
  }
  EXPECT_GT(exports_in_part, 0u);
}

// The samples, at a program's first start.
TEST(HalfFiles, NoneOfAFirstStart) {
  const Files whole = [] {
    Session session;
    session.start();
    return files_in(session.data.path());
  }();
  for (const bool killed : {false, true}) {
    for (const std::int64_t room : {0, 1, 60'000, 123'591, 200'000}) {
      Session session;
      session.machine->kills_when_full = killed;
      session.machine->room = room;
      session.start();
      EXPECT_EQ(session.program->port() == 0, killed);
      EXPECT_THAT(without_unfinished(files_in(session.data.path())), IsSubsetOf(whole));
      if (!killed) {
        EXPECT_THAT(fetch(session.program->port(), "/recordings"), HasSubstr("kept.csv"));
        EXPECT_THAT(session.program->error_output(), HasSubstr(": No space left on device\n"));
      }
      session.machine->room = k_plenty;
      session.start();
      EXPECT_EQ(files_in(session.data.path()), whole);
    }
  }
}

}  // namespace
}  // namespace tvn
#endif
