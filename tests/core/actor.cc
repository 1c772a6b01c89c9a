// A calendar client in a process of its own, for the tests that need two
// processes on one data folder.
//
//   calendar_actor write APPDATA REPORT   makes, moves and removes appointments,
//                                         saves, and writes its report
//   calendar_actor read APPDATA REPORT    only writes its report
//
// The report lists the results of a few queries and every entry of every
// month file on disk. The task modes follow one task across three processes
// and report what each finds:
//
//   calendar_actor task-complete ...   a task with a reminder, completed
//   calendar_actor task-restore ...    found among the completed ones and
//                                      brought back, with a new reminder
//   calendar_actor task-remind ...     the reminder handed out at its moment
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

const Date kTaskStart = Day(12, 5) + 8 / 24.0;
const Date kPlannedEnd = Day(20, 5) + 18 / 24.0;
const Date kReminder = Day(14, 5) + 12 / 24.0;

void ReportTask(Task& task, std::ostream& out) {
  out << "task " << task.ID() << " completed=" << task.Completed() << " title=" << task.Title()
      << " notes=" << task.Notes() << " project=" << task.Project()
      << " start=" << task.DateTime()->StartDateTime() << " planned_end=" << task.PlannedEnd();
  if (AppointmentPtr reminder = task.RemindAppointment()) {
    out << " reminder=" << reminder->File() << "/" << reminder->ID() << " at " << task.RemindAt();
  }
  out << "\n";
}

void TaskComplete(Calendar& calendar, std::ostream& out) {
  TaskPtr task = calendar.Task();
  task->SetTitle("Steuererkl\xC3\xA4rung");
  task->SetNotes("Belege \xE2\x82\xAC sammeln");
  task->SetProject("Haus");
  task->SetDateTime(DateTimeNormal::New(kTaskStart, kPlannedEnd));
  task->NotifyChange();
  task->SetRemindAt(Day(15, 5) + 9 / 24.0);
  ReportTask(*task, out);
  task->Complete();
  calendar.Release();
}

void TaskRestore(Calendar& calendar, ManualClock& clock, std::ostream& out) {
  clock.Set(Day(14, 5) + 11 / 24.0);  // a later process
  const CollectionPtr<TaskPtr> completed =
      calendar.CompleteTasksInPeriod(*DateTimeNormal::New(Day(1, 5), Day(1, 6)));
  for (const TaskPtr& task : *completed) {
    out << "completed ";
    ReportTask(*task, out);
    task->InComplete();
    task->SetRemindAt(kReminder);
    ReportTask(*task, out);
  }
  calendar.Release();
}

void TaskRemind(Calendar& calendar, ManualClock& clock, std::ostream& out) {
  const CollectionPtr<TaskPtr> listed = calendar.IncompleteTasks();
  for (const TaskPtr& task : *listed)
    ReportTask(*task, out);
  const CollectionPtr<TaskPtr> completed =
      calendar.CompleteTasksInPeriod(*DateTimeNormal::New(Day(1, 5), Day(1, 6)));
  for (const TaskPtr& task : *completed)
    out << "completed " << task->Title() << "\n";
  // Polls just before and just after the reminder's moment.
  for (Date at : {kReminder - 1 / 86400.0, kReminder + 1 / 86400.0}) {
    clock.Set(at);
    CollectionPtr<AppointmentPtr> due;
    calendar.GetRemindAppointments(due);
    out << "poll " << at << ":";
    if (due) {
      for (const AppointmentPtr& a : *due)
        out << " " << a->File() << "/" << a->ID() << " " << a->Title();
    }
    out << "\n";
  }
}

}  // namespace
}  // namespace orncal

int main(int argc, char** argv) {
  using namespace orncal;
  if (argc != 4) {
    std::fprintf(stderr,
                 "usage: calendar_actor write|read|task-complete|task-restore|task-remind "
                 "APPDATA REPORT\n");
    return 2;
  }
  const std::string mode = argv[1], app_data = argv[2];
  platform::SetShellFolderHook([app_data](int32_t) { return app_data; });
  auto clock = std::make_shared<ManualClock>(DateFromParts(2008, 5, 14) + 10 / 24.0);
  SetClock(clock);
  CalendarPtr calendar = CalendarMain().Calendar();
  std::ofstream report(argv[3], std::ios::binary);
  report.precision(17);
  if (mode == "task-complete") {
    TaskComplete(*calendar, report);
  } else if (mode == "task-restore") {
    TaskRestore(*calendar, *clock, report);
  } else if (mode == "task-remind") {
    TaskRemind(*calendar, *clock, report);
  } else {
    if (mode == "write") Write(*calendar);
    Report(*calendar, report);
  }
  return report ? 0 : 1;
}
