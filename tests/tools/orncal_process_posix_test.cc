// orncal run as a user runs it: a process of its own, on a data folder the
// test prepares (byte by byte, through the library or through orncal), with
// HOME moved into the test's folder so that nothing outside it can be
// touched, the clock at 2008-05-14 10:00 (ORNCAL_NOW) and, but for watch, no
// notifier.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
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

// The environment of a child: HOME in the test's folder, the clock fixed.
void PrepareChild(const std::string& home, const std::map<std::string, std::string>& env) {
  setenv("HOME", home.c_str(), 1);
  unsetenv("XDG_DATA_HOME");
  unsetenv("NO_COLOR");
  setenv("ORNCAL_NOW", "2008-05-14T10:00", 1);
  setenv("ORNCAL_NOTIFIER", "off", 1);
  for (const auto& [name, value] : env)
    setenv(name.c_str(), value.c_str(), 1);
}

std::vector<char*> Argv(std::vector<std::string>& args) {
  args.insert(args.begin(), ORNCAL_EXE);
  std::vector<char*> argv;
  for (std::string& arg : args)
    argv.push_back(arg.data());
  argv.push_back(nullptr);
  return argv;
}

int ExitStatus(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// The names of an object's fields, in order.
std::string Keys(const Json& object) {
  std::string keys;
  for (const auto& [key, value] : object.items())
    keys += (keys.empty() ? "" : ",") + key;
  return keys;
}

const char* const kEntryKeys =
    "type,file,id,outside_file,outside_id,title,notes,category,project,all_day,remind,"
    "remind_at,flags,color,date_time_type,start,end,series,tags";
const char* const kTaskKeys =
    "id,completed,title,notes,project,start,planned_end,completed_at,remind_at,"
    "appointment_file,appointment_id";

class OrncalProcess : public testing::CalendarTest {
 protected:
  std::string Home() const { return Join(temp_.path(), "home"); }

  // Starts orncal in the test's folder, its output into `out` and `err`.
  pid_t Start(std::vector<std::string> args, const std::map<std::string, std::string>& env,
              const std::string& out, const std::string& err = "/dev/null") {
    std::vector<char*> argv = Argv(args);
    const pid_t child = fork();
    if (child == 0) {
      PrepareChild(Home(), env);
      if (std::freopen(out.c_str(), "w", stdout) && std::freopen(err.c_str(), "w", stderr) &&
          chdir(temp_.path().c_str()) == 0) {
        execv(argv[0], argv.data());
      }
      _exit(127);
    }
    return child;
  }
  // How a started orncal ended, after `signal` if one is given.
  static int Stop(pid_t child, int signal = 0) {
    if (child > 0 && signal) kill(child, signal);
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child ? ExitStatus(status) : -1;
  }
  // Runs orncal in the test's folder.
  Outcome Run(std::vector<std::string> args, const std::map<std::string, std::string>& env = {}) {
    const std::string out = Join(io_.path(), "out"), err = Join(io_.path(), "err");
    const int status = Stop(Start(std::move(args), env, out, err));
    return {status, testing::ReadBytes(out), testing::ReadBytes(err)};
  }
  // orncal on this test's data folder.
  Outcome RunHere(std::vector<std::string> args,
                  const std::map<std::string, std::string>& env = {}) {
    args.insert(args.begin(), {"--data-home", app_data_});
    return Run(args, env);
  }
  // The output of a command that must succeed without a word on stderr.
  std::string Ok(std::vector<std::string> args) {
    const Outcome outcome = RunHere(args);
    EXPECT_EQ(outcome.status, 0) << ::testing::PrintToString(args) << outcome.err;
    EXPECT_EQ(outcome.err, "") << ::testing::PrintToString(args);
    return outcome.out;
  }
  // orncal on this test's data folder under a pseudo-terminal: what the
  // terminal showed.
  std::string OnTerminal(std::vector<std::string> args,
                         const std::map<std::string, std::string>& env = {}) {
    args.insert(args.begin(), {"--data-home", app_data_});
    std::vector<char*> argv = Argv(args);
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
      PrepareChild(Home(), env);
      execv(argv[0], argv.data());
      _exit(127);
    }
    std::string shown;
    char buffer[4096];
    for (ssize_t n; child > 0 && (n = read(terminal, buffer, sizeof buffer)) > 0;)
      shown.append(buffer, static_cast<size_t>(n));
    int status = 0;
    if (child > 0) waitpid(child, &status, 0);
    if (terminal >= 0) close(terminal);
    EXPECT_EQ(ExitStatus(status), 0) << shown;
    return shown;
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
  Outcome empty = RunHere({"list", "--from", "2008-06-01", "--to", "2008-06-01", "--json"});
  EXPECT_EQ(empty.out, "{\n  \"appointments\": []\n}\n");
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
    std::ostringstream expected, none;
    ASSERT_EQ(cli::Run(static_cast<int>(argv.size()), argv.data(), expected, none), 0);
    Outcome child = RunHere({argv.begin() + 1, argv.end()});
    ASSERT_EQ(child.status, 0) << child.err;
    EXPECT_EQ(child.out, expected.str()) << extra;
    EXPECT_NE(child.out.find("Ganztags \xE2\x82\xAC"), std::string::npos);
  }
}

