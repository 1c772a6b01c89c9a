// demo: a small calendar around today, made through the object model as
// any program would make it.
#include <filesystem>

#include "arguments.h"
#include "commands_files.h"
#include "orncalendar/orncalendar.h"
#include "session.h"
#include "text.h"

namespace orncal::cli {
namespace {

namespace fs = std::filesystem;

bool HoldsCalendarFiles(const std::string& path) {
  std::error_code ec;
  for (const fs::directory_entry& entry :
       fs::directory_iterator(fs::path(std::u8string(path.begin(), path.end())), ec)) {
    const std::u8string text = entry.path().filename().u8string();
    const std::string name = LowerAscii(std::string(text.begin(), text.end()));
    if (name.ends_with(".xmf") || name.find(".xmf.") != std::string::npos ||
        name.starts_with("tasks.xtf") || name.starts_with("categor.ini") ||
        name.starts_with("sprmdtim.ini")) {
      return true;
    }
  }
  return false;
}

Date At(Date day, int hour, int minute) { return day + TimeFromParts(hour, minute, 0); }

// A filed appointment with a simple period.
AppointmentPtr Single(Calendar& calendar, const std::string& title, const std::string& category,
                      Date start, Date end, bool allDay = false) {
  AppointmentPtr a = calendar.Appointment(
      {.StartDateTime = start, .EndDateTime = end, .AllDay = allDay, .SaveNow = false});
  a->SetTitle(title);
  a->SetCategory(category);
  a->AfterDateTimeChange();
  return a;
}

// A filed recurring appointment; `rule` sets mode, n, m and weekdays.
AppointmentPtr Series(Calendar& calendar, const std::string& title, const std::string& category,
                      Date from, Date until, Date start, Date end, bool allDay,
                      const std::function<void(DateTimeSerial&)>& rule) {
  DateTimeSerialPtr series = DateTimeSerial::New();
  series->Setn(1);
  rule(*series);
  series->SetSeriesStartDateTime(from);
  series->SetSeriesEndDateTime(until);
  series->SetEternal(until == 0);
  series->SetStartDateTime(start);
  series->SetEndDateTime(end);
  series->AdjustStartDate();
  AppointmentPtr a = calendar.Appointment({.SaveNow = false});
  a->SetDateTime(series);
  a->SetAllDay(allDay);
  a->SetTitle(title);
  a->SetCategory(category);
  a->AfterDateTimeChange();
  return a;
}

TaskPtr NewTask(Calendar& calendar, const std::string& title, const std::string& project,
                Date start, Date due) {
  TaskPtr task = calendar.Task({.SaveNow = false});
  task->SetTitle(title);
  task->SetProject(project);
  task->SetDateTime(DateTimeNormal::New(start, due));
  task->NotifyChange();
  return task;
}

}  // namespace

void Execute(Session& s, const DemoCommand&) {
  Calendar& calendar = s.Calendar();
  if (HoldsCalendarFiles(calendar.Path())) {
    throw CommandError("the data folder '" + calendar.Path() +
                       "' holds calendar files already; demo only fills an empty one");
  }
  const Date now = CurrentClock().Now();
  const Date today = DayPart(now);
  const Date monday = today - (WeekdayOf(today) - 1);
  const Date first_of_month = DateFromParts(YearOf(today), MonthOf(today), 1);

  CategoriesPtr categories = calendar.Categories();
  categories->Add("Work", {.Color = 0xE5881E});     // #1E88E5
  categories->Add("Private", {.Color = 0x47A043});  // #43A047
  categories->Add("Health", {.Color = 0x3539E5});   // #E53935
  categories->Add("Sport", {.Color = 0x008CFB});    // #FB8C00

  Series(calendar, "Team meeting", "Work", monday - 14, 0, TimeFromParts(9, 30, 0),
         TimeFromParts(10, 15, 0), false, [](DateTimeSerial& rule) {
           rule.SetRepetitionMode(calWeekly);
           rule.SetWeekdays(calMonday | calThursday);
         });
  Series(calendar, "Running", "Sport", monday - 7, monday + 90, TimeFromParts(18, 0, 0),
         TimeFromParts(19, 0, 0), false, [](DateTimeSerial& rule) {
           rule.SetRepetitionMode(calWeekly);
           rule.SetWeekdays(calTuesday | calSaturday);
         });
  AppointmentPtr rent = Series(calendar, "Pay the rent", "Private", first_of_month, 0, 0, 1, true,
                               [](DateTimeSerial& rule) {
                                 rule.SetRepetitionMode(calMonthly);
                                 rule.Setm(-1);  // the last day of every month
                               });
  rent->SetRemind(true);
  rent->SetRemindAt(9 * 3600);  // at nine on the day
  rent->NotifyChange();
  Single(calendar, "Anna's birthday", "Private", today + 3, today + 3, true);
  Single(calendar, "Project Nordlicht", "Work", At(today - 10, 9, 0), At(today + 45, 17, 0));
  Single(calendar, "Lunch with J\xC3\xBCrgen", "Private", At(today, 12, 30), At(today, 13, 30));
  AppointmentPtr dentist =
      Single(calendar, "Dentist", "Health", At(today + 1, 10, 0), At(today + 1, 11, 0));
  dentist->SetNotes("Bring the insurance card");
  dentist->SetRemind(true);
  dentist->SetRemindAt(-3600);
  dentist->NotifyChange();
  Single(calendar, "Caf\xC3\xA9 with the team", "Work", At(today + 4, 15, 0), At(today + 4, 16, 0));

  TaskPtr report =
      NewTask(calendar, "Write the quarterly report", "Nordlicht", today, At(today + 2, 17, 0));
  report->SetRemindAt(At(today + 2, 9, 0));
  NewTask(calendar, "Book the summer holidays", "", today, At(today + 6, 18, 0));
  NewTask(calendar, "Renew the passport", "", today, At(today + 14, 12, 0));
  NewTask(calendar, "Water the plants", "", today - 1, At(today, 8, 0))->Complete();

  // One more reminder of the dentist the evening before, while that is to come.
  if (At(today, 20, 0) > now) {
    calendar.SpecialRemindTimes()->Add(SpecialRemindTime::New(At(today, 20, 0), dentist));
  }
  s.Save();
  s.SaveCategories();
  s.SaveSpecialRemindTimes();
  s.out << "A demo calendar is in " << calendar.Path()
        << ": 8 appointments (3 of them recurring), 4 tasks, 4 categories.\n"
           "Try: orncal agenda, orncal month, orncal task list.\n";
}

}  // namespace orncal::cli
