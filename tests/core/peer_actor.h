// The commands of peer_actor, the calendar client that the tests of several
// processes on one data folder drive in processes of their own (see
// peer_actor_posix.cc and peer_actor_windows.cc for the programs around it).
// Included once by each.
//
//   peer_actor APPDATA [--clock YYYY-MM-DDTHH:MM:SS.mmm]
//
// It reads one command per line on standard input and answers on standard
// output with lines ending in a line "."; the first answer line is "ok ..."
// or "error ...". Appointments are named by FILE/ID ("200805/3"), times as
// YYYY-MM-DD[THH:MM], titles and other texts as one word each.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "core/notifier_link.h"
#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "platform/system.h"

namespace orncal::peer {

struct Failure {
  std::string what;
};

Date ParseWhen(const std::string& text) {
  int y, mo, d, h = 0, mi = 0;
  double s = 0;
  if (std::sscanf(text.c_str(), "%d-%d-%dT%d:%d:%lf", &y, &mo, &d, &h, &mi, &s) < 3) {
    throw Failure{"not a time: " + text};
  }
  return DateFromParts(y, mo, d) + (h * 3600 + mi * 60 + s) / 86400.0;
}

std::string KeyOf(const Appointment& a) {
  return std::to_string(a.File()) + "/" + std::to_string(a.ID());
}

class Actor {
 public:
  Actor(CalendarPtr calendar, std::shared_ptr<ManualClock> clock)
      : calendar_(std::move(calendar)), clock_(std::move(clock)) {
    events_ = calendar_->Notificator();
    events_->Subscribe(Notificator::Event::kChange, [this] { ++changes_; });
    events_->Subscribe(Notificator::Event::kTasksChange, [this] { ++task_changes_; });
    SetMessageHandler([this](const Message& m) { messages_.push_back(m.Text); });
  }

  Calendar& calendar() { return *calendar_; }
  bool autopump = true;