// The task file is dumped whatever its name when its bytes say so.
TEST_F(OrncalProcess, DumpsTheTaskFileByNameOrContent) {
  CalendarPtr calendar = StartCalendar();
  TaskPtr task = calendar->Task();
  task->SetTitle("Steuer \xE2\x82\xAC");
  task->SetDateTime(DateTimeNormal::New(kMay30, kJune1));
  task->NotifyChange();
  calendar->Save();

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
  StartCalendar()->Categories()->Add("Arzt");
  StartCalendar()->Categories()->Save();
  const std::string fresh = Join(temp_.path(), "fresh");
  const auto before = Snapshot(temp_.path());
  const std::string here = app_data_, may = "2008-05-01", june = "2008-06-01";
  // The arguments (on the test's data folder unless they say otherwise),
  // and what the message must name.
  const std::vector<std::pair<std::vector<std::string>, std::string>> bad = {
      {{"list", "--from", may, "--to", june, "--bogus"}, "--bogus"},
      {{"list", "--from", june, "--to", may}, "ends before it starts"},
      {{"list", "--from", may}, "--to"},
      {{"frobnicate"}, "unknown command 'frobnicate'; the commands are: list, agenda"},
      {{"task", "frob"}, "unknown task command 'frob'"},
      {{"category"}, "category: say which: add, list"},
      {{"agenda", "--days", "0"}, "--days"},
      {{"month", "2008-13"}, "'2008-13'"},
      {{"add", "X", "--start", "2008-05-14T25:00"}, "no such time of day"},
      {{"add", "X", "--start", "friday", "--end", "thursday"}, "ends before it starts"},
      {{"add", "X", "--start", "friday 10:00", "--all-day"}, "without a time of day"},
      {{"add", "X", "--start", "friday", "--remind", "soon"}, "'soon'"},
      {{"add-series", "X", "--mode", "daily", "--from", june, "--until", may, "--all-day"},
       "ends before it starts"},
      {{"show", "200805/9"}, "no appointment 200805/9"},
      {{"show", "200806/1"}, "is a link to 200805/2"},
      {{"edit", "200805/9", "--title", "Y"}, "no appointment 200805/9"},
      {{"move", "200805/9", "--start", "friday"}, "no appointment 200805/9"},
      {{"move", "200805/1", "--start", "friday 10:00", "--end", "friday 9:00"}, "ends before"},
      {{"delete", "200805/9"}, "no appointment 200805/9"},
      {{"delete", "20080/1"}, "invalid appointment '20080/1'"},
      {{"find", "Zahnarzt", "--direction", "2"}, "--direction"},
      {{"task", "show", "42"}, "no open task 42"},
      {{"task", "done", "42"}, "no open task 42"},
      {{"task", "undo", "200805/1"}, "200805/1 is no completed task"},
      {{"task", "add", "T", "--start", "friday", "--due", "thursday"}, "ends before it starts"},
      {{"task", "remind", "42", "yesterday"}, "the moment has passed"},
      {{"category", "add", "ARZT"}, "category 'ARZT' exists already"},
      {{"category", "color", "Zahnarzt", "#FF0000"}, "no category 'Zahnarzt'"},
      {{"category", "add", "Rot", "--color", "red"}, "invalid colour 'red'"},
      {{"special-remind", "add", "200805/9", "friday"}, "no appointment 200805/9"},
      {{"special-remind", "add", "200805/1", "yesterday"}, "the moment has passed"},
      {{"special-remind", "remove", "200805/1"}, "no extra reminder of 200805/1"},
      {{"remind", "--at", "friday", "--watch", "5"}, "do not go together"},
      // A month file that cannot be read: the message is the calendar's, and
      // nothing is saved over it.
      {{"add", "X", "--start", "2008-07-01T10:00"}, "200807.xmf\" konnte nicht geladen werden."},
      {{"demo"}, "holds calendar files already"},
  };
  for (auto [args, named] : bad) {
    SCOPED_TRACE(::testing::PrintToString(args));
    Outcome outcome = RunHere(args);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.rfind("orncal: ", 0), 0u) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    EXPECT_NE(outcome.err.find(named), std::string::npos) << outcome.err;
  }
  // Not even the data folder is made for a bad argument.
  for (auto [args, named] : std::vector<std::pair<std::vector<std::string>, std::string>>{
           {{"--data-home", fresh, "add", "X", "--start", "2008-02-30"}, "no such day"},
           {{"--data-home", fresh}, "no command given"},
           {{"--data-home"}, "--data-home"},
           {{"dump"}, "PATH"},
           {{"dump", DataFile("200808.xmf")}, "200808.xmf"},
           {{"dump", DataFile("200807.xmf")}, "200807.xmf"},
           {{"dump", DataFolder()}, "not a regular file"},
           {{"dump", "/dev/zero"}, "not a regular file"},
           // A data home below a file: no data folder can be made there.
           {{"--data-home", DataFile("200805.xmf"), "agenda"}, "cannot be made"}}) {
    SCOPED_TRACE(::testing::PrintToString(args));
    Outcome outcome = Run(args);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    EXPECT_NE(outcome.err.find(named), std::string::npos) << outcome.err;
  }
  EXPECT_EQ(Snapshot(temp_.path()), before);
  EXPECT_FALSE(testing::PathExists(fresh));
  EXPECT_FALSE(testing::PathExists(Home()));
}

