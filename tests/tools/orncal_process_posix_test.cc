// orncal run as a user runs it: a process of its own, on a data folder the
// test prepares (byte by byte, or through the library), with HOME moved
// into the test's folder so that nothing outside it can be touched.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "commands.h"
#include "orncalendar/orncalendar.h"
#include "output.h"
#include "support/month_bytes.h"
#include "support/test_env.h"

namespace orncal::cli {
namespace {

using testing::Join;
using testing::MonthBytes;

constexpr double kHour = 1.0 / 24;
const Date kMay30 = DateFromParts(2008, 5, 30);
const Date kJune1 = DateFromParts(2008, 6, 1);

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

// Every file and folder below `root`, with the files' bytes.
std::map<std::string, std::string> Snapshot(const std::string& root) {
  std::map<std::string, std::string> found;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    const std::string path = entry.path().string();
    found[path] = entry.is_directory() ? "<folder>" : testing::ReadBytes(path);
  }
  return found;
}

class OrncalProcess : public testing::CalendarTest {
 protected:
  std::string Home() const { return Join(temp_.path(), "home"); }

  // Runs orncal in the test's folder.
  Outcome Run(std::vector<std::string> args) {
    args.insert(args.begin(), ORNCAL_EXE);
    std::vector<char*> argv;
    for (std::string& arg : args)
      argv.push_back(arg.data());
    argv.push_back(nullptr);
    const std::string out = Join(io_.path(), "out"), err = Join(io_.path(), "err");
    const pid_t child = fork();
    if (child == 0) {
      setenv("HOME", Home().c_str(), 1);
      unsetenv("XDG_DATA_HOME");
      if (std::freopen(out.c_str(), "w", stdout) && std::freopen(err.c_str(), "w", stderr) &&
          chdir(temp_.path().c_str()) == 0) {
        execv(argv[0], argv.data());
      }
      _exit(127);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return {};
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            testing::ReadBytes(out), testing::ReadBytes(err)};
  }
  // orncal on this test's data folder.
  Outcome RunHere(std::vector<std::string> args) {
    args.insert(args.begin(), {"--data-home", app_data_});
    return Run(args);
  }

  // May holds a trip into June, June a link to it, July is garbage.
  void WriteMonthFiles() {
    PutDataFile("200805.xmf",
                MonthBytes()
                    .Long(10003)
                    .Real(1, "Zahnarzt", kMay30 - 1 + 10 * kHour, kMay30 - 1 + 11 * kHour)
                    .Real(2, "Reise", kMay30 + 8 * kHour, kJune1 + 1 + 18 * kHour)
                    .Byte(0)
                    .str());
    PutDataFile("200806.xmf", MonthBytes().Long(10003).Link(1, 200805, 2).Byte(0).str());
    PutDataFile("200807.xmf", MonthBytes().Long(10003).Byte(7).str());
  }

  testing::TempDir io_;
};

TEST_F(OrncalProcess, ListsAndDumpsFilesWrittenByteByByteAndWritesNothing) {
  WriteMonthFiles();
  const auto before = Snapshot(temp_.path());
  const auto june = [&](std::vector<std::string> extra) {
    std::vector<std::string> args{"list", "--from", "2008-06-01", "--to", "2008-06-02", "--json"};
    args.insert(args.end(), extra.begin(), extra.end());
    Outcome outcome = RunHere(args);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    return Json::parse(outcome.out)["appointments"];
  };
  const Json replaced = june({}), kept = june({"--remove-doubles"});
  ASSERT_EQ(replaced.size() + kept.size(), 2u) << replaced << kept;
  EXPECT_EQ(
      replaced[0]["type"].dump() + replaced[0]["title"].dump() + replaced[0]["outside_file"].dump(),
      "1\"Reise\"200805");
  EXPECT_EQ(kept[0]["type"].dump() + kept[0]["outside_file"].dump() + kept[0]["id"].dump(),
            "22008062");

  EXPECT_EQ(RunHere({"list", "--from", "2008-05-01", "--to", "2008-06-01", "--sort"}).out,
            "START             END               TITLE     FLAGS\n"
            "2008-05-29 10:00  2008-05-29 11:00  Zahnarzt  0\n"
            "2008-05-30 08:00  2008-06-02 18:00  Reise     0\n");
  // A period ending before it starts meets nothing; no error.
  Outcome reversed = RunHere({"list", "--from", "2008-06-01", "--to", "2008-05-01", "--json"});
  EXPECT_EQ(reversed.status, 0);
  EXPECT_EQ(reversed.out, "{\n  \"appointments\": []\n}\n");
  // A month file that fails to load: the query answers what it could read,
  // the calendar's message is the one line on stderr, and the command fails.
  Outcome broken = RunHere({"list", "--from", "2008-07-01", "--to", "2008-07-02"});
  EXPECT_EQ(broken.status, 1);
  EXPECT_EQ(broken.out, "no appointments\n");
  EXPECT_EQ(broken.err, "orncal: Schwerwiegender Fehler: Die Monatsdatei \"" +
                            DataFile("200807.xmf") + "\" konnte nicht geladen werden.\n");

  Outcome dump = Run({"dump", DataFile("200805.xmf"), "--json"});
  ASSERT_EQ(dump.status, 0) << dump.err;
  const Json records = Json::parse(dump.out)["records"];
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[1]["end"], kJune1 + 1 + 18 * kHour);
  EXPECT_EQ(Snapshot(temp_.path()), before);
}