  // Runs one command; false for "quit".
  bool Run(const std::string& line, std::ostream& out) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string word; in >> word;)
      words.push_back(word);
    if (words.empty()) return true;
    if (words[0] == "quit") return false;
    std::ostringstream body;
    body.precision(17);
    try {
      std::string head = Do(words, body);
      out << "ok" << (head.empty() ? "" : " " + head) << "\n" << body.str();
    } catch (const Failure& f) {
      out << "error " << f.what << "\n";
    } catch (const std::exception& e) {
      out << "error " << e.what() << "\n";
    }
    out << ".\n";
    return true;
  }

 private:
  AppointmentPtr Find(const std::string& key) {
    int file = 0, id = 0;
    if (std::sscanf(key.c_str(), "%d/%d", &file, &id) != 2) throw Failure{"not FILE/ID: " + key};
    AppointmentPtr a = calendar_->GetAppointment(file, id);
    if (!a || a->AppointmentType() != 1) throw Failure{"no appointment " + key};
    return a;
  }
  TaskPtr FindTask(const std::string& id) {
    TaskPtr task = calendar_->IncompleteTaskFromID(std::stoi(id));
    if (!task) throw Failure{"no task " + id};
    return task;
  }

  static void Need(const std::vector<std::string>& w, size_t least, size_t most = 0) {
    if (w.size() < least + 1 || w.size() > std::max(least, most) + 1) {
      throw Failure{"wrong number of arguments"};
    }
  }

  static void ListMonth(const File& file, std::ostream& out) {
    for (const AppointmentPtr& entry : *file.Appointments()) {
      out << entry->AppointmentType() << " #" << entry->OutsideID();
      if (auto* link = dynamic_cast<AppointmentLink*>(entry.get())) {
        out << " -> " << link->DestinationFile() << "/" << link->DestinationID() << "\n";
      } else {
        DateTimePtr p = entry->DateTime();
        out << " " << entry->Title() << " [" << entry->Project() << "] "
            << (p ? p->StartDateTime() : 0) << " " << (p ? p->EndDateTime() : 0) << "\n";
      }
    }
  }

  static void Describe(Task& task, std::ostream& out) {
    out << "task " << task.ID() << " completed=" << task.Completed() << " title=" << task.Title()
        << " notes=" << task.Notes() << " project=" << task.Project()
        << " start=" << task.DateTime()->StartDateTime() << " planned_end=" << task.PlannedEnd();
    if (AppointmentPtr reminder = task.RemindAppointment())
      out << " reminder=" << KeyOf(*reminder) << " at " << task.RemindAt();
    out << "\n";
  }

  std::string Do(const std::vector<std::string>& w, std::ostream& out) {
    const std::string& c = w[0];
    Calendar& cal = *calendar_;
    const std::map<std::string, std::function<void()>> plain{
        {"save", [&] { cal.Save(); }},
        {"release", [&] { cal.Release(); }},
        {"scan", [&] { cal.ScanMonthFiles(); }},
        {"flush", [] { core::NotifierLink::Process().Flush(); }},
        {"raise", [&] { events_->RaiseChange(); }},
        {"cat-save", [&] { cal.Categories()->Save(); }},
        {"srt-save", [&] { cal.SaveSpecialRemindTimes(); }},
    };
    if (auto found = plain.find(c); found != plain.end()) {
      found->second();
      return {};
    }
    if (c == "add") {  // TITLE FROM TO [allday]
      Need(w, 3, 4);
      AppointmentPtr a = cal.Appointment({.StartDateTime = ParseWhen(w[2]),
                                          .EndDateTime = ParseWhen(w[3]),
                                          .AllDay = w.size() == 5 && w[4] == "allday"});
      a->SetTitle(w[1]);
      a->NotifyChange();
      return KeyOf(*a);
    }
    if (c == "weekly") {  // TITLE FIRST-DAY LAST-DAY: Mondays 10:00-11:00
      Need(w, 3);
      AppointmentPtr a = cal.Appointment({.SaveNow = false});
      DateTimeSerialPtr series = DateTimeSerial::New();
      series->SetRepetitionMode(calWeekly);
      series->Setn(1);
      series->SetWeekdays(calMonday);
      series->SetSeriesStartDateTime(ParseWhen(w[2]));
      series->SetSeriesEndDateTime(ParseWhen(w[3]));
      series->SetStartDateTime(10 / 24.0);
      series->SetEndDateTime(11 / 24.0);
      a->SetDateTime(series);
      a->SetTitle(w[1]);
      a->AfterDateTimeChange();
      return KeyOf(*a);
    }
    if (c == "title" || c == "project" || c == "notes") {  // KEY TEXT; notes: KEY LETTERS
      Need(w, 2);
      AppointmentPtr a = Find(w[1]);
      if (c == "title") a->SetTitle(w[2]);
      if (c == "project") a->SetProject(w[2]);
      if (c == "notes") a->SetNotes(std::string(static_cast<size_t>(std::stol(w[2])), 'x'));
      a->NotifyChange();
      return {};
    }
    if (c == "move") {
      Need(w, 3);
      AppointmentPtr a = Find(w[1]);
      a->BeforeDateTimeChange();
      a->SetDateTime(DateTimeNormal::New(ParseWhen(w[2]), ParseWhen(w[3])));
      a->AfterDateTimeChange();
      return KeyOf(*a);
    }
    if (c == "remove") {
      Need(w, 1);
      Find(w[1])->Remove();
      return {};
    }
    if (c == "month" || c == "cached") {
      Need(w, 1);
      FilePtr file = cal.GetMonthFile(MonthRef{.Key = w[1], .FileLong = std::stoi(w[1])},
                                      {.OnlyLoaded = c == "cached"});
      if (!file) return "none";
      ListMonth(*file, out);
      return {};
    }
    if (c == "dump") {  // every month listed, read where needed, in order
      std::vector<int32_t> months(cal.AllFiles()->begin(), cal.AllFiles()->end());
      std::sort(months.begin(), months.end());
      for (int32_t month : months) {
        FilePtr file = cal.GetMonthFile(MonthRef{.Key = std::to_string(month), .FileLong = month});
        if (file->Appointments()->Count() == 0) continue;
        out << "file " << month << "\n";
        ListMonth(*file, out);
      }
      return {};
    }
    if (c == "query") {  // FROM TO [parts]: the series as parts, or whole
      Need(w, 2, 3);
      AppointmentsPtr found =
          cal.AllAppointmentsInPeriod(*DateTimeNormal::New(ParseWhen(w[1]), ParseWhen(w[2])),
                                      {.SeperateSerials = w.size() == 4 && w[3] == "parts"});
      for (const AppointmentPtr& a : *found) {
        out << a->AppointmentType() << " " << KeyOf(*a) << " " << a->Title() << " "
            << a->DateTime()->StartDateTime() << " " << a->DateTime()->EndDateTime()
            << (a->AllDay() ? " all-day" : "") << "\n";
      }
      return std::to_string(found->Count());
    }
    if (c == "pump") return std::to_string(cal.ProcessNotifications());
    if (c == "autopump") {
      Need(w, 1);
      autopump = w[1] == "on";
      return {};
    }
    if (c == "events") {
      std::string counts =
          "change=" + std::to_string(changes_) + " tasks=" + std::to_string(task_changes_);
      changes_ = task_changes_ = 0;
      return counts;
    }
    if (c == "instance") return std::to_string(core::InstanceID());
    if (c == "messages") {
      for (const std::string& text : messages_)
        out << text << "\n";
      const std::string count = std::to_string(messages_.size());
      messages_.clear();
      return count;
    }
    if (c == "clock") {
      Need(w, 1);
      clock_->Set(ParseWhen(w[1]));
      return {};
    }
    if (c == "poll") {  // WHEN: the clock set, the reminders due
      Need(w, 1);
      clock_->Set(ParseWhen(w[1]));
      CollectionPtr<AppointmentPtr> due;
      if (!cal.GetRemindAppointments(due)) return "0";
      for (const AppointmentPtr& a : *due)
        out << KeyOf(*a) << " " << a->Title() << "\n";
      return std::to_string(due->Count());
    }
    if (c == "task-add") {  // TITLE: 1 to 9 May, not saved
      Need(w, 1);
      TaskPtr task = cal.Task({.SaveNow = false});
      task->SetTitle(w[1]);
      task->SetDateTime(DateTimeNormal::New(DateFromParts(2008, 5, 1), DateFromParts(2008, 5, 9)));
      task->NotifyChange();
      return std::to_string(task->ID());
    }
    if (c == "task") {  // TITLE NOTES PROJECT FROM PLANNED-END REMIND-AT, then completed
      Need(w, 6);
      TaskPtr task = cal.Task();
      task->SetTitle(w[1]);
      task->SetNotes(w[2]);
      task->SetProject(w[3]);
      task->SetDateTime(DateTimeNormal::New(ParseWhen(w[4]), ParseWhen(w[5])));
      task->NotifyChange();
      task->SetRemindAt(ParseWhen(w[6]));
      Describe(*task, out);
      task->Complete();
      return {};
    }
    if (c == "task-title" || c == "task-remove") {
      Need(w, c == "task-title" ? 2 : 1);
      TaskPtr task = FindTask(w[1]);
      if (c == "task-remove") {
        task->Remove();
      } else {
        task->SetTitle(w[2]);
        task->NotifyChange();
      }
      return {};
    }
    if (c == "tasks") {
      CollectionPtr<TaskPtr> tasks = cal.IncompleteTasks();
      for (const TaskPtr& task : *tasks)
        out << task->ID() << " " << task->Title() << (task->Changed() ? " changed" : "") << "\n";
      return std::to_string(tasks->Count()) + (cal.TasksChanged() ? " changed" : "");
    }
    if (c == "describe") {  // every listed task in full
      const CollectionPtr<TaskPtr> tasks = cal.IncompleteTasks();
      for (const TaskPtr& task : *tasks)
        Describe(*task, out);
      return {};
    }
    if (c == "completed") {  // FROM TO [REMIND-AT]: with a time, each brought back
      Need(w, 2, 3);
      const CollectionPtr<TaskPtr> completed =
          cal.CompleteTasksInPeriod(*DateTimeNormal::New(ParseWhen(w[1]), ParseWhen(w[2])));
      for (const TaskPtr& task : *completed) {
        Describe(*task, out);
        if (w.size() < 4) continue;
        task->InComplete();
        task->SetRemindAt(ParseWhen(w[3]));
        Describe(*task, out);
      }
      return {};
    }
    if (c == "cat-add") {
      Need(w, 2);
      cal.Categories()->Add(w[1], {.Color = std::stoi(w[2])});
      return {};
    }
    if (c == "cats") {
      CategoriesPtr categories = cal.Categories();
      for (const std::string& name : categories->Names())
        out << name << "=" << categories->Color(name) << "\n";
      return {};
    }
    if (c == "srt-add") {
      Need(w, 2);
      cal.SpecialRemindTimes()->Add(SpecialRemindTime::New(ParseWhen(w[2]), Find(w[1])));
      return {};
    }
    if (c == "srt") {
      for (const SpecialRemindTimePtr& r : *cal.SpecialRemindTimes())
        out << r->RemindAt() << "=" << KeyOf(*r->Appointment()) << "\n";
      return std::to_string(cal.SpecialRemindTimes()->Count());
    }
    if (c == "setenv") {
      Need(w, 2);
      platform::SetEnv(w[1], w[2]);
      return {};
    }
    if (c == "sleep") {
      Need(w, 1);
      std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(w[1])));
      return {};
    }
    throw Failure{"unknown command " + c};
  }

  CalendarPtr calendar_;
  std::shared_ptr<ManualClock> clock_;
  NotificatorPtr events_;
  int changes_ = 0;
  int task_changes_ = 0;
  std::vector<std::string> messages_;
};

