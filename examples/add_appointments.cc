// Adds three appointments to the calendar and saves them: a single one
// this afternoon, an all-day one over today and tomorrow, and a weekly
// series every working day at 09:00 for eight weeks from this Monday.
//
//   add_appointments [APP_DATA_FOLDER]
//
// The calendar keeps its files in APP_DATA_FOLDER/Ornavel/Calendar/files;
// without the argument the user's own application-data folder is used.
#include <orncalendar/orncalendar.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

namespace {

// "Tue 17.11.2026 14:00" for an OLE date (days since 30 December 1899, the
// fraction being the time of day), as the calendar hands them out.
std::string Show(orncal::Date when) {
  static const char* const kDays[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
  const orncal::DateParts p = orncal::SplitDate(when);
  char text[32];
  std::snprintf(text, sizeof text, "%s %02d.%02d.%04d %02d:%02d",
                kDays[orncal::WeekdayOf(when) - 1], p.Day, p.Month, p.Year, p.Hour, p.Minute);
  return text;
}

void Report(const orncal::AppointmentPtr& a) {
  // File and ID name an appointment for good: the month file that stores it
  // (year * 100 + month) and its number there.
  std::cout << "added: " << a->Title() << ", " << Show(a->DateTime()->GetFirstDate())
            << " (stored as " << a->File() << "/" << a->ID() << ")\n";
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args = orncal::CommandLineArguments(argc, argv);
  // Where the data lives must be settled before the first CalendarMain.
  if (args.size() > 1) orncal::UseApplicationDataFolder(args[1]);

  // The library reports file errors as messages (German texts, as its users
  // see them). By default they go to stderr; here they are also counted, so
  // that a failed save makes the program fail.
  int problems = 0;
  orncal::SetMessageHandler([&problems](const orncal::Message& message) {
    std::cerr << "calendar: " << message.Text << "\n";
    if (message.Style == orncal::MessageStyle::kCritical) ++problems;
  });

  // Every CalendarMain of a process hands out the same Calendar: the one
  // object that owns the month files of the data folder.
  orncal::CalendarMain main;
  orncal::CalendarPtr calendar = main.Calendar();
  if (!calendar) {
    std::cerr << "add_appointments: the calendar could not start\n";
    return 1;
  }
  std::cout << "data folder: " << calendar->Path() << "\n";

  // "Now" comes from the library's clock (the system clock unless a program
  // installs its own with SetClock).
  const orncal::Date today = orncal::DayPart(orncal::CurrentClock().Now());
  const orncal::Date monday = today - (orncal::WeekdayOf(today) - 1);

  // 1. A single appointment, 14:00 to 15:00 today, reminding 15 minutes
  // early. Calendar::Appointment makes it; with SaveNow = false it is not
  // filed yet, so its fields can be set first. Plain field assignments
  // never mark an appointment changed: AfterDateTimeChange files it into
  // the month of its start (and links it into later months it reaches),
  // marks it changed and tells the other processes.
  orncal::AppointmentPtr review =
      calendar->Appointment({.StartDateTime = today + orncal::TimeFromParts(14, 0, 0),
                             .EndDateTime = today + orncal::TimeFromParts(15, 0, 0),
                             .SaveNow = false});
  review->SetTitle("Project review");
  review->SetRemind(true);
  review->SetRemindAt(-15 * 60);  // seconds, added to the start
  review->AfterDateTimeChange();
  Report(review);  // the object handed back is the one its month file holds

  // 2. An all-day appointment is given by its first and last day; it ends
  // at midnight after the last one.
  orncal::AppointmentPtr offsite = calendar->Appointment(
      {.StartDateTime = today, .EndDateTime = today + 1, .AllDay = true, .SaveNow = false});
  offsite->SetTitle("Team offsite");
  offsite->AfterDateTimeChange();
  Report(offsite);

  // 3. A series: a new appointment whose DateTime is a DateTimeSerial. The
  // occurrence's time of day goes in StartDateTime/EndDateTime, the days it
  // runs over in SeriesStartDateTime/SeriesEndDateTime, the rule in the
  // repetition mode, the interval n and the weekdays.
  orncal::AppointmentPtr standup = calendar->Appointment({.SaveNow = false});
  orncal::DateTimeSerialPtr weekly = orncal::DateTimeSerial::New();
  weekly->SetRepetitionMode(orncal::calWeekly);
  weekly->Setn(1);  // every week
  weekly->SetWeekdays(orncal::calMonday | orncal::calTuesday | orncal::calWednesday |
                      orncal::calThursday | orncal::calFriday);
  weekly->SetStartDateTime(orncal::TimeFromParts(9, 0, 0));
  weekly->SetEndDateTime(orncal::TimeFromParts(9, 15, 0));
  weekly->SetSeriesStartDateTime(monday);
  weekly->SetSeriesEndDateTime(monday + 7 * 8 - 3);  // the Friday of the eighth week
  // Moves the anchor to the day of the first occurrence, where the calendar
  // files the series.
  weekly->AdjustStartDate();
  standup->SetDateTime(weekly);
  standup->SetTitle("Standup");
  standup->AfterDateTimeChange();
  Report(standup);

  // Nothing is on disk yet: Save writes every month file that changed.
  calendar->Save();
  if (problems > 0) {
    std::cerr << "add_appointments: the calendar reported " << problems << " problem(s)\n";
    return 1;
  }
  std::cout << "saved\n";
  return 0;
}
