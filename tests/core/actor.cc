// A calendar client in a process of its own, for the tests that need two
// processes on one data folder.
//
//   calendar_actor write APPDATA REPORT   makes, moves and removes appointments,
//                                         saves, and writes its report
//   calendar_actor read APPDATA REPORT    only writes its report
//
// The report lists the results of a few queries and every entry of every
// month file on disk.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "orncalendar/orncalendar.h"
#include "platform/system.h"

namespace orncal {
namespace {

Date Day(int32_t y, int32_t m, int32_t d) { return DateFromParts(y, m, d); }
Date At(int32_t y, int32_t m, int32_t d, int32_t h) { return Day(y, m, d) + h / 24.0; }

AppointmentPtr Make(Calendar& calendar, const char* title, Date start, Date end, bool allDay) {
  AppointmentPtr a =
      calendar.Appointment({.StartDateTime = start, .EndDateTime = end, .AllDay = allDay});
  a->SetTitle(title);
  a->NotifyChange();
  return a;
}

void Write(Calendar& calendar) {
  Make(calendar, "single", At(2008, 5, 20, 9), At(2008, 5, 20, 10), false);
  Make(calendar, "holiday", Day(2008, 6, 2), Day(2008, 6, 4), true);
  Make(calendar, "long", Day(2008, 5, 28), Day(2008, 7, 3), false);
  AppointmentPtr gone = Make(calendar, "removed", At(2008, 6, 10, 9), At(2008, 6, 10, 10), false);
  AppointmentPtr moved = Make(calendar, "moved", At(2008, 5, 5, 9), At(2008, 5, 5, 10), false);

  AppointmentPtr weekly = calendar.Appointment({.SaveNow = false});
  DateTimeSerialPtr series = DateTimeSerial::New();
  series->SetRepetitionMode(calWeekly);
  series->Setn(1);
  series->SetWeekdays(calTuesday | calFriday);
  series->SetSeriesStartDateTime(Day(2008, 4, 29));
  series->SetSeriesEndDateTime(Day(2008, 8, 31));
  series->SetStartDateTime(10 / 24.0);
  series->SetEndDateTime(11 / 24.0);
  weekly->SetDateTime(series);
  weekly->SetTitle("weekly");
  weekly->AfterDateTimeChange();

  moved->BeforeDateTimeChange();
  moved->DateTime()->SetStartDateTime(At(2008, 7, 1, 9));
  moved->DateTime()->SetEndDateTime(At(2008, 7, 1, 10));
  moved->AfterDateTimeChange();
  gone->Remove();
  calendar.Save();
  calendar.ScanMonthFiles();  // what is on disk now
}

std::string Number(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

void Report(Calendar& calendar, std::ostream& out) {
  const std::pair<Date, Date> periods[] = {{Day(2008, 4, 1), Day(2008, 9, 1)},
                                           {Day(2008, 6, 1), Day(2008, 7, 1)}};
  for (const auto& [from, to] : periods) {
    for (bool separate : {true, false}) {
      out << "query " << Number(from) << " " << Number(to) << (separate ? " parts" : " whole")
          << "\n";
      AppointmentsPtr result = calendar.AllAppointmentsInPeriod(*DateTimeNormal::New(from, to),
                                                                {.SeperateSerials = separate});
      for (const AppointmentPtr& a : *result) {
        out << "  " << a->AppointmentType() << " " << a->File() << "/" << a->ID() << " "
            << a->Title() << " " << Number(a->DateTime()->StartDateTime()) << " "
            << Number(a->DateTime()->EndDateTime()) << (a->AllDay() ? " all-day" : "") << "\n";
      }
    }
  }
  std::vector<int32_t> months(calendar.AllFiles()->begin(), calendar.AllFiles()->end());
  std::sort(months.begin(), months.end());
  for (int32_t month : months) {
    out << "file " << month << "\n";
    FilePtr file = calendar.GetMonthFile(MonthRef{.FileLong = month});
    for (const AppointmentPtr& entry : *file->Appointments()) {
      out << "  " << entry->AppointmentType() << " #" << entry->OutsideID();
      if (auto* link = dynamic_cast<AppointmentLink*>(entry.get())) {
        out << " -> " << link->DestinationFile() << "/" << link->DestinationID();
      } else {
        out << " " << entry->Title();
      }
      out << "\n";
    }
  }
}

}  // namespace
}  // namespace orncal

int main(int argc, char** argv) {
  using namespace orncal;
  if (argc != 4) {
    std::fprintf(stderr, "usage: calendar_actor write|read APPDATA REPORT\n");
    return 2;
  }
  const std::string mode = argv[1], app_data = argv[2];
  platform::SetShellFolderHook([app_data](int32_t) { return app_data; });
  SetClock(std::make_shared<ManualClock>(DateFromParts(2008, 5, 14) + 10 / 24.0));
  CalendarPtr calendar = CalendarMain().Calendar();
  if (mode == "write") Write(*calendar);
  std::ofstream report(argv[3], std::ios::binary);
  Report(*calendar, report);
  return report ? 0 : 1;
}
