// orncal's commands run in this process on the test's calendar, so that
// what they did can be seen in the object model (and on Windows too).
#include "commands.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/test_env.h"

namespace orncal::cli {
namespace {

using testing::Join;

constexpr double kHour = 1.0 / 24;
const Date kMay14 = DateFromParts(2008, 5, 14);  // the fixture's today, a Wednesday

struct Outcome {
  int status = -1;
  std::string out, err;
};

class Commands : public testing::CalendarTest {
 protected:
  Outcome Orncal(std::vector<std::string> args, const Style& style = {}) {
    args.insert(args.begin(), "orncal");
    std::vector<const char*> argv;
    for (const std::string& arg : args)
      argv.push_back(arg.c_str());
    std::ostringstream out, err;
    const int status = cli::Run(static_cast<int>(argv.size()), argv.data(), out, err, style);
    return {status, out.str(), err.str()};
  }
  // The output of a command that must succeed without a word on stderr.
  std::string Ok(std::vector<std::string> args) {
    const Outcome outcome = Orncal(args);
    EXPECT_EQ(outcome.status, 0) << ::testing::PrintToString(args) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
  }
  // The entries of a period, as "start title" in time order.
  std::vector<std::string> Entries(Date from, Date to) {
    std::vector<std::string> found;
    AppointmentsPtr result = calendar_->AllAppointmentsInPeriod(*DateTimeNormal::New(from, to));
    for (const AppointmentPtr& entry : *result) {
      const DateParts p = SplitDate(entry->DateTime()->StartDateTime());
      found.push_back(std::to_string(p.Month) + "-" + std::to_string(p.Day) + " " +
                      std::to_string(p.Hour) + ":" + std::to_string(p.Minute) + " " +
                      entry->Title());
    }
    return found;
  }