// One process saves through the library; orncal, started afterwards,
// prints what the library answers for the same query.
TEST_F(OrncalProcess, AgreesWithTheLibraryOnWhatItSaved) {
  CalendarPtr calendar = StartCalendar();
  calendar->Appointment({.StartDateTime = kMay30 - 2, .EndDateTime = kMay30 - 1.5})
      ->SetTitle("Einzeln");
  calendar->Appointment({.StartDateTime = kMay30 - 5, .EndDateTime = kMay30 - 4, .AllDay = true})
      ->SetTitle("Ganztags \xE2\x82\xAC");
  calendar->Appointment({.StartDateTime = kMay30, .EndDateTime = kJune1 + 40})->SetTitle("Lang");
  AppointmentPtr course = calendar->Appointment();
  course->SetTitle("Kurs");
  DateTimeSerialPtr weekly = DateTimeSerial::New();
  weekly->SetRepetitionMode(calWeekly);
  weekly->SetWeekdays(calMonday | calThursday);
  weekly->Setn(1);
  weekly->SetSeriesStartDateTime(kMay30 - 18);
  weekly->SetEternal(true);
  weekly->SetStartDateTime(0.75);
  weekly->SetEndDateTime(0.8);
  course->SetDateTime(weekly);
  course->AfterDateTimeChange();
  calendar->Save();

  for (const char* extra : {"--sort", "--no-separate-serials", "--remove-doubles"}) {
    std::vector<const char*> argv{"orncal", "list",       "--from", "2008-05-01",
                                  "--to",   "2008-07-15", "--json", extra};
    std::ostringstream expected;
    RunList(*calendar, *ParseCommandLine(static_cast<int>(argv.size()), argv.data()).List,
            expected);
    Outcome child = RunHere({argv.begin() + 1, argv.end()});
    ASSERT_EQ(child.status, 0) << child.err;
    EXPECT_EQ(child.out, expected.str()) << extra;
    EXPECT_NE(child.out.find("Ganztags \xE2\x82\xAC"), std::string::npos);
  }
}