// A data folder the process cannot write into (a folder of /proc, where not
// even root may make files): the save fails with the calendar's message.
TEST_F(OrncalProcess, AFailedSaveIsAFailedCommand) {
  const std::string folder = "/proc/self/fdinfo";
  if (std::FILE* probe = std::fopen((folder + "/200805.xmf").c_str(), "wb")) {
    std::fclose(probe);
    GTEST_SKIP() << folder << " can be written here";
  }
  std::filesystem::create_directories(Join(app_data_, "Ornavel/Calendar"));
  std::filesystem::create_directory_symlink(folder, Join(app_data_, "Ornavel/Calendar/files"));
  const auto before = Snapshot(temp_.path());
  const std::vector<std::vector<std::string>> saving = {{"add", "X", "--start", "friday 10:00"},
                                                        {"task", "add", "T"},
                                                        {"category", "add", "Arzt"},
                                                        {"demo"}};
  for (const std::vector<std::string>& args : saving) {
    Outcome outcome = RunHere(args);
    EXPECT_EQ(outcome.status, 1) << ::testing::PrintToString(args);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    EXPECT_TRUE(outcome.err.find("konnte nicht gespeichert werden") != std::string::npos ||
                outcome.err.find("could not be written") != std::string::npos)
        << outcome.err;
  }
  EXPECT_EQ(Snapshot(temp_.path()), before);
}

