// Two processes, one after the other, on one data folder: what the first
// saves, the second finds in the same months, with the same links and the
// same query results.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

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

}  // namespace
}  // namespace orncal
