#include "batch/command/person_folder.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "batch/command/recording_line.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;

PersonPlan anna() {
  PersonPlan plan;
  plan.person = "anna-2";
  plan.label = "anna";
  plan.paths = {"/d/1.txt", "/d/2.txt"};
  plan.settings.report = {"F", 30, 5, 5, 10};
  return plan;
}

std::string lines_of(const PersonPlan& plan) {
  std::string lines;
  for (const std::string& path : plan.paths) lines += recording_line(plan, path, {}, "why") + "\n";
  return lines;
}

class PersonFolderTest : public testing::Test {
 protected:
  void write_person(const PersonPlan& plan) {
    const std::string folder = person_folder_path(folder_.path(), plan);
    fs::create_directories(folder);
    write_file(folder + "/anna_TVN_logpower.csv", "cycle,1\n0,8\npow,8\n");
    write_file(folder + "/anna_report.pdf", "%PDF-1.4\n%%EOF\n");
    write_file(folder + "/anna_recordings.jsonl", lines_of(plan));
  }
  Found find(const PersonPlan& plan) { return find_person(folder_.path(), plan); }

  TemporaryFolder folder_;
};

TEST_F(PersonFolderTest, IsThereWholeOrNotAtAll) {
  const std::string place = folder_ / "anna_export";
  {
    HiddenFolder folder(folder_.path());
    ASSERT_FALSE(folder.error());
    EXPECT_TRUE(fs::path(folder.path()).filename().string().starts_with("."));
    write_file(folder.path() + "/x", "y");
  }
  EXPECT_TRUE(fs::is_empty(folder_.path()));
  {
    HiddenFolder folder(folder_.path());
    write_file(folder.path() + "/x", "y");
    EXPECT_TRUE(folder.rename_to(place));
  }
  EXPECT_TRUE(fs::exists(place + "/x"));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.path()), fs::directory_iterator()), 1);
}

TEST_F(PersonFolderTest, TakesNobodysPlace) {
  fs::create_directory(folder_ / "anna_export");
  HiddenFolder folder(folder_.path());
  EXPECT_FALSE(folder.rename_to(folder_ / "anna_export"));
  EXPECT_TRUE(fs::exists(folder.path()));
}

TEST_F(PersonFolderTest, OnlyLeftoversAreRemoved) {
  HiddenFolder being_filled(folder_.path());
  const std::string left = folder_ / ".tvn-1-1.tmp-folder";
  fs::create_directory(left);
  write_file(left + "/x", "y");
  fs::create_directory(folder_ / "mine-folder");
  remove_hidden_folders(folder_.path());
  EXPECT_FALSE(fs::exists(left));
  EXPECT_TRUE(fs::exists(being_filled.path()));
  EXPECT_TRUE(fs::exists(folder_ / "mine-folder"));
}

TEST_F(PersonFolderTest, AWholeOneIsKnown) {
  EXPECT_EQ(find(anna()), Found::nothing);
  write_person(anna());
  EXPECT_EQ(find(anna()), Found::whole);
}

TEST_F(PersonFolderTest, OtherSettingsOrRecordingsAreAnother) {
  write_person(anna());
  PersonPlan other = anna();
  other.settings.report.age = 31;
  EXPECT_EQ(find(other), Found::another);
  other = anna();
  other.rate = 360;
  EXPECT_EQ(find(other), Found::another);
  other = anna();
  other.settings.own_values = true;
  EXPECT_EQ(find(other), Found::another);
  other = anna();
  other.paths.emplace_back("/d/3.txt");
  EXPECT_EQ(find(other), Found::another);
  other = anna();
  other.paths.pop_back();
  EXPECT_EQ(find(other), Found::another);
  other = anna();
  other.paths[1] = "/d/4.txt";
  EXPECT_EQ(find(other), Found::another);
}

// An export of the page has no lines of JSON; it is nobody's to remove.
TEST_F(PersonFolderTest, TheWorkOfOthersIsAnother) {
  write_person(anna());
  fs::remove(folder_ / "anna-2_export/anna_recordings.jsonl");
  EXPECT_EQ(find(anna()), Found::another);
}

// What a power cut leaves of files that were renamed in time and written too late.
TEST_F(PersonFolderTest, FilesThatAreCutOffAreTorn) {
  for (const char* name : {"anna_TVN_logpower.csv", "anna_report.pdf", "anna_recordings.jsonl"}) {
    for (const std::uintmax_t cut : {1u, 1000u}) {
      write_person(anna());
      const std::string path = folder_ / "anna-2_export/" + name;
      fs::resize_file(path, fs::file_size(path) - std::min(cut, fs::file_size(path)));
      EXPECT_EQ(find(anna()), Found::torn) << name << " without its last " << cut;
    }
  }
  write_person(anna());
  fs::remove(folder_ / "anna-2_export/anna_report.pdf");
  EXPECT_EQ(find(anna()), Found::torn);
}

}  // namespace
}  // namespace tvn