TEST_F(OrncalProcess, HelpVersionAndARelativeDataHome) {
  const std::vector<std::vector<std::string>> asked = {
      {"--help"},        {"list", "--help"},      {"dump", "-h"},
      {"help"},          {"help", "task", "add"}, {"add-series", "--help"},
      {"task", "--help"}};
  for (const std::vector<std::string>& args : asked) {
    Outcome outcome = Run(args);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("Usage: orncal"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.err, "");
  }
  EXPECT_NE(Run({"help", "task", "add"}).out.find("Usage: orncal task add"), std::string::npos);
  EXPECT_NE(Run({"add-series", "--help"}).out.find("weekday-in-year-month  as weekday-in-month"),
            std::string::npos);
  EXPECT_EQ(Run({"--version"}).out.rfind("orncal ", 0), 0u);
  // Taken from the working folder, not ignored for being relative.
  EXPECT_EQ(Run({"--data-home", "rel", "agenda"}).status, 0);
  EXPECT_TRUE(testing::PathExists(Join(Join(Join(temp_.path(), "rel"), "Ornavel"), "Calendar")));
  EXPECT_FALSE(testing::PathExists(Home()));
}

// A person's week: the demo calendar, then adding, moving, a task done, and
// the JSON of what they look up, field by field as documented.
TEST_F(OrncalProcess, FromTheDemoToATaskDone) {
  EXPECT_NE(Ok({"demo"}).find("A demo calendar is in"), std::string::npos);
  const std::string agenda = Ok({"agenda"});
  for (const char* seen : {"Wed 2008-05-14 (today)",
                           "Lunch with J\xC3\xBC"
                           "rgen",
                           "Team meeting", "Anna's birthday", "Tasks due", "Write the quarterly"}) {
    EXPECT_NE(agenda.find(seen), std::string::npos) << seen << "\n" << agenda;
  }
  EXPECT_NE(Ok({"month"}).find("14(2)"), std::string::npos);

  // What the files cannot hold is stored as '?', and the user is told.
  const Outcome added = RunHere({"add", "Zahnarzt \xE2\x98\x95", "--start", "friday 14:00", "--end",
                                 "friday 15:00", "--category", "Health", "--remind", "-900"});
  EXPECT_EQ(added.status, 0);
  EXPECT_EQ(added.err,
            "orncal: warning: title: characters outside Windows-1252 cannot be stored and are "
            "kept as '?'\n");
  const std::string ref = added.out.substr(0, added.out.size() - 1);
  Ok({"edit", ref, "--notes", "Kaffee"});
  const std::string moved = Ok({"move", ref, "--start", "2008-06-03T09:00"});
  EXPECT_EQ(moved.substr(0, 7), "200806/");

  const Json found = Json::parse(Ok({"find", "ZAHNARZT ?", "--json"}));
  EXPECT_EQ(Keys(found), kEntryKeys);
  EXPECT_EQ(found["title"], "Zahnarzt ?");
  EXPECT_EQ(found["notes"], "Kaffee");
  EXPECT_EQ(found["start"], DateFromParts(2008, 6, 3) + 9 * kHour);
  EXPECT_EQ(found["color"], 0x3539E5);
  EXPECT_EQ(Json::parse(Ok({"find", "nobody", "--json"})), nullptr);
  EXPECT_EQ(Ok({"find", "nobody"}), "not found\n");

  const Json tasks = Json::parse(Ok({"task", "list", "--json"}));
  EXPECT_EQ(Keys(tasks), "tasks");
  ASSERT_EQ(tasks["tasks"].size(), 3u);
  const Json& first = tasks["tasks"][0];
  EXPECT_EQ(Keys(first), kTaskKeys);
  EXPECT_EQ(first["title"], "Write the quarterly report");
  EXPECT_EQ(first["remind_at"], DateFromParts(2008, 5, 16) + 9 * kHour);
  const std::string done = Ok({"task", "done", std::to_string(first["id"].get<int32_t>())});
  const Json completed =
      Json::parse(Ok({"task", "show", done.substr(0, done.size() - 1), "--json"}));
  EXPECT_EQ(completed["completed"], true);
  EXPECT_EQ(completed["planned_end"], DateFromParts(2008, 5, 16) + 17 * kHour);
  EXPECT_EQ(Json::parse(Ok({"task", "list", "--json"}))["tasks"].size(), 2u);

  const Json categories = Json::parse(Ok({"category", "list", "--json"}));
  EXPECT_EQ(Keys(categories), "categories");
  EXPECT_EQ(categories["categories"][0], Json::parse(R"({"name": "Work", "color": 15042590,
                                                         "rgb": "#1E88E5"})"));
  Ok({"category", "add", "Arzt", "--color", "#ff0000"});
  Ok({"category", "color", "work", "none"});
  Ok({"category", "remove", "Sport"});
  EXPECT_EQ(Ok({"category", "list"}),
            "Work     none\nPrivate  #43A047\nHealth   #E53935\nArzt     #FF0000\n");

  // The dentist of the demo reminds an hour early, and once more the
  // evening before; each comes once.
  Ok({"special-remind", "add", moved.substr(0, moved.size() - 1), "2008-06-02T20:00"});
  EXPECT_NE(Ok({"special-remind", "list"}).find("2008-06-02 20:00"), std::string::npos);
  const Json due = Json::parse(Ok({"remind", "--at", "2008-05-15T09:30", "--json"}));
  EXPECT_EQ(Keys(due), "at,reminders");
  ASSERT_EQ(due["reminders"].size(), 2u) << due;
  EXPECT_EQ(Keys(due["reminders"][0]), kEntryKeys);
  std::set<std::string> titles;
  for (const Json& entry : due["reminders"])
    titles.insert(entry["title"].get<std::string>());
  EXPECT_EQ(titles, (std::set<std::string>{"Dentist"}));
  EXPECT_EQ(Ok({"remind"}), "nothing due\n");

  const Outcome check = RunHere({"check"});
  EXPECT_EQ(check.status, 0) << check.err;
  EXPECT_NE(check.out.find("tasks.xtf     ok, 2 tasks"), std::string::npos) << check.out;
}

