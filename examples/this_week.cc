// Lists this week's appointments, Monday 00:00 to the next Monday 00:00,
// in time order.
//
//   this_week [APP_DATA_FOLDER]
//
// The calendar keeps its files in APP_DATA_FOLDER/Ornavel/Calendar/files;
// without the argument the user's own application-data folder is used.
#include <orncalendar/orncalendar.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

namespace {

// "Tue 17.11.2026" and "14:00" for an OLE date (days since 30 December
// 1899, the fraction being the time of day).
std::string Day(orncal::Date when) {
  static const char* const kDays[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
  const orncal::DateParts p = orncal::SplitDate(when);
  char text[24];
  std::snprintf(text, sizeof text, "%s %02d.%02d.%04d", kDays[orncal::WeekdayOf(when) - 1], p.Day,
                p.Month, p.Year);
  return text;
}

std::string Time(orncal::Date when) {
  const orncal::DateParts p = orncal::SplitDate(when);
  char text[8];
  std::snprintf(text, sizeof text, "%02d:%02d", p.Hour, p.Minute);
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args = orncal::CommandLineArguments(argc, argv);
  if (args.size() > 1) orncal::UseApplicationDataFolder(args[1]);

  orncal::CalendarMain main;
  orncal::CalendarPtr calendar = main.Calendar();
  if (!calendar) {
    std::cerr << "this_week: the calendar could not start\n";
    return 1;
  }

  const orncal::Date today = orncal::DayPart(orncal::CurrentClock().Now());
  const orncal::Date monday = today - (orncal::WeekdayOf(today) - 1);

  // The query reads the month files the week touches (loading each at its
  // first use) and hands back every appointment that meets the period. A
  // series yields one entry per occurrence (a "part", AppointmentType 3)
  // whose DateTime is that occurrence alone; Series() is the series
  // appointment. An appointment reaching into two months of the week stands
  // once per month. Invisible appointments (flag calInvisible) stay out
  // unless NotFlags is cleared.
  orncal::AppointmentsPtr week =
      calendar->AllAppointmentsInPeriod(*orncal::DateTimeNormal::New(monday, monday + 7));

  // Appointments are shared objects compared by identity: the same
  // appointment met in two months is the same pointer, kept here once.
  std::vector<orncal::AppointmentPtr> entries;
  for (const orncal::AppointmentPtr& a : *week) {
    if (std::find(entries.begin(), entries.end(), a) == entries.end()) entries.push_back(a);
  }
  // The list comes in month order, then file order. Appointments::Sort
  // orders by the start of what each entry stands for, which for a part is
  // its series, not the occurrence: for a timetable, sort by each entry's
  // own start instead.
  std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
    return a->DateTime()->StartDateTime() < b->DateTime()->StartDateTime();
  });

  std::cout << "This week, " << Day(monday) << " to " << Day(monday + 6) << ":\n";
  for (const orncal::AppointmentPtr& a : entries) {
    const orncal::DateTimePtr when = a->DateTime();
    if (a->AllDay()) {
      // An all-day entry ends at midnight after its last day.
      std::cout << Day(when->StartDateTime()) << " all day      " << a->Title();
      if (when->EndDateTime() - when->StartDateTime() > 1) {
        std::cout << " (to " << Day(when->EndDateTime() - 1) << ")";
      }
    } else {
      std::cout << Day(when->StartDateTime()) << " " << Time(when->StartDateTime()) << "-"
                << Time(when->EndDateTime()) << "  " << a->Title();
    }
    std::cout << "\n";
  }
  if (entries.empty()) std::cout << "(nothing)\n";
  return 0;
}
