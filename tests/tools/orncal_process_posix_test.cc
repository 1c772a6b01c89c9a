// orncal run as a user runs it: a process of its own, on a data folder the
// test prepares (byte by byte, or through the library), with HOME moved
// into the test's folder so that nothing outside it can be touched.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "orncalendar/orncalendar.h"
#include "commands.h"
#include "output.h"
#include "support/month_bytes.h"
#include "support/test_env.h"

extern char** environ;

namespace orncal::cli {
namespace {

namespace fs = std::filesystem;
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
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(root, ec); !ec && it != fs::end(it);
       it.increment(ec)) {
    const std::string path = it->path().string();
    found[path] = it->is_directory() ? "<folder>" : testing::ReadBytes(path);
  }
  return found;
}

class OrncalProcess : public testing::CalendarTest {
 protected:
  std::string Home() const { return Join(temp_.path(), "home"); }

  // Runs orncal with `args` in the working folder `cwd` (the test's folder
  // when empty).
  Outcome Run(const std::vector<std::string>& args, std::string cwd = "") {
    if (cwd.empty()) cwd = temp_.path();
    const std::string out_path = Join(io_.path(), "out");
    const std::string err_path = Join(io_.path(), "err");
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) {
      const std::string_view entry(*e);
      if (!entry.starts_with("HOME=") && !entry.starts_with("XDG_DATA_HOME=")) env.emplace_back(entry);
    }
    env.push_back("HOME=" + Home());
    std::vector<std::string> arg_strings{ORNCAL_EXE};
    arg_strings.insert(arg_strings.end(), args.begin(), args.end());
    std::vector<char*> argv, envp;
    for (std::string& a : arg_strings)
      argv.push_back(a.data());
    for (std::string& e : env)
      envp.push_back(e.data());
    argv.push_back(nullptr);
    envp.push_back(nullptr);

    const pid_t child = fork();
    if (child == 0) {
      const int out = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      const int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      if (out < 0 || err < 0 || chdir(cwd.c_str()) != 0) _exit(126);
      dup2(out, 1);
      dup2(err, 2);
      execve(argv[0], argv.data(), envp.data());
      _exit(127);
    }
    Outcome outcome;
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
      ADD_FAILURE() << "orncal could not be run";
      return outcome;
    }
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    outcome.out = testing::ReadBytes(out_path);
    outcome.err = testing::ReadBytes(err_path);
    return outcome;
  }

  // orncal on this test's data folder.
  Outcome RunHere(std::vector<std::string> args) {
    args.insert(args.begin(), {"--data-home", AppDataFolder()});
    return Run(args);
  }

  // May holds a trip into June, June a link to it, July is garbage.
  void WriteMonthFiles() {
    testing::MakeFolders(DataFolder());
    testing::WriteBytes(DataFile("200805.xmf"),
                        MonthBytes()
                            .Long(10003)
                            .Real(1, "Zahnarzt", kMay30 - 1 + 10 * kHour, kMay30 - 1 + 11 * kHour)
                            .Real(2, "Reise", kMay30 + 8 * kHour, kJune1 + 1 + 18 * kHour)
                            .Byte(0)
                            .str());
    testing::WriteBytes(DataFile("200806.xmf"),
                        MonthBytes().Long(10003).Link(1, 200805, 2).Byte(0).str());
    testing::WriteBytes(DataFile("200807.xmf"), MonthBytes().Long(10003).Byte(7).str());
  }

  testing::TempDir io_;
};

