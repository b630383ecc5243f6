#include "base/files.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "base/locked_file.h"
#include "tests/base/faulty_read.h"
#include "tests/base/faulty_rename.h"
#include "tests/faulty_sync.h"
#include "tests/file_limit.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

TEST(ReadFile, ReadsBackWhatWasWritten) {
  const TemporaryFolder folder;
  const std::string bytes = std::string("a\0b\r\n", 5) + std::string(300000, 'x');
  ASSERT_TRUE(write_file(folder / "file", bytes));
  std::string content;
  ASSERT_TRUE(read_file(folder / "file", content));
  EXPECT_EQ(content, bytes);
  ASSERT_TRUE(write_file(folder / "file", "short"));
  ASSERT_TRUE(read_file(folder / "file", content));
  EXPECT_EQ(content, "short");
}

TEST(ReadFile, LeavesTheResultAloneWhenThereIsNoRegularFile) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  std::string content = "before";
  for (const std::string& path :
       {folder.path(), folder / "missing", folder / "fifo", std::string()}) {
    EXPECT_FALSE(read_file(path, content)) << path;
    EXPECT_FALSE(is_readable_file(path)) << path;
  }
  EXPECT_EQ(content, "before");
}

TEST(ReadFile, FollowsSymbolicLinksAndReadsEmptyFiles) {
  const TemporaryFolder folder;
  ASSERT_TRUE(write_file(folder / "empty", ""));
  std::filesystem::create_symlink(folder / "empty", folder / "link");
  std::string content = "before";
  EXPECT_TRUE(read_file(folder / "link", content));
  EXPECT_EQ(content, "");
  EXPECT_TRUE(is_readable_file(folder / "link"));
}

#ifdef __linux__
// A process's memory is a regular file whose first page cannot be read.
TEST(ReadFile, AReadErrorIsNoEndOfFile) {
  std::string content = "before";
  EXPECT_FALSE(read_file("/proc/self/mem", content));
  EXPECT_EQ(content, "before");
}
#endif