// Starts the calendar of `peer_actor APPDATA [--clock WHEN]` (by default
// 14 May 2008 10:00); nullptr after the usage on a wrong command line.
inline std::unique_ptr<Actor> Start(int argc, char** argv) {
  if (argc != 2 && !(argc == 4 && std::string(argv[2]) == "--clock")) {
    std::fprintf(stderr, "usage: peer_actor APPDATA [--clock YYYY-MM-DDTHH:MM:SS.mmm]\n");
    return nullptr;
  }
  const std::string app_data = argv[1];
  platform::SetShellFolderHook([app_data](int32_t) { return app_data; });
  auto clock = std::make_shared<ManualClock>(argc == 4 ? ParseWhen(argv[3])
                                                       : DateFromParts(2008, 5, 14) + 10 / 24.0);
  SetClock(clock);
  return std::make_unique<Actor>(CalendarMain().Calendar(), clock);
}

// Runs every whole line of `pending` (what has come on stdin so far) and
// keeps the rest; false once a command ended the actor.
inline bool RunLines(Actor& actor, std::string& pending) {
  size_t end;
  while ((end = pending.find('\n')) != std::string::npos) {
    const std::string line = pending.substr(0, end);
    pending.erase(0, end + 1);
    std::ostringstream out;
    const bool go_on = actor.Run(line, out);
    std::fputs(out.str().c_str(), stdout);
    std::fflush(stdout);
    if (!go_on) return false;
  }
  return true;
}

}  // namespace orncal::peer
