#include "host/end_signals.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "base/clock.h"

namespace tvn {
namespace {

// A process of its own that waits for its end, with a task before it; the pipe tells what it did.
class WaitingProcess {
 public:
  explicit WaitingProcess(int ignored_signal = 0, bool hangs = false) {
    EXPECT_EQ(pipe(ends_), 0);
    pid_ = fork();
    if (pid_ == 0) wait_for_end(ignored_signal, hangs);
    EXPECT_EQ(next(), 'r');
  }
  ~WaitingProcess() {
    if (pid_ > 0) kill(pid_, SIGKILL), waitpid(pid_, nullptr, 0);
    close(ends_[0]);
    close(ends_[1]);
  }
  void send(int signal) const { kill(pid_, signal); }
  // The next thing that it tells: 'r' ready, 't' the task has run.
  char next() const {
    char told = 0;
    return read(ends_[0], &told, 1) == 1 ? told : '\0';
  }
  // The signal that ended it; 0 when it ended otherwise.
  int wait_for_signal() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }

 private:
  void tell(char what) const { EXPECT_EQ(write(ends_[1], &what, 1), 1); }
  [[noreturn]] void wait_for_end(int ignored_signal, bool hangs) const {
    // A test that is started under nohup begins with SIGHUP ignored.
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
      std::signal(signal, signal == ignored_signal ? SIG_IGN : SIG_DFL);
    }
    const auto task = [this, hangs] {
      tell('t');
      while (hangs) pause();
    };
    before_end_by_signal(task, hangs ? 0.5 : 10.0);
    tell('r');
    for (;;) pause();
  }
  pid_t pid_ = -1;
  int ends_[2] = {-1, -1};
};

TEST(EndSignals, TheTaskRunsAndTheSignalEndsTheProcess) {
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
    WaitingProcess process;
    process.send(signal);
    EXPECT_EQ(process.next(), 't');
    EXPECT_EQ(process.wait_for_signal(), signal);
  }
}

TEST(EndSignals, ATaskThatHangsIsNotWaitedFor) {
  WaitingProcess process(0, true);
  const double begun = monotonic_seconds();
  process.send(SIGTERM);
  EXPECT_EQ(process.next(), 't');
  EXPECT_EQ(process.wait_for_signal(), SIGTERM);
  EXPECT_GE(monotonic_seconds() - begun, 0.5);
  EXPECT_LT(monotonic_seconds() - begun, 3.0);
}

TEST(EndSignals, AnIgnoredSignalStaysIgnored) {
  WaitingProcess process(SIGHUP);
  process.send(SIGHUP);
  usleep(100'000);
  process.send(SIGTERM);
  EXPECT_EQ(process.next(), 't');
  EXPECT_EQ(process.wait_for_signal(), SIGTERM);
}

}  // namespace
}  // namespace tvn
