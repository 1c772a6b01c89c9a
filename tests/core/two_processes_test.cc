// Processes one after the other on one data folder: what one saves, the
// next finds in the same months, with the same links, the same query
// results and the same tasks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "platform/system.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using testing::Join;
using testing::ReadBytes;

// Runs peer_actor on `app_data` with the commands of `script` on its standard
// input; its answers, each without its closing line.
std::vector<std::string> RunPeer(const testing::TempDir& temp, const std::string& app_data,
                                 const std::vector<std::string>& script) {
  static int runs = 0;
  const std::string in = Join(temp.path(), "script-" + std::to_string(++runs)), out = in + ".out";
  std::string commands;
  for (const std::string& line : script)
    commands += line + "\n";
  testing::WriteBytes(in, commands);
  const std::string command =
      platform::LibraryFolder() + ORNCAL_PEER_ACTOR + " " + app_data + " < " + in + " > " + out;
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  const std::string answers = ReadBytes(out);
  std::vector<std::string> split;
  for (size_t at = 0, end; (end = answers.find("\n.\n", at)) != std::string::npos; at = end + 3) {
    split.push_back(answers.substr(at, end - at));
    EXPECT_EQ(split.back().rfind("ok", 0), 0u) << script[split.size() - 1] << ": " << split.back();
  }
  EXPECT_EQ(split.size(), script.size()) << answers;
  return split;
}

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class TwoProcesses : public ::testing::Test {
 protected:
  testing::TempDir temp_;
  const std::string app_data_ = Join(temp_.path(), "appdata");
};

TEST_F(TwoProcesses, TheSecondFindsWhatTheFirstSaved) {
  ASSERT_FALSE(Has(app_data_, " ")) << "the command line takes no quoting";
  const std::vector<std::string> report{
      "query 2008-04-01 2008-09-01 parts", "query 2008-04-01 2008-09-01",
      "query 2008-06-01 2008-07-01 parts", "query 2008-06-01 2008-07-01", "dump"};
  std::vector<std::string> script{"add moved 2008-05-05T09:00 2008-05-05T10:00",    // 200805/1
                                  "add removed 2008-06-10T09:00 2008-06-10T10:00",  // 200806/1
                                  "add single 2008-05-20T09:00 2008-05-20T10:00",
                                  "add holiday 2008-06-02 2008-06-04 allday",
                                  "add long 2008-05-28 2008-07-03",
                                  "weekly weekly 2008-04-29 2008-08-31",
                                  "move 200805/1 2008-07-01T09:00 2008-07-01T10:00",
                                  "remove 200806/1",
                                  "save",
                                  "scan"};  // what is on disk now
  script.insert(script.end(), report.begin(), report.end());
  const std::vector<std::string> first = RunPeer(temp_, app_data_, script);
  const std::vector<std::string> second = RunPeer(temp_, app_data_, report);
  ASSERT_EQ(first.size(), script.size());
  EXPECT_EQ(second, std::vector(first.end() - std::ssize(report), first.end()));
  // The scenario reached the files: links run on, the series comes in parts.
  const std::string dump = first.back();
  EXPECT_TRUE(Has(dump, "file 200804\n1 #1 weekly")) << dump;
  EXPECT_TRUE(Has(dump, "-> 200805/")) << dump;
  EXPECT_FALSE(Has(dump, "removed")) << dump;
  EXPECT_TRUE(Has(dump.substr(dump.find("file 200807")), "1 #3 moved")) << dump;
  EXPECT_TRUE(Has(first[10], "\n3 200804/1 weekly")) << first[10];
  EXPECT_TRUE(Has(first[12], "holiday 39601 39604 all-day")) << first[12];
}

// A task line without its ID and its reminder.
std::string Fields(const std::string& line) {
  return std::regex_replace(line, std::regex("task -?[0-9]+ | reminder=.*"), "");
}

std::vector<std::string> Lines(const std::string& answer) {
  std::vector<std::string> lines;
  for (size_t at = answer.find('\n'); at != std::string::npos;) {
    const size_t end = answer.find('\n', at + 1);
    lines.push_back(answer.substr(at + 1, end - at - 1));
    at = end;
  }
  return lines;
}

// One task followed through three processes: completed with its reminder in
// the first, found among the completed tasks and brought back with a new
// reminder in the second, its reminder due in the third.
TEST_F(TwoProcesses, ATaskLivesOnAcrossRestarts) {
  const auto completed = RunPeer(temp_, app_data_,
                                 {"task Steuererkl\xC3\xA4rung Belege\xE2\x82\xAC Haus "
                                  "2008-05-12T08:00 2008-05-20T18:00 2008-05-15T09:00",
                                  "release"})[0];
  const auto restored = RunPeer(
      temp_, app_data_,
      {"clock 2008-05-14T11:00", "completed 2008-05-01 2008-06-01 2008-05-14T12:00", "release"})[1];
  const auto reminded = RunPeer(temp_, app_data_,
                                {"describe", "completed 2008-05-01 2008-06-01",
                                 "poll 2008-05-14T11:59:59", "poll 2008-05-14T12:00:01"});
  const std::string fields =
      "completed=0 title=Steuererkl\xC3\xA4rung notes=Belege\xE2\x82\xAC project=Haus "
      "start=39580.333333333336 planned_end=39588.75";
  const std::string made = Lines(completed).at(0);
  EXPECT_EQ(Fields(made), fields) << made;
  EXPECT_TRUE(Has(made, " reminder=200805/1 at 39583.375")) << made;
  // The second process finds it completed, with its texts, start and
  // planned end, and brings it back under a new ID.
  ASSERT_EQ(Lines(restored).size(), 2u) << restored;
  const std::string back = Lines(restored)[1];
  EXPECT_EQ(Lines(restored)[0].rfind("task 0 completed=1 title=Steuererkl\xC3\xA4rung", 0), 0u)
      << restored;
  EXPECT_EQ(Fields(back), fields) << back;
  EXPECT_NE(back.substr(0, back.find(" completed")), made.substr(0, made.find(" completed")));
  // The third finds it listed with its reminder, which is handed out at its
  // moment and not before.
  ASSERT_EQ(reminded.size(), 4u);
  EXPECT_EQ(Lines(reminded[0]), std::vector{back});
  const std::string reminder = back.substr(back.find("reminder=") + 9);
  const std::string title = "Erinnerung an Aufgabe \"Steuererkl\xC3\xA4rung\"";
  EXPECT_TRUE(Has(reminded[1], " title=" + title + " ")) << reminded[1];
  EXPECT_EQ(reminded[2], "ok 0");
  EXPECT_EQ(reminded[3], "ok 1\n" + reminder.substr(0, reminder.find(' ')) + " " + title);
}

}  // namespace
}  // namespace orncal
