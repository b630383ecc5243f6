#include "tests/batch/command/batch_program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "base/files.h"

namespace tvn {

BatchProgram::BatchProgram(const std::vector<std::string>& arguments, const std::string& home,
                           const std::string& input) {
  std::string pattern = (std::filesystem::temp_directory_path() / "tvn-run-XXXXXX").string();
  folder_ = mkdtemp(pattern.data());
  EXPECT_TRUE(write_file(folder_ + "/in", input));
  std::vector<std::string> texts = {TVN_BATCH_PROGRAM};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& text : texts) argv.push_back(text.data());
  argv.push_back(nullptr);
  pid_ = fork();
  if (pid_ != 0) return;
  // Tests that are started under nohup, or in the background of a script, begin with them ignored.
  for (const int asked : {SIGHUP, SIGINT, SIGTERM}) signal(asked, SIG_DFL);
  const auto redirect = [this](const char* name, int flags, int to) {
    dup2(open((folder_ + name).c_str(), flags, 0644), to);
  };
  redirect("/in", O_RDONLY, 0);
  redirect("/out", O_WRONLY | O_CREAT, 1);
  redirect("/err", O_WRONLY | O_CREAT, 2);
  setenv("TVN_DATA", home.c_str(), 1);
  unsetenv("TVN_BASE");
  execv(TVN_BATCH_PROGRAM, argv.data());
  _exit(127);
}

BatchProgram::~BatchProgram() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

ProgramEnd BatchProgram::wait() {
  ProgramEnd end;
  int status = 0;
  rusage used{};
  wait4(pid_, &status, 0, &used);
  pid_ = -1;
  end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  end.peak_kilobytes = used.ru_maxrss;
  read_file(folder_ + "/out", end.output);
  read_file(folder_ + "/err", end.errors);
  return end;
}

}  // namespace tvn
