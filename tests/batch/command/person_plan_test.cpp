#include "batch/command/person_plan.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "base/files.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

class PersonPlanTest : public testing::Test {
 protected:
  std::string add(const std::string& path) {
    fs::create_directories(fs::path(folder_ / path).parent_path());
    EXPECT_TRUE(write_file(folder_ / path, "1\n"));
    return folder_ / path;
  }
  std::vector<PersonPlan> plan(std::vector<std::string> folders) {
    return make_plan({std::move(folders), {}, values_, folder_ / "out"});
  }
  static std::vector<std::string> names(const std::vector<PersonPlan>& plans) {
    std::vector<std::string> names;
    for (const PersonPlan& plan : plans) names.push_back(plan.person);
    return names;
  }

  TemporaryFolder folder_;
  CommonValues values_;
};

TEST_F(PersonPlanTest, FoldersOfOneNameAreToldApart) {
  add("a/ecg/1.txt");
  add("b/ecg/1.txt");
  add("c/ecg-2/1.txt");
  add("d/ecg/1.txt");
  const std::vector<PersonPlan> plans = plan({folder_.path()});
  EXPECT_THAT(names(plans), ElementsAre("ecg", "ecg-2", "ecg-2-2", "ecg-3"));
  EXPECT_EQ(plans[1].label, "ecg");
  EXPECT_EQ(plans[2].label, "ecg-2");
}

TEST_F(PersonPlanTest, NoFolderIsTakenTwice) {
  add("a/1.txt");
  add("b/1.txt");
  EXPECT_THAT(names(plan({folder_ / "b", folder_.path(), folder_ / "a/../b/"})),
              ElementsAre("a", "b"));
}

TEST_F(PersonPlanTest, AllAsOnePerson) {
  add("a/2.txt");
  add("a b/3.txt");  // a blank comes before a slash
  add("b/1.txt");
  const auto plans = make_plan(
      {{folder_ / "b", folder_ / "a b", folder_ / "a"}, "Anna B.", values_, folder_ / "out"});
  ASSERT_EQ(plans.size(), 1u);
  EXPECT_EQ(plans[0].person, "Anna_B.");
  EXPECT_THAT(plans[0].paths,
              ElementsAre(folder_ / "a b/3.txt", folder_ / "a/2.txt", folder_ / "b/1.txt"));
}

TEST_F(PersonPlanTest, TablesOfAnEarlierRunAreNoRecordings) {
  add("out/summary.csv");
  add("out/cycles.csv");
  add("a/summary.csv");
  EXPECT_THAT(names(plan({folder_.path()})), ElementsAre("a"));
}

TEST_F(PersonPlanTest, AFolderThatIsADotHasItsOwnName) {
  add("anna/1.txt");
  const fs::path before = fs::current_path();
  fs::current_path(folder_ / "anna");
  EXPECT_THAT(names(plan({"."})), ElementsAre("anna"));
  fs::current_path(before);
}

TEST_F(PersonPlanTest, ALineBringsAPersonBack) {
  const std::string path = add("Ren\xe9\n\"e\"/1.txt");
  add("Ren\xe9\n\"e\"/deeper/2.txt");
  values_.report = breathing({"F", 33}, 4.5, 6.25);
  values_.date = "2026-01-31 09:30";
  values_.rate = 250.25;
  PersonPlan plan = this->plan({folder_.path()})[0];
  plan.settings.own_values = true;
  const auto back = read_plan_line(plan_line(plan));
  ASSERT_TRUE(back);
  EXPECT_EQ(plan_line(*back), plan_line(plan));
  EXPECT_EQ(plan_line(plan).find('\n'), std::string::npos);
  EXPECT_THAT(back->paths, ElementsAre(path));
  EXPECT_EQ(back->settings.report.cycle_seconds, 10.75);
  EXPECT_EQ(back->rate, 250.25);
  EXPECT_TRUE(back->settings.own_values);
}

TEST_F(PersonPlanTest, ALineWithoutAnyOfItsMembersIsNone) {
  add("a/1.txt");
  const std::string line = plan_line(plan({folder_.path()})[0]);
  for (const char* member :
       {"person", "folder", "label", "sex", "age", "in", "out", "own_values", "rate", "date"}) {
    std::string without = line;
    const std::size_t at = without.find("\"" + std::string(member) + "\":");
    ASSERT_NE(at, std::string::npos) << member;
    without.replace(at + 1, 1, "_");
    EXPECT_FALSE(read_plan_line(without)) << member;
  }
}

TEST_F(PersonPlanTest, ALineThatCouldDoHarmIsNone) {
  add("a/1.txt");
  const std::string line = plan_line(plan({folder_.path()})[0]);
  ASSERT_TRUE(read_plan_line(line));
  const auto with = [&](const std::string& from, const std::string& to) {
    std::string changed = line;
    return changed.replace(changed.find(from), from.size(), to);
  };
  EXPECT_FALSE(read_plan_line(with(R"("person":"a")", R"("person":"../a")")));
  EXPECT_FALSE(read_plan_line(with(R"("label":"a")", R"("label":"x/a")")));
  EXPECT_FALSE(read_plan_line(with(R"("age":40)", R"("age":4000)")));
  EXPECT_FALSE(read_plan_line(with(R"("sex":"M")", R"("sex":"?")")));
  EXPECT_FALSE(read_plan_line(with(R"("rate":130)", R"("rate":0)")));
  EXPECT_FALSE(read_plan_line(line.substr(1)));
}

}  // namespace
}  // namespace tvn