// The commands the walk above leaves out, each once as a user types it.
TEST_F(OrncalProcess, EveryOtherCommandOnce) {
  const std::string series = Ok({"add-series", "Chor", "--mode", "weekday-in-month", "--m", "-1",
                                 "--weekdays", "thu", "--from", "today", "--until", "2008-12-31",
                                 "--time", "19:30-21:00", "--category", "Privat"});
  EXPECT_EQ(series, "200805/1\n");
  EXPECT_NE(Ok({"show", "200805/1"})
                .find("series       weekday-in-month, every 1, m -1, on thu, "
                      "19:30-21:00, from 2008-05-01 until 2008-12-31"),
            std::string::npos);
  EXPECT_NE(Ok({"agenda", "--from", "2008-05-29", "--days", "1"}).find("19:30-21:00  Chor"),
            std::string::npos);
  const std::string task = Ok({"task", "add", "Noten kaufen", "--due", "friday"});
  const std::string id = task.substr(0, task.size() - 1);
  Ok({"task", "edit", id, "--due", "saturday", "--notes", "Bach"});
  Ok({"task", "remind", id, "friday 9:00"});
  EXPECT_NE(Ok({"task", "show", id}).find("reminder     2008-05-16 09:00"), std::string::npos);
  Ok({"task", "remind", id, "off"});
  const std::string done = Ok({"task", "done", id});
  const std::string again = Ok({"task", "undo", done.substr(0, done.size() - 1)});
  Ok({"task", "remove", again.substr(0, again.size() - 1)});
  EXPECT_EQ(Ok({"task", "list"}), "no open tasks\n");
  Ok({"special-remind", "add", "200805/1", "2008-05-29T18:00"});
  Ok({"special-remind", "remove", "200805/1", "2008-05-29T18:00"});
  EXPECT_EQ(Ok({"special-remind", "list"}), "no extra reminders\n");
  Ok({"delete", "200805/1"});
  EXPECT_EQ(Ok({"list", "--from", "2008-05-01", "--to", "2009-01-01"}), "no appointments\n");
}

