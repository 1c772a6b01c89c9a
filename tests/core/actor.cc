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
#include <tuple>
#include <vector>

#include "orncalendar/orncalendar.h"
#include "platform/system.h"

namespace orncal {
namespace {

Date Day(int32_t d, int32_t m) { return DateFromParts(2008, m, d); }

AppointmentPtr Make(Calendar& calendar, const char* title, Date start, Date end,
                    bool allDay = false) {
  AppointmentPtr a =
      calendar.Appointment({.StartDateTime = start, .EndDateTime = end, .AllDay = allDay});
  a->SetTitle(title);
  a->NotifyChange();
  return a;
}

void Write(Calendar& calendar) {
  const Date nine = 9 / 24.0, ten = 10 / 24.0;
  Make(calendar, "single", Day(20, 5) + nine, Day(20, 5) + ten);
  Make(calendar, "holiday", Day(2, 6), Day(4, 6), true);
  Make(calendar, "long", Day(28, 5), Day(3, 7));
  AppointmentPtr gone = Make(calendar, "removed", Day(10, 6) + nine, Day(10, 6) + ten);
  AppointmentPtr moved = Make(calendar, "moved", Day(5, 5) + nine, Day(5, 5) + ten);

  AppointmentPtr weekly = calendar.Appointment({.SaveNow = false});
  DateTimeSerialPtr series = DateTimeSerial::New();
  series->SetRepetitionMode(calWeekly);
  series->Setn(1);
  series->SetWeekdays(calTuesday | calFriday);
  series->SetSeriesStartDateTime(Day(29, 4));
  series->SetSeriesEndDateTime(Day(31, 8));
  series->SetStartDateTime(ten);
  series->SetEndDateTime(11 / 24.0);
  weekly->SetDateTime(series);
  weekly->SetTitle("weekly");
  weekly->AfterDateTimeChange();

  moved->BeforeDateTimeChange();
  moved->DateTime()->SetStartDateTime(Day(1, 7) + nine);
  moved->DateTime()->SetEndDateTime(Day(1, 7) + ten);
  moved->AfterDateTimeChange();
  gone->Remove();
  calendar.Save();
  calendar.ScanMonthFiles();  // what is on disk now
}

void Report(Calendar& calendar, std::ostream& out) {
  out.precision(17);
  for (const auto& [from, to] : {std::tuple(Day(1, 4), Day(1, 9)), {Day(1, 6), Day(1, 7)}}) {
    for (bool separate : {true, false}) {
      out << "query " << from << " " << to << (separate ? " parts" : " whole") << "\n";
      AppointmentsPtr result = calendar.AllAppointmentsInPeriod(*DateTimeNormal::New(from, to),
                                                                {.SeperateSerials = separate});
      for (const AppointmentPtr& a : *result) {
        out << "  " << a->AppointmentType() << " " << a->File() << "/" << a->ID() << " "
            << a->Title() << " " << a->DateTime()->StartDateTime() << " "
            << a->DateTime()->EndDateTime() << (a->AllDay() ? " all-day" : "") << "\n";
      }
    }
  }
  std::vector<int32_t> months(calendar.AllFiles()->begin(), calendar.AllFiles()->end());
  std::sort(months.begin(), months.end());
  for (int32_t month : months) {
    out << "file " << month << "\n";
    AppointmentsPtr entries = calendar.GetMonthFile(MonthRef{.FileLong = month})->Appointments();
    for (const AppointmentPtr& entry : *entries) {
      out << "  " << entry->AppointmentType() << " #" << entry->OutsideID();
      if (auto* link = dynamic_cast<AppointmentLink*>(entry.get())) {
        out << " -> " << link->DestinationFile() << "/" << link->DestinationID() << "\n";
      } else {
        out << " " << entry->Title() << "\n";
      }
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
