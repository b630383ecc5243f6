#include "web/handlers/folder_chooser.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include "tests/stand_in.h"

namespace tvn {
namespace {

TEST(FolderChooser, GivesWhatTheDialogPrints) {
  const StandIn dialog("zenity", "echo noise >&2; printf '/home/ann/My study \\n\\r\\n'");
  EXPECT_EQ(choose_folder(), "/home/ann/My study");
}

TEST(FolderChooser, LeavesNoChildBehindAndShowsNothingOfItsNoise) {
  const StandIn dialog("zenity", "echo noise >&2; echo /x");
  testing::internal::CaptureStderr();
  EXPECT_EQ(choose_folder(), "/x");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);  // there is none
}

TEST(FolderChooser, KeepsLongPathsWhole) {
  const StandIn dialog("zenity", "head -c 10000 /dev/zero | tr '\\0' x; echo");
  EXPECT_EQ(choose_folder(), std::string(10000, 'x'));
}

TEST(FolderChooser, IsEmptyWhenTheUserCancels) {
  const StandIn dialog("zenity", "exit 1");
  EXPECT_EQ(choose_folder(), "");
}

TEST(FolderChooser, FallsBackToTheOtherDialogOrNone) {
  const TemporaryFolder empty;
  const std::string path = getenv("PATH");
  setenv("PATH", empty.path().c_str(), 1);
  EXPECT_EQ(choose_folder(), "");
  {
    const StandIn dialog("kdialog", "echo /by-kdialog");
    EXPECT_EQ(choose_folder(), "/by-kdialog");
  }
  setenv("PATH", path.c_str(), 1);
}

}  // namespace
}  // namespace tvn