TEST_F(OrncalProcess, ListsMonthFilesWrittenByteByByteAndWritesNothing) {
  WriteMonthFiles();
  const auto before = Snapshot(temp_.path());

  Outcome replaced = RunHere({"list", "--from", "2008-06-01", "--to", "2008-06-02", "--json"});
  ASSERT_EQ(replaced.status, 0) << replaced.err;
  EXPECT_EQ(replaced.err, "");
  const Json entries = Json::parse(replaced.out)["appointments"];
  ASSERT_EQ(entries.size(), 1u) << replaced.out;
  EXPECT_EQ(entries[0]["type"], 1);
  EXPECT_EQ(entries[0]["title"], "Reise");
  EXPECT_EQ(entries[0]["outside_file"], 200805);

  Outcome kept = RunHere(
      {"list", "--from", "2008-06-01", "--to", "2008-06-02", "--remove-doubles", "--json"});
  ASSERT_EQ(kept.status, 0) << kept.err;
  const Json link = Json::parse(kept.out)["appointments"][0];
  EXPECT_EQ(link["type"], 2);
  EXPECT_EQ(link["outside_file"], 200806);
  EXPECT_EQ(link["file"], 200805);
  EXPECT_EQ(link["id"], 2);

  Outcome table = RunHere({"list", "--from", "2008-05-01", "--to", "2008-06-01", "--sort"});
  ASSERT_EQ(table.status, 0) << table.err;
  EXPECT_EQ(table.out,
            "START             END               TITLE     FLAGS\n"
            "2008-05-29 10:00  2008-05-29 11:00  Zahnarzt  0\n"
            "2008-05-30 08:00  2008-06-02 18:00  Reise     0\n");

  // A month file that fails to load is the library's message; the query
  // still answers.
  Outcome broken = RunHere({"list", "--from", "2008-07-01", "--to", "2008-07-02", "--json"});
  EXPECT_EQ(broken.status, 0);
  EXPECT_EQ(broken.err.rfind("Ornavel Calendar: ", 0), 0u) << broken.err;
  EXPECT_NE(broken.err.find("200807.xmf"), std::string::npos);

  EXPECT_EQ(Snapshot(temp_.path()), before);
}

TEST_F(OrncalProcess, AgreesWithTheLibraryOnWhatItSaved) {
  CalendarPtr calendar = StartCalendar();
  const Date may12 = DateFromParts(2008, 5, 12);
  calendar->Appointment({.StartDateTime = may12 + 9 * kHour, .EndDateTime = may12 + 10 * kHour})
      ->SetTitle("Einzeln");
  calendar->Appointment({.StartDateTime = may12 + 2, .EndDateTime = may12 + 3, .AllDay = true})
      ->SetTitle("Ganztags \xE2\x82\xAC");
  calendar->Appointment({.StartDateTime = kMay30, .EndDateTime = kJune1 + 40})->SetTitle("Lang");
  AppointmentPtr moved =
      calendar->Appointment({.StartDateTime = may12 + 5, .EndDateTime = may12 + 5.5});
  moved->SetTitle("Verschoben");
  moved->BeforeDateTimeChange();
  moved->SetDateTime(DateTimeNormal::New(kJune1 + 3, kJune1 + 3.5));
  moved->AfterDateTimeChange();
  calendar->Appointment({.StartDateTime = may12 + 6, .EndDateTime = may12 + 6.5})->Remove();
  AppointmentPtr course = calendar->Appointment();
  course->SetTitle("Kurs");
  course->SetRemind(true);
  DateTimeSerialPtr weekly = DateTimeSerial::New();
  weekly->SetRepetitionMode(calWeekly);
  weekly->SetWeekdays(calMonday | calThursday);
  weekly->Setn(1);
  weekly->SetSeriesStartDateTime(may12);
  weekly->SetEternal(true);
  weekly->SetStartDateTime(18 * kHour);
  weekly->SetEndDateTime(19 * kHour);
  course->SetDateTime(weekly);
  course->AfterDateTimeChange();
  calendar->Save();

  const std::vector<std::vector<std::string>> switches = {
      {}, {"--no-separate-serials"}, {"--remove-doubles"}, {"--sort"}, {"--only-all-day"},
      {"--use-remind-time", "--not-flags", "0"}};
  for (const std::vector<std::string>& extra : switches) {
    std::vector<std::string> args{"list", "--from", "2008-05-01", "--to", "2008-07-15", "--json"};
    args.insert(args.end(), extra.begin(), extra.end());
    SCOPED_TRACE(::testing::PrintToString(args));
    std::vector<const char*> argv{"orncal"};
    for (const std::string& arg : args)
      argv.push_back(arg.c_str());
    std::ostringstream expected;
    RunList(*calendar, *ParseCommandLine(static_cast<int>(argv.size()), argv.data()).List,
            expected);

    Outcome child = RunHere(args);
    ASSERT_EQ(child.status, 0) << child.err;
    EXPECT_EQ(child.out, expected.str());
    if (extra.empty()) {
      std::set<std::string> titles;
      const Json list = Json::parse(child.out);
      for (const Json& entry : list["appointments"])
        titles.insert(entry["title"].get<std::string>());
      EXPECT_EQ(titles, (std::set<std::string>{"Einzeln", "Ganztags \xE2\x82\xAC", "Lang",
                                               "Verschoben", "Kurs"}));
    }
  }

  // June's file holds the moved appointment and links to the long one and
  // the series.
  Outcome june = Run({"dump", DataFile("200806.xmf"), "--json"});
  ASSERT_EQ(june.status, 0) << june.err;
  std::vector<std::string> records;
  const Json dump = Json::parse(june.out);
  for (const Json& r : dump["records"]) {
    records.push_back(r["record_type"] == 1 ? r["title"].get<std::string>()
                                             : "-> " + r["dest_file"].dump() + "/" +
                                                   r["dest_id"].dump());
  }
  EXPECT_EQ(records, (std::vector<std::string>{"-> 200805/3", "Verschoben", "-> 200805/4"}));
}