  CalendarPtr calendar_ = StartCalendar();
};

TEST_F(Commands, AddFilesAppointmentsAndSeriesAsTheRulesSay) {
  EXPECT_EQ(Ok({"add", "Zahnarzt", "--start", "friday 10:00", "--end", "friday 11:00", "--category",
                "Arzt", "--remind", "-900", "--notes", "N", "--project", "P"}),
            "200805/1\n");
  EXPECT_EQ(Ok({"add", "Urlaub", "--start", "2008-06-02", "--all-day"}), "200806/1\n");
  AppointmentPtr dentist = calendar_->GetAppointment(200805, 1);
  ASSERT_TRUE(dentist);
  EXPECT_EQ(dentist->DateTime()->StartDateTime(), kMay14 + 2 + 10 * kHour);
  EXPECT_EQ(dentist->Category() + dentist->Notes() + dentist->Project(), "ArztNP");
  EXPECT_TRUE(dentist->Remind());
  EXPECT_EQ(dentist->RemindAt(), -900);
  // Without an end an all-day appointment is its one day.
  const DateTimePtr holiday = calendar_->GetAppointment(200806, 1)->DateTime();
  EXPECT_EQ(holiday->EndDateTime() - holiday->StartDateTime(), 1);

  // The last day of every month from 10 January, and every second and
  // fourth... Tuesday from a Wednesday: the first occurrences come after
  // the first day, never before it.
  EXPECT_EQ(Ok({"add-series", "Miete", "--mode", "monthly", "--m", "-1", "--from", "2008-01-10",
                "--until", "2008-04-30", "--time", "18:00-18:30"}),
            "200801/1\n");
  EXPECT_EQ(Entries(DateFromParts(2008, 1, 1), DateFromParts(2008, 5, 1)),
            (std::vector<std::string>{"1-31 18:0 Miete", "2-29 18:0 Miete", "3-31 18:0 Miete",
                                      "4-30 18:0 Miete"}));
  EXPECT_EQ(Ok({"add-series", "Kurs", "--mode", "weekly", "--every", "2", "--weekdays", "tue",
                "--from", "2008-07-02", "--eternal", "--all-day"}),
            "200807/1\n");
  EXPECT_EQ(Entries(DateFromParts(2008, 7, 1), DateFromParts(2008, 7, 31)),
            (std::vector<std::string>{"7-8 0:0 Kurs", "7-22 0:0 Kurs"}));
  EXPECT_TRUE(calendar_->GetAppointment(200807, 1)->AllDay());
  // A rule that meets no day of its span is refused; nothing is filed.
  const Outcome none = Orncal({"add-series", "Nie", "--mode", "monthly", "--m", "31", "--from",
                               "2008-09-01", "--until", "2008-09-30", "--time", "9:00"});
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.err, "orncal: add-series: no day between --from and --until fits the rule\n");
  EXPECT_EQ(Entries(DateFromParts(2008, 9, 1), DateFromParts(2008, 10, 2)),
            (std::vector<std::string>{"9-2 0:0 Kurs", "9-16 0:0 Kurs", "9-30 0:0 Kurs"}));
}

TEST_F(Commands, MoveKeepsTheLengthAndCanChangeTheMonthFile) {
  Ok({"add", "Reise", "--start", "2008-05-30T08:00", "--end", "2008-06-02T18:00"});
  Ok({"add", "Fest", "--start", "2008-05-20", "--end", "2008-05-21", "--all-day"});
  EXPECT_EQ(Ok({"move", "200805/1", "--start", "2008-07-01T09:00"}), "200807/1\n");
  EXPECT_EQ(calendar_->GetAppointment(200805, 1), nullptr);
  const DateTimePtr trip = calendar_->GetAppointment(200807, 1)->DateTime();
  EXPECT_EQ(trip->EndDateTime(), DateFromParts(2008, 7, 4) + 19 * kHour);
  // All day: by days, the last day given.
  EXPECT_EQ(Ok({"move", "200805/2", "--start", "2008-05-22", "--end", "2008-05-25"}), "200805/2\n");
  const DateTimePtr party = calendar_->GetAppointment(200805, 2)->DateTime();
  EXPECT_EQ(party->EndDateTime(), DateFromParts(2008, 5, 26));
  const Outcome timed = Orncal({"move", "200805/2", "--start", "2008-05-22T10:00"});
  EXPECT_EQ(timed.err,
            "orncal: move: an all-day appointment moves by days, without a time of day\n");

  // A series moves its first day and, with a time, its occurrences' time.
  // (It takes the number the trip left in May.)
  EXPECT_EQ(Ok({"add-series", "Kurs", "--mode", "daily", "--from", "2008-05-05", "--until",
                "2008-05-07", "--time", "18:00-19:30"}),
            "200805/1\n");
  Ok({"move", "200805/1", "--start", "2008-05-12T08:00"});
  EXPECT_EQ(Entries(DateFromParts(2008, 5, 1), DateFromParts(2008, 5, 19)),
            (std::vector<std::string>{"5-12 8:0 Kurs", "5-13 8:0 Kurs", "5-14 8:0 Kurs"}));
  EXPECT_DOUBLE_EQ(calendar_->GetAppointment(200805, 1)->DateTime()->EndDateTime(), 9.5 * kHour);
}

TEST_F(Commands, EditAndDeleteLeaveTheAppointmentsOfTasksAloneUnlessForced) {
  Ok({"add", "Alt", "--start", "2008-05-20T10:00"});
  Ok({"edit", "200805/1", "--title", "Neu", "--remind", "0", "--flags", "0x10"});
  AppointmentPtr a = calendar_->GetAppointment(200805, 1);
  EXPECT_EQ(a->Title() + std::to_string(a->Remind()) + std::to_string(a->Flags()), "Neu116");
  Ok({"edit", "200805/1", "--remind", "off"});
  EXPECT_FALSE(a->Remind());

  const std::string id =
      Ok({"task", "add", "Steuer", "--due", "2008-05-20", "--remind", "2008-05-19T09:00"});
  ASSERT_FALSE(id.empty());
  const AppointmentPtr reminder =
      calendar_->IncompleteTaskFromID(std::stoi(id))->RemindAppointment();
  const std::string ref = std::to_string(reminder->File()) + "/" + std::to_string(reminder->ID());
  const Outcome refused = Orncal({"delete", ref});
  EXPECT_EQ(
      refused.err,
      "orncal: " + ref + " is marked not to be edited (flags 31); add --force to do it anyway\n");
  EXPECT_TRUE(reminder->Exists());
  Ok({"delete", ref, "--force"});
  EXPECT_FALSE(reminder->Exists());
  // Its extra reminders go with an appointment.
  Ok({"special-remind", "add", "200805/1", "2008-05-19T20:00"});
  EXPECT_EQ(calendar_->SpecialRemindTimes()->Count(), 1);
  Ok({"delete", "200805/1"});
  EXPECT_EQ(calendar_->SpecialRemindTimes()->Count(), 0);
  EXPECT_EQ(testing::ReadBytes(DataFile("SpRmdTim.ini")).find('='), std::string::npos);
}

TEST_F(Commands, ATaskIsDoneAndOpenedAgainUnderItsCompletionAppointment) {
  const std::string id = Ok({"task", "add", "Bericht", "--start", "2008-05-13", "--due",
                             "2008-05-16T17:00", "--project", "Q2"});
  const std::string done = Ok({"task", "done", id.substr(0, id.size() - 1)});
  EXPECT_EQ(done, "200805/1\n");
  EXPECT_EQ(calendar_->IncompleteTasks()->Count(), 0);
  EXPECT_NE(
      Ok({"task", "list", "--done"}).find("200805/1  2008-05-14 10:00  2008-05-16 17:00  Bericht"),
      std::string::npos);
  EXPECT_EQ(Ok({"task", "edit", "200805/1", "--title", "Quartalsbericht"}), "200805/1\n");
  const std::string again = Ok({"task", "undo", "200805/1"});
  const TaskPtr task = calendar_->IncompleteTaskFromID(std::stoi(again));
  ASSERT_TRUE(task);
  EXPECT_EQ(task->Title() + " " + task->Project(), "Quartalsbericht Q2");
  EXPECT_EQ(task->PlannedEnd(), DateFromParts(2008, 5, 16) + 17 * kHour);
  EXPECT_EQ(Orncal({"task", "undo", "200805/1"}).err, "orncal: no appointment 200805/1\n");
  Ok({"task", "remove", std::to_string(task->ID())});
  EXPECT_EQ(calendar_->IncompleteTasks()->Count(), 0);
}

// The agenda groups by day and orders by each entry's own start; a
// terminal sees the categories' colours and today in bold.
TEST_F(Commands, TheAgendaAndTheMonthForPeople) {
  calendar_->Categories()->Add("Arzt", {.Color = 0x0000FF});
  Ok({"add-series", "Kurs", "--mode", "weekly", "--weekdays", "wed,thu", "--from", "2008-05-01",
      "--eternal", "--time", "18:00-19:00"});
  Ok({"add", "Reise", "--start", "2008-05-14T20:00", "--end", "2008-05-16T12:00"});
  Ok({"add", "Zahnarzt", "--start", "thursday 8:00", "--end", "thursday 9:00", "--category", "Arzt",
      "--remind", "-900"});
  Ok({"task", "add", "Steuer", "--due", "2008-05-15T12:00"});
  const std::string expected =
      "Wed 2008-05-14 (today)\n"
      "  18:00-19:00  Kurs\n"
      "  from 20:00   Reise\n"
      "Thu 2008-05-15\n"
      "  continues    Reise\n"
      "  08:00-09:00  Zahnarzt  Arzt  \xF0\x9F\x94\x94\n"
      "  18:00-19:00  Kurs\n"
      "Fri 2008-05-16\n"
      "  until 12:00  Reise\n"
      "\n"
      "Tasks due\n"
      "  2008-05-15 12:00  Steuer  task ";
  const std::string plain = Ok({"agenda", "--days", "3"});
  EXPECT_EQ(plain.substr(0, expected.size()), expected);
  const Outcome styled = Orncal({"agenda", "--days", "3"}, {.Enabled = true, .TrueColor = true});
  EXPECT_NE(styled.out.find("\x1b[1mWed 2008-05-14 (today)\x1b[0m"), std::string::npos);
  EXPECT_NE(styled.out.find("\x1b[38;2;255;0;0mArzt\x1b[0m"), std::string::npos);
  EXPECT_NE(Orncal({"agenda"}, {.Enabled = true}).out.find("\x1b[38;5;196mArzt"),
            std::string::npos);

  EXPECT_EQ(Ok({"month", "2008-05"}),
            "                May 2008\n"
            "Mo    Tu    We    Th    Fr    Sa    Su\n"
            "                   1(1)  2     3     4\n"
            " 5     6     7(1)  8(1)  9    10    11\n"
            "12    13    14(2) 15(3) 16(1) 17    18\n"
            "19    20    21(1) 22(1) 23    24    25\n"
            "26    27    28(1) 29(1) 30    31\n");
  const std::string highlighted = Orncal({"month"}, {.Enabled = true}).out;
  EXPECT_NE(highlighted.find("\x1b[7m14\x1b[0m(2)"), std::string::npos);
}

// check reads every file; --repair puts the newest complete backup in
// place of a file that cannot be read and keeps that one aside.
TEST_F(Commands, CheckRepairsFromTheNewestCompleteBackup) {
  Ok({"add", "Eins", "--start", "2008-05-20T10:00"});
  const std::string older = testing::ReadBytes(DataFile("200805.xmf"));
  Ok({"add", "Zwei", "--start", "2008-05-21T10:00"});
  const std::string newer = testing::ReadBytes(DataFile("200805.xmf"));
  testing::WriteBytes(DataFile("200805.xmf.1"), older);
  testing::WriteBytes(DataFile("200805.xmf.2"), newer);
  // The newest backup lacks only its end mark: cut short between two
  // records, it reads without a fault but is not whole.
  testing::WriteBytes(DataFile("200805.xmf.3"), newer.substr(0, newer.size() - 1));
  testing::WriteBytes(DataFile("200805.xmf"), newer.substr(0, 20));
  const auto stamp = [&](const char* name, int age) {
    std::filesystem::last_write_time(
        DataFile(name), std::filesystem::file_time_type::clock::now() - std::chrono::hours(age));
  };
  stamp("200805.xmf.1", 3);
  stamp("200805.xmf.2", 2);
  stamp("200805.xmf.3", 1);

  // Every file of the data folder with its bytes.
  const auto files = [&] {
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(DataFolder())) {
      found[entry.path().filename().string()] = testing::ReadBytes(entry.path().string());
    }
    return found;
  };
  const auto before = files();
  const Outcome report = Orncal({"check", "--json"});
  EXPECT_EQ(report.status, 1);
  EXPECT_NE(report.err.find("'orncal check --repair' can put back 1"), std::string::npos);
  const Json checked = Json::parse(report.out);
  EXPECT_EQ(checked["files"][0]["state"], "unreadable");
  EXPECT_EQ(checked["backups"].size(), 3u);
  EXPECT_EQ(checked["backups"][2]["complete"], false);
  EXPECT_EQ(files(), before);

  const Outcome repaired = Orncal({"check", "--repair", "--json"});
  EXPECT_EQ(repaired.status, 0) << repaired.err;
  EXPECT_EQ(Json::parse(repaired.out)["repairs"],
            Json::parse(R"([{"file": "200805.xmf", "from": "200805.xmf.2",
                             "set_aside": "200805.xmf.unreadable-1"}])"));
  EXPECT_EQ(testing::ReadBytes(DataFile("200805.xmf")), newer);
  EXPECT_EQ(testing::ReadBytes(DataFile("200805.xmf.unreadable-1")), newer.substr(0, 20));
  EXPECT_TRUE(testing::PathExists(DataFile("200805.xmf.1")));
}

}  // namespace
}  // namespace orncal::cli