// The task file is dumped whatever its name when its bytes say so; list
// shows the colour the categories give.
TEST_F(OrncalProcess, DumpsTheTaskFileByNameOrContentAndListsColours) {
  CalendarPtr calendar = StartCalendar();
  calendar->Categories()->Add("Arzt", {.Color = 255});
  calendar->Categories()->Save();
  calendar->Appointment({.StartDateTime = kMay30, .EndDateTime = kMay30 + kHour})
      ->SetCategory("ARZT");
  TaskPtr task = calendar->Task();
  task->SetTitle("Steuer \xE2\x82\xAC");
  task->SetDateTime(DateTimeNormal::New(kMay30, kJune1));
  task->NotifyChange();
  calendar->Save();

  Outcome list = RunHere({"list", "--from", "2008-05-30", "--to", "2008-05-31", "--json"});
  ASSERT_EQ(list.status, 0) << list.err;
  EXPECT_EQ(Json::parse(list.out)["appointments"][0]["color"], 255);

  const std::string copy = Join(io_.path(), "copy.bin");
  std::filesystem::copy_file(DataFile("tasks.xtf"), copy);
  Outcome by_name = Run({"dump", DataFile("tasks.xtf"), "--json"});
  ASSERT_EQ(by_name.status, 0) << by_name.err;
  EXPECT_EQ(Run({"dump", copy, "--json"}).out, by_name.out);
  const Json dumped = Json::parse(by_name.out);
  EXPECT_EQ(dumped["version"], 10001);
  ASSERT_EQ(dumped["tasks"].size(), 1u);
  EXPECT_EQ(dumped["tasks"][0]["title"], "Steuer \xE2\x82\xAC");
  EXPECT_EQ(dumped["tasks"][0]["planned_end"], kJune1);
  EXPECT_EQ(Run({"dump", copy}).out.substr(0, 23), "version 10001, 1 tasks\n");

  // Cut short: named tasks.xtf it is a task file that fails; under another
  // name it is no task file and fails as a month file.
  const std::string bytes = testing::ReadBytes(copy);
  const std::string damaged = Join(io_.path(), "tasks.xtf");
  testing::WriteBytes(damaged, bytes.substr(0, bytes.size() - 10));
  Outcome failed = Run({"dump", damaged});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.out, "");
  EXPECT_NE(failed.err.find("is not a valid task file: "), std::string::npos) << failed.err;
  testing::WriteBytes(copy, bytes.substr(0, bytes.size() - 10));
  EXPECT_NE(Run({"dump", copy}).err.find("is not a valid month file"), std::string::npos);
}

TEST_F(OrncalProcess, BadArgumentsFailWithOneLineAndTouchNothing) {
  WriteMonthFiles();
  const std::string fresh = Join(temp_.path(), "fresh");
  const auto before = Snapshot(temp_.path());
  const std::string here = app_data_, may = "2008-05-01", june = "2008-06-01";
  // The arguments, and what the message must name.
  const std::vector<std::pair<std::vector<std::string>, std::string>> bad = {
      {{"--data-home", here, "list", "--from", may, "--to", june, "--bogus"}, "--bogus"},
      {{"--data-home", here, "list", "--from", may, "--to", "2008-13-01"}, "'2008-13-01'"},
      {{"--data-home", here, "list", "--from", may}, "--to"},
      {{"--data-home", here, "list", "--from", may, "--to", june, "--not-flags", "one"}, "'one'"},
      {{"--data-home", fresh, "list", "--from", "2008-05-01T25:00", "--to", june}, "T25:00"},
      {{"--data-home", fresh}, "subcommand"},
      {{"--data-home"}, "--data-home"},
      {{"dump"}, "PATH"},
      {{"dump", DataFile("200808.xmf")}, "200808.xmf"},
      {{"dump", DataFile("200807.xmf")}, "200807.xmf"},
      {{"dump", DataFolder()}, "not a regular file"},
      // A data home below a file: no data folder can be made there.
      {{"--data-home", DataFile("200805.xmf"), "list", "--from", may, "--to", june},
       "cannot be made"},
  };
  for (const auto& [args, named] : bad) {
    SCOPED_TRACE(::testing::PrintToString(args));
    Outcome outcome = Run(args);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.rfind("orncal: ", 0), 0u) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    EXPECT_NE(outcome.err.find(named), std::string::npos) << outcome.err;
  }
  EXPECT_EQ(Snapshot(temp_.path()), before);
  EXPECT_FALSE(testing::PathExists(fresh));
  EXPECT_FALSE(testing::PathExists(Home()));
}

TEST_F(OrncalProcess, HelpAndARelativeDataHome) {
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"--help"}, {"list", "--help"}, {"dump", "-h"}}) {
    Outcome outcome = Run(args);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("Usage: orncal"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.err, "");
  }
  // Taken from the working folder, not ignored for being relative.
  EXPECT_EQ(
      Run({"--data-home", "rel", "list", "--from", "2008-05-01", "--to", "2008-05-02"}).status, 0);
  EXPECT_TRUE(testing::PathExists(Join(Join(Join(temp_.path(), "rel"), "Ornavel"), "Calendar")));
  EXPECT_FALSE(testing::PathExists(Home()));
}

}  // namespace
}  // namespace orncal::cli