TEST(ReadFile, AnErrorInMidFileIsNoEndOfIt) {
  const TemporaryFolder folder;
  ASSERT_TRUE(write_file(folder / "file", std::string(10'000, 'x')));
  int reads = 0;
  const FaultyRead fault([&] { return ++reads == 5 ? EIO : 0; });
  std::string content = "before";
  EXPECT_FALSE(read_file(folder / "file", content));
  EXPECT_EQ(content, "before");
}

TEST(ReadFile, AnInterruptedReadGoesOn) {
  const TemporaryFolder folder;
  ASSERT_TRUE(write_file(folder / "file", std::string(10'000, 'x')));
  int reads = 0;
  const FaultyRead fault([&] { return ++reads % 2 == 1 ? EINTR : 0; });
  std::string content;
  EXPECT_TRUE(read_file(folder / "file", content));
  EXPECT_EQ(content, std::string(10'000, 'x'));
}

// Cut, lengthened or written anew while it is read: neither the old nor the new file is at hand.
TEST(ReadFile, AFileThatChangesMeanwhileCannotBeRead) {
  const TemporaryFolder folder;
  const auto truncate_to = [&](off_t size) {
    EXPECT_EQ(truncate((folder / "file").c_str(), size), 0);
  };
  const std::vector<std::function<void()>> changes = {[&] { truncate_to(4000); },
                                                      [&] { truncate_to(20'000); },
                                                      [&] {
                                                        truncate_to(0);
                                                        truncate_to(10'000);
                                                      }};
  for (const auto& change : changes) {
    ASSERT_TRUE(write_file(folder / "file", std::string(10'000, 'x')));
    usleep(20'000);  // times of change have a resolution of a few milliseconds
    int reads = 0;
    const FaultyRead fault([&] {
      if (++reads == 6) change();
      return 0;
    });
    std::string content = "before";
    EXPECT_FALSE(read_file(folder / "file", content));
    EXPECT_EQ(content, "before");
  }
}

// A pipe cannot be brought to a disk, nor can files of some shared folders.
TEST(SyncToDisk, IsDoneWhereTheSystemCannotAndFailsWhereItFailed) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  EXPECT_EQ(sync_to_disk(ends[1]), std::error_code());
  for (const int end : ends) ::close(end);
  EXPECT_EQ(sync_to_disk(ends[1]), std::errc::bad_file_descriptor);
}

TEST(WriteFile, TellsWhenItCannot) {
  const TemporaryFolder folder;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(write_file(folder / "no/such/folder", "x"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Could not write " + folder.path() + "/no/such/folder: No such file or directory\n");
  EXPECT_FALSE(write_file(folder.path(), "x"));
  EXPECT_EQ(write_file(folder / std::string(256, 'n'), "x").reason(), "File name too long");
  EXPECT_TRUE(names_in(folder.path()).empty());
}

TEST(WriteFile, LeavesTheOldFileOrNoneWhenThereIsNoRoom) {
  const TemporaryFolder folder;
  ASSERT_TRUE(write_file(folder / "old", "old"));
  for (const Durability durability : {Durability::by_and_by, Durability::at_once}) {
    const FileLimit limit(5000);
    EXPECT_EQ(write_file(folder / "old", std::string(10000, 'x'), durability).reason(),
              "File too large");
    EXPECT_FALSE(write_file(folder / "new", std::string(10000, 'x'), durability));
    EXPECT_TRUE(write_file(folder / "small", "fits", durability));
  }
  EXPECT_THAT(names_in(folder.path()), testing::UnorderedElementsAre("old", "small"));
  std::string content;
  ASSERT_TRUE(read_file(folder / "old", content));
  EXPECT_EQ(content, "old");
}

// Killed while they write, again and again: what has the name is whole.
TEST(WriteFile, AKilledWriterLeavesNoHalfFile) {
  const TemporaryFolder folder;
  const std::string bytes(8'000'000, 'x');
  std::size_t leftovers = 0;
  for (int i = 0; i < 20; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      for (;;) static_cast<void>(write_file(folder / "file", bytes));
    }
    usleep(static_cast<useconds_t>(2000 + 700 * i));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    std::string content;
    const bool read = read_file(folder / "file", content);
    EXPECT_TRUE(!read || content == bytes) << content.size();
    leftovers = std::max(leftovers, names_in(folder.path()).size());
  }
  EXPECT_GT(leftovers, 1u) << "no kill came in the middle";
  remove_unfinished_files(folder.path());
  EXPECT_THAT(names_in(folder.path()), testing::Each("file"));
}

TEST(WriteFile, WhatARunningProgramWritesIsNoLeftover) {
  const TemporaryFolder folder;
  const NewFile writing = create_locked_file(folder / ".tvn-", ".tmp", 0600);
  ASSERT_TRUE(writing.handle.is_open());
  remove_unfinished_files(folder.path());
  EXPECT_TRUE(is_readable_file(writing.path));
}

// An errno of earlier says nothing of a lock that was given.
TEST(CreateLockedFile, TakesTheFirstNameWhateverWentBefore) {
  const TemporaryFolder folder;
  errno = EWOULDBLOCK;
  const NewFile created = create_locked_file(folder / ".tvn-", ".tmp", 0600);
  EXPECT_TRUE(created.handle.is_open());
  EXPECT_THAT(names_in(folder.path()), testing::SizeIs(1));
}

#ifdef __linux__
// What a power cut must not take is on the disk before it has its name, and then its name is.
TEST(WriteFile, IsBroughtToTheDiskWholeBeforeItHasItsName) {
  const TemporaryFolder folder;
  const std::string bytes(100'000, 'x');
  for (const Durability durability : {Durability::by_and_by, Durability::at_once}) {
    std::vector<std::string> synced, folders;
    const auto see_file = [&](const std::string& path) {
      EXPECT_FALSE(std::filesystem::exists(folder / "file"));
      EXPECT_TRUE(path.starts_with(folder / ".tvn-")) << path;
      std::string content;
      EXPECT_TRUE(read_file(path, content) && content == bytes);
      synced.push_back(path);
    };
    const auto see_folder = [&](const std::string& path) {
      EXPECT_TRUE(std::filesystem::exists(folder / "file"));
      folders.push_back(path);
    };
    const FaultySync watch(see_file, see_folder);
    EXPECT_TRUE(write_file(folder / "file", bytes, durability));
    const bool at_once = durability == Durability::at_once;
    EXPECT_EQ(synced.size(), at_once ? 1u : 0u);
    EXPECT_EQ(folders, at_once ? std::vector{folder.path()} : std::vector<std::string>());
    std::filesystem::remove(folder / "file");
  }
}
#endif

// As the file would be written to that somebody keeps elsewhere, on another disk, say.
TEST(WriteFile, WritesWhereALinkLeads) {
  namespace fs = std::filesystem;
  const TemporaryFolder folder;
  fs::create_directory(folder / "elsewhere");
  ASSERT_TRUE(write_file(folder / "elsewhere/file", "old"));
  fs::create_symlink("elsewhere/file", folder / "near");
  fs::create_symlink(folder / "near", folder / "link");
  EXPECT_TRUE(write_file(folder / "link", "new"));
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_TRUE(fs::is_symlink(folder / "near"));
  EXPECT_FALSE(fs::is_symlink(folder / "elsewhere/file"));
  std::string content;
  ASSERT_TRUE(read_file(folder / "elsewhere/file", content));
  EXPECT_EQ(content, "new");
  {
    const FileLimit full(1000);
    EXPECT_FALSE(write_file(folder / "link", std::string(2000, 'x')));
  }
  ASSERT_TRUE(read_file(folder / "elsewhere/file", content));
  EXPECT_EQ(content, "new");
  EXPECT_THAT(names_in(folder / "elsewhere"), testing::ElementsAre("file"));
}

// No file is there to be replaced.
TEST(WriteFile, ReplacesALinkThatLeadsToNoFile) {
  namespace fs = std::filesystem;
  const TemporaryFolder folder;
  // Not a device of the system, which a fault here would replace where root runs the tests.
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const char* target : {"missing", ".", "link", "pipe"}) {
    fs::create_symlink(target, folder / "link");
    EXPECT_TRUE(write_file(folder / "link", "new")) << target;
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(folder / "link"))) << target;
    fs::remove(folder / "link");
  }
  EXPECT_TRUE(fs::is_fifo(folder / "pipe"));
}

void keeps_what_has_the_name() {
  const TemporaryFolder folder;
  const auto write = [&](const std::string& name) {
    return write_file(folder / name, "new", Durability::at_once, Existing::kept).error;
  };
  ASSERT_TRUE(write_file(folder / "old", "old"));
  std::filesystem::create_symlink("old", folder / "link");
  std::filesystem::create_symlink("missing", folder / "broken");
  testing::internal::CaptureStderr();
  for (const char* name : {"old", "link", "broken"}) {
    EXPECT_EQ(write(name), std::errc::file_exists) << name;
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(write("fresh"), std::error_code());
  std::string content;
  ASSERT_TRUE(read_file(folder / "old", content));
  EXPECT_EQ(content, "old");
  EXPECT_THAT(names_in(folder.path()),
              testing::UnorderedElementsAre("old", "link", "broken", "fresh"));
}

TEST(WriteFile, KeepsWhatHasTheNameWhenToldSo) {
  keeps_what_has_the_name();
}

// FAT by way of FUSE, say.
TEST(WriteFile, KeepsItWhereTheFileSystemCannotTell) {
  for (const int lacking : {EINVAL, ENOTSUP, ENOSYS}) {
    const FaultyRename rename(lacking);
    keeps_what_has_the_name();
  }
}

TEST(WriteFile, TellsWhyANewNameCannotBeGiven) {
  const TemporaryFolder folder;
  const FaultyRename rename(EPERM);
  testing::internal::CaptureStderr();
  const WriteResult result = write_file(folder / "a", "new", Durability::at_once, Existing::kept);
  EXPECT_EQ(result.error, std::errc::operation_not_permitted);
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(names_in(folder.path()).empty());
}

TEST(TryToWrite, TellsWhetherAFolderCanBeWritten) {
  const TemporaryFolder folder;
  EXPECT_TRUE(try_to_write_in(folder.path()));
  EXPECT_EQ(try_to_write_in(folder / "missing").reason(), "No such file or directory");
  const FileLimit full(0);
  EXPECT_EQ(try_to_write_in(folder.path()).reason(), "File too large");
  EXPECT_TRUE(names_in(folder.path()).empty());
}

}  // namespace
}  // namespace tvn
