// Two processes, one after the other, on one data folder: what the first
// saves, the second finds in the same months, with the same links and the
// same query results.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "platform/system.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using testing::Join;
using testing::ReadBytes;

int RunActor(const std::string& mode, const std::string& app_data, const std::string& report) {
  const std::string actor = platform::LibraryFolder() + ORNCAL_ACTOR;
  const std::string command = actor + " " + mode + " " + app_data + " " + report;
  return std::system(command.c_str());
}

TEST(TwoProcesses, TheSecondFindsWhatTheFirstSaved) {
  testing::TempDir temp;
  const std::string app_data = Join(temp.path(), "appdata");
  ASSERT_EQ(app_data.find(' '), std::string::npos) << "the command line takes no quoting";
  ASSERT_EQ(RunActor("write", app_data, Join(temp.path(), "first.txt")), 0);
  ASSERT_EQ(RunActor("read", app_data, Join(temp.path(), "second.txt")), 0);

  const std::string first = ReadBytes(Join(temp.path(), "first.txt"));
  const std::string second = ReadBytes(Join(temp.path(), "second.txt"));
  EXPECT_EQ(second, first);
  // The scenario reached the files: May holds the series and links run on.
  EXPECT_NE(first.find("file 200805\n  1 #"), std::string::npos) << first;
  EXPECT_NE(first.find("-> 200805/"), std::string::npos) << first;
  EXPECT_EQ(first.find("removed"), std::string::npos) << first;
  EXPECT_NE(first.find("  3 200804/"), std::string::npos) << first;  // parts of the series
  EXPECT_NE(first.find("moved"), std::string::npos) << first;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

// A task line without its ID and its reminder.
std::string Fields(const std::string& line) {
  return std::regex_replace(line, std::regex("task -?[0-9]+ | reminder=.*"), "");
}

// One task followed through three processes: completed with its reminder in
// the first, found among the completed tasks and brought back with a new
// reminder in the second, its reminder due in the third.
TEST(TwoProcesses, ATaskLivesOnAcrossRestarts) {
  testing::TempDir temp;
  const std::string app_data = Join(temp.path(), "appdata");
  std::vector<std::vector<std::string>> reports;
  for (const char* mode : {"task-complete", "task-restore", "task-remind"}) {
    const std::string report = Join(temp.path(), std::string(mode) + ".txt");
    ASSERT_EQ(RunActor(mode, app_data, report), 0) << mode;
    reports.push_back(Lines(ReadBytes(report)));
  }
  const auto& completed = reports[0];
  const auto& restored = reports[1];
  const auto& reminded = reports[2];
  ASSERT_EQ(completed.size(), 1u);
  ASSERT_EQ(restored.size(), 2u);
  ASSERT_EQ(reminded.size(), 4u);
  const std::string fields =
      "completed=0 title=Steuererkl\xC3\xA4rung notes=Belege \xE2\x82\xAC sammeln project=Haus "
      "start=39580.333333333336 planned_end=39588.75";
  EXPECT_EQ(Fields(completed[0]), fields) << completed[0];
  EXPECT_NE(completed[0].find(" reminder=200805/1 at 39583.375"), std::string::npos);
  // The second process finds it completed, with its texts, start and
  // planned end, and brings it back under a new ID.
  EXPECT_EQ(restored[0].rfind("completed task 0 completed=1 title=Steuererkl\xC3\xA4rung", 0), 0u)
      << restored[0];
  EXPECT_EQ(Fields(restored[1]), fields) << restored[1];
  EXPECT_NE(restored[1].substr(0, restored[1].find(" completed")),
            completed[0].substr(0, completed[0].find(" completed")));
  // The third finds it listed with its reminder, which is handed out at
  // its moment and not before.
  EXPECT_EQ(reminded[0], restored[1]);
  EXPECT_NE(reminded[0].find(" reminder=200805/"), std::string::npos) << reminded[0];
  const std::string reminder = reminded[0].substr(reminded[0].find("reminder=") + 9);
  EXPECT_EQ(reminded[1], "completed Erinnerung an Aufgabe \"Steuererkl\xC3\xA4rung\"");
  EXPECT_EQ(reminded[2], "poll 39582.499988425923:");
  EXPECT_EQ(reminded[3], "poll 39582.500011574077: " + reminder.substr(0, reminder.find(' ')) +
                             " Erinnerung an Aufgabe \"Steuererkl\xC3\xA4rung\"");
}

}  // namespace
}  // namespace orncal