TEST_F(OrncalProcess, BadArgumentsFailWithOneLineAndTouchNothing) {
  WriteMonthFiles();
  const std::string fresh = Join(temp_.path(), "fresh");
  const auto before = Snapshot(temp_.path());
  const std::vector<std::vector<std::string>> bad = {
      {"--data-home", AppDataFolder(), "list", "--from", "2008-05-01", "--to", "2008-06-01",
       "--bogus"},
      {"--data-home", AppDataFolder(), "list", "--from", "2008-05-01", "--to", "2008-13-01"},
      {"--data-home", AppDataFolder(), "list", "--from", "2008-05-01"},
      {"--data-home", AppDataFolder(), "list", "--from", "2008-05-01", "--to", "2008-06-01",
       "--not-flags", "one"},
      {"--data-home", fresh, "list", "--from", "2008-05-01T25:00", "--to", "2008-06-01"},
      {"--data-home", fresh},
      {"--data-home"},
      {},
      {"dump"},
      {"dump", DataFile("200808.xmf")},
      {"dump", DataFile("200807.xmf")},
      {"dump", DataFolder()},
  };
  for (const std::vector<std::string>& args : bad) {
    SCOPED_TRACE(::testing::PrintToString(args));
    Outcome outcome = Run(args);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.rfind("orncal: ", 0), 0u) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
  }
  EXPECT_NE(Run(bad[1]).err.find("2008-13-01"), std::string::npos);
  EXPECT_NE(Run(bad[10]).err.find("200807.xmf"), std::string::npos);
  EXPECT_EQ(Snapshot(temp_.path()), before);
  EXPECT_FALSE(testing::PathExists(fresh));
  EXPECT_FALSE(testing::PathExists(Home()));
}

TEST_F(OrncalProcess, APeriodEndingBeforeItStartsListsNothing) {
  WriteMonthFiles();
  Outcome outcome = RunHere({"list", "--from", "2008-06-01", "--to", "2008-05-01", "--json"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "{\n  \"appointments\": []\n}\n");
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(RunHere({"list", "--from", "2008-06-01", "--to", "2008-05-01"}).out,
            "no appointments\n");
}

TEST_F(OrncalProcess, HelpGoesToStandardOutputWithStatusZero) {
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"--help"}, {"list", "--help"}, {"dump", "-h"}}) {
    Outcome outcome = Run(args);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("Usage: orncal"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.err, "");
  }
}

TEST_F(OrncalProcess, DumpPrintsTheRecordsOfAMonthFile) {
  WriteMonthFiles();
  Outcome json = Run({"dump", DataFile("200805.xmf"), "--json"});
  ASSERT_EQ(json.status, 0) << json.err;
  const Json dump = Json::parse(json.out);
  EXPECT_EQ(dump["version"], 10003);
  ASSERT_EQ(dump["records"].size(), 2u);
  EXPECT_EQ(dump["records"][1]["title"], "Reise");
  EXPECT_EQ(dump["records"][1]["end"], kJune1 + 1 + 18 * kHour);

  Outcome table = Run({"dump", DataFile("200806.xmf")});
  EXPECT_EQ(table.status, 0);
  EXPECT_EQ(table.out, "version 10003, 1 records\n"
            "ID  TYPE  START         END  TITLE  FLAGS\n"
            "1   link  -> 200805 #2\n");
}

TEST_F(OrncalProcess, ARelativeDataHomeIsFoundFromTheWorkingFolder) {
  Outcome outcome = Run({"--data-home", "rel", "list", "--from", "2008-05-01", "--to", "2008-05-02"},
                        temp_.path());
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_TRUE(testing::PathExists(Join(Join(Join(Join(temp_.path(), "rel"), "Ornavel"), "Calendar"), "files")));
  EXPECT_FALSE(testing::PathExists(Home()));
}

}  // namespace
}  // namespace orncal::cli
