#include "batch/command/people_file.h"

#include <gmock/gmock.h>

namespace tvn {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<PersonPlan> plans() {
  std::vector<PersonPlan> plans(3);
  plans[0].folder = "/data/x/P01";
  plans[1].folder = "/data/y/P01";
  plans[2].folder = "/data/y/Q, \"2\"";
  for (PersonPlan& plan : plans) plan.settings.report = {"M", 40, 5, 11, 16};
  return plans;
}

constexpr const char* k_head = "folder,sex,age,in,out\n";

TEST(PeopleFile, EveryoneGetsTheirOwnValues) {
  std::vector<PersonPlan> people = plans();
  const std::string text = std::string("\xEF\xBB\xBF") + k_head +
                           "x/P01,F,33,4,6\r\n"
                           "\r\n"
                           "/data/y/P01/, m , 71 , , \n"
                           "\"Q, \"\"2\"\"\",f,20,,5.125";
  EXPECT_THAT(apply_people(text, "p.csv", people), IsEmpty());
  EXPECT_EQ(people[0].settings.report.sex, "F");
  EXPECT_EQ(people[0].settings.report.age, 33);
  EXPECT_EQ(people[0].settings.report.cycle_seconds, 10);
  EXPECT_TRUE(people[0].settings.own_values);
  EXPECT_EQ(people[1].settings.report.sex, "M");
  EXPECT_EQ(people[1].settings.report.age, 71);
  EXPECT_EQ(people[1].settings.report.indur, 5);
  EXPECT_EQ(people[1].settings.report.outdur, 11);
  EXPECT_EQ(people[2].settings.report.sex, "F");
  EXPECT_EQ(people[2].settings.report.outdur, 5.13);  // to 0.01 s, as the page takes it
}

TEST(PeopleFile, FaultsAreToldWithTheirLines) {
  std::vector<PersonPlan> people = plans();
  const std::string text = std::string(k_head) +
                           "x/P01,F,33,4,6\n"
                           "P01,F,33,4,6\n"
                           "/data/x/P01,M,50,,\n"
                           "nobody,M,50,,\n"
                           "y/P01,X,150,0,1e9\n"
                           "1,2,3\n";
  EXPECT_THAT(apply_people(text, "p.csv", people),
              ElementsAre("p.csv:3: P01 may be /data/x/P01 or /data/y/P01: write more of it",
                          "p.csv:4: /data/x/P01 has a line already, line 2",
                          "p.csv:5: no recordings in a folder nobody",
                          "p.csv:6: sex must be F or M, not 'X'",
                          "p.csv:6: age must be whole years to 120, not '150'",
                          "p.csv:6: in must be 0.05 to 600 seconds, not '0'",
                          "p.csv:6: out must be 0.05 to 600 seconds, not '1e9'",
                          "p.csv:7: must have 5 fields: folder,sex,age,in,out",
                          "p.csv: no line for /data/y/Q, \"2\""));
}

TEST(PeopleFile, WithoutItsHeadItIsNone) {
  std::vector<PersonPlan> people = plans();
  for (const char* text : {"", "P01,F,33,4,6\n"}) {
    EXPECT_FALSE(apply_people(text, "p.csv", people).empty()) << text;
  }
  EXPECT_EQ(apply_people("P01,F,33,4,6\n", "p.csv", people)[0],
            "p.csv:1: the first line must be folder,sex,age,in,out");
}

// Half a component is none: "01" is not "P01".
TEST(PeopleFile, FoldersAreComparedByComponents) {
  std::vector<PersonPlan> people = plans();
  EXPECT_THAT(apply_people(std::string(k_head) + "01,F,33,4,6\n", "p.csv", people),
              testing::Contains("p.csv:2: no recordings in a folder 01"));
}

}  // namespace
}  // namespace tvn