// Colours and the highlight of today reach a terminal, not a pipe, and not
// a terminal when NO_COLOR is set.
TEST_F(OrncalProcess, ColoursOnlyOnATerminal) {
  Ok({"demo"});
  for (const char* command : {"agenda", "month"}) {
    EXPECT_EQ(RunHere({command}).out.find('\x1b'), std::string::npos) << command;
    EXPECT_EQ(OnTerminal({command}, {{"NO_COLOR", "1"}}).find('\x1b'), std::string::npos);
  }
  const std::string agenda = OnTerminal({"agenda"}, {{"COLORTERM", "truecolor"}});
  EXPECT_NE(agenda.find("\x1b[1mWed 2008-05-14 (today)\x1b[0m"), std::string::npos) << agenda;
  EXPECT_NE(agenda.find("\x1b[38;2;30;136;229mWork\x1b[0m"), std::string::npos) << agenda;
  EXPECT_NE(OnTerminal({"month"}).find("\x1b[7m14\x1b[0m"), std::string::npos);
}

// remind --watch polls until it is told to stop, hands out what falls due
// meanwhile, and keeps the moment it reached for the next poll.
TEST_F(OrncalProcess, RemindWatchRunsUntilStopped) {
  // The clock starts at 10:00 and runs on: this reminder falls due within
  // the first seconds.
  Ok({"add", "Gleich", "--start", "2008-05-14T10:00:02", "--remind", "0"});
  const std::string out = Join(io_.path(), "watch");
  const pid_t child =
      Start({"--data-home", app_data_, "remind", "--watch", "1", "--json"}, {}, out);
  ASSERT_GT(child, 0);
  std::string seen;
  for (int i = 0; i < 100 && seen.find('\n') == std::string::npos; ++i) {
    usleep(100000);
    seen = testing::ReadBytes(out);
  }
  EXPECT_EQ(Stop(child, SIGTERM), 0);
  const Json due = Json::parse(seen.substr(0, seen.find('\n')));
  EXPECT_EQ(due["reminders"][0]["title"], "Gleich");
  EXPECT_EQ(Ok({"remind"}), "nothing due\n");
}

// watch prints the changes other processes make, through the notifier,
// until it is stopped; without a notifier it says it cannot.
TEST_F(OrncalProcess, WatchPrintsWhatOtherProcessesChange) {
  const Outcome alone = RunHere({"watch"});
  EXPECT_EQ(alone.status, 1);
  EXPECT_NE(alone.err.find("watch: no notifier serves this calendar"), std::string::npos);

  const std::string runtime = Join(temp_.path(), "run");
  std::filesystem::create_directories(runtime);
  const std::map<std::string, std::string> env{{"XDG_RUNTIME_DIR", runtime},
                                               {"ORNCAL_NOTIFIER", ORNCAL_NOTIFIER_PROGRAM},
                                               {"ORNCAL_NOTIFIER_LINGER_MS", "100"}};
  const std::string out = Join(io_.path(), "watch");
  const pid_t child = Start({"--data-home", app_data_, "watch"}, env, out);
  ASSERT_GT(child, 0);
  // Waits until the watch has printed `lines` lines.
  const auto printed = [&](size_t lines) {
    std::string seen;
    for (int i = 0; i < 200; ++i) {
      seen = testing::ReadBytes(out);
      if (static_cast<size_t>(std::count(seen.begin(), seen.end(), '\n')) >= lines) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return seen;
  };
  EXPECT_EQ(printed(1), "watching " + DataFolder() + "; Ctrl-C ends\n");
  EXPECT_EQ(RunHere({"add", "X", "--start", "friday 10:00"}, env).status, 0);
  EXPECT_EQ(RunHere({"task", "add", "T"}, env).status, 0);
  const std::string seen = printed(3);
  EXPECT_EQ(Stop(child, SIGINT), 0);
  EXPECT_NE(seen.find("  appointments, categories or settings changed\n"), std::string::npos)
      << seen;
  EXPECT_NE(seen.find("  tasks changed\n"), std::string::npos) << seen;
  // The notifier ends after its last calendar left (it holds its lock as
  // long as it runs).
  const std::string lock = runtime + "/orncalendar/notifier.lock";
  bool ended = false;
  for (int i = 0; i < 200 && !ended; ++i) {
    const int fd = open(lock.c_str(), O_RDONLY | O_CLOEXEC);
    ended = fd < 0 || flock(fd, LOCK_EX | LOCK_NB) == 0;
    if (fd >= 0) close(fd);
    if (!ended) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_TRUE(ended);
}

}  // namespace
}  // namespace orncal::cli
