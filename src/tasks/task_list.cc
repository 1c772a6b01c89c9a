// The calendar's task list: loading and saving tasks.xtf, adding and
// removing tasks, and the task queries.
#include <vector>

#include "core/calendar_state.h"
#include "core/shared_calendar.h"
#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/date_time.h"
#include "orncalendar/enums.h"
#include "orncalendar/notificator.h"
#include "orncalendar/platform.h"
#include "orncalendar/task.h"
#include "orncalendar/task_file.h"
#include "platform/file_system.h"
#include "store/replace_file.h"
#include "tasks/task_file_format.h"
#include "tasks/task_ids.h"

namespace orncal {
namespace {

std::string LoadFailureText(const std::string& path) {
  return "Schwerwiegender Fehler:\r\nDie Aufgabendatei \"" + path +
         "\" konnte nicht geladen werden.";
}

std::string SaveFailureText(const std::string& path) {
  return "Die Aufgabendatei \"" + path +
         "\" konnte nicht gespeichert werden. Es besteht die Gefahr, dass Daten verloren gehen.";
}

DateTimeNormal& PeriodOf(const Task& task) {
  DateTimeNormalPtr period = task.DateTime();
  if (!period) throw Error(ErrorNumber::kObjectNotSet);
  return *period;
}

void RaiseTasksChange(Calendar& calendar) {
  if (NotificatorPtr events = calendar.Notificator()) events->RaiseTasksChange();
}

}  // namespace

bool Calendar::TasksLoaded() const { return state_->tasks != nullptr; }

bool Calendar::TasksChanged() const { return state_->tasks_changed; }

void Calendar::SetTasksChanged(bool value) { state_->tasks_changed = value; }

void Calendar::LoadTasks() {
  State& s = *state_;
  auto list = std::make_shared<Collection<TaskPtr>>();
  s.tasks = list;
  s.tasks_load_failed = false;
  s.tasks_loading = true;
  struct Loaded {
    bool& loading;
    ~Loaded() { loading = false; }
  } loaded{s.tasks_loading};
  const std::string& path = s.tasks_file_path;
  auto fail = [&] {
    s.tasks_load_failed = true;
    ShowMessage(LoadFailureText(path), MessageStyle::kCritical);
  };
  // The other processes write their pending changes first. Without that
  // notice the file may be stale, so it is not read.
  try {
    s.Notifier().NotifyBeforeLoadTasks(core::InstanceID(), s.path);
  } catch (const std::exception&) {
    return fail();
  }
  platform::FileSystem& fs = platform::Fs();
  TaskFileContents contents;
  try {
    std::string bytes;
    const platform::FolderLock reading(path, false);
    if (!fs.Exists(path)) return;
    if (!fs.ReadFile(path, &bytes).ok()) return fail();
    contents = DecodeTaskFile(bytes);
  } catch (const std::exception&) {
    return fail();  // too large for memory
  }
  list->Reserve(contents.Tasks.size());
  for (TaskFileRecord& record : contents.Tasks)
    list->Add(TaskFromRecord(std::move(record)));
  if (!contents.Complete) fail();
}

void Calendar::SaveTasks() {
  State& s = *state_;
  const std::string& path = s.tasks_file_path;
  auto fail = [&] { ShowMessage(SaveFailureText(path), MessageStyle::kCritical); };
  if (!s.tasks) return;
  // The whole file is made in memory first, so that a task that cannot be
  // written leaves the old file untouched.
  std::string bytes;
  try {
    bytes = tasks::EncodeTaskFile(*s.tasks);
  } catch (const std::exception&) {
    return fail();
  }
  const CollectionPtr<TaskPtr> written = s.tasks;
  const bool ok =
      store::ReplaceFile(path, bytes,
                         {.Commit =
                              [&] {
                                s.tasks_changed = false;
                                s.own_task_changes = false;
                                s.Notifier().NotifyTasksSaved(core::InstanceID(), s.path);
                              },
                          // A list that could not be read whole is written from what was read:
                          // its old file stays as the backup, so that nothing unread is lost.
                          .KeepBackup = s.tasks_load_failed});
  if (!ok) {
    // The file on disk is the old one again, so the list stays to be saved.
    s.tasks_changed = true;
    return fail();
  }
  s.tasks_load_failed = false;
  for (const TaskPtr& task : *written)
    task->SetChanged(false);
}

void Calendar::SaveTasksIfChanged() {
  State& s = *state_;
  if (!s.tasks) return;
  bool due = s.tasks_changed;
  for (auto it = s.tasks->begin(); !due && it != s.tasks->end(); ++it) {
    due = *it && (*it)->Changed();
  }
  if (due) SaveTasks();
}

void Calendar::AddTask(const TaskPtr& task, bool Silent) {
  if (!task) throw Error(ErrorNumber::kObjectNotSet);
  State& s = *state_;
  if (!s.tasks) LoadTasks();
  if (!Silent) task->SetID(tasks::DrawTaskID(*s.tasks));
  s.tasks->Add(task);
  s.tasks_changed = true;
  if (!Silent) s.own_task_changes = true;
  if (!Silent) s.Notifier().NotifyDoAddTask(core::InstanceID(), *task, s.path);
  RaiseTasksChange(*this);
}

void Calendar::RemoveTask(const orncal::Task& task, bool Silent) {
  State& s = *state_;
  if (!s.tasks) LoadTasks();
  Collection<TaskPtr>& list = *s.tasks;
  for (int32_t i = 1; i <= list.Count(); ++i) {
    if (list.Item(i) && list.Item(i)->ID() == task.ID()) {
      list.Remove(i);
      break;
    }
  }
  s.tasks_changed = true;
  if (!Silent) s.own_task_changes = true;
  if (!Silent) s.Notifier().NotifyDoDeleteTask(core::InstanceID(), task, s.path);
  RaiseTasksChange(*this);
}

TaskPtr Calendar::FindTaskByID(int32_t ID) {
  for (const TaskPtr& task : *IncompleteTasks()) {
    if (task && task->ID() == ID) return task;
  }
  return nullptr;
}

TaskPtr Calendar::IncompleteTaskFromID(int32_t ID) { return FindTaskByID(ID); }

TaskPtr Calendar::TaskFromRecord(TaskFileRecord record) {
  TaskPtr task = orncal::Task::New();
  task->SetCalendar(shared_from_this());
  task->SetID(record.ID);
  task->SetTitle(std::move(record.Title));
  task->SetNotes(std::move(record.Notes));
  task->SetProject(std::move(record.Project));
  task->SetDateTime(DateTimeNormal::New(record.Start, record.PlannedEnd));
  // A reminder whose month or appointment is gone is dropped.
  if (record.ReminderFile != 0) {
    task->SetRemindAppointment(FindStoredAppointment(record.ReminderFile, record.ReminderID));
  }
  return task;
}

TaskPtr Calendar::TaskFromCompletedAppointment(AppointmentPtr appointment) {
  TaskPtr task = orncal::Task::New();
  // Held for the day it is brought back into the list.
  task->SetCalendar(shared_from_this());
  task->SetCompleted(true);
  task->SetConnectedAppointment(std::move(appointment));
  return task;
}

CollectionPtr<TaskPtr> Calendar::IncompleteTasks() {
  if (!state_->tasks) LoadTasks();
  return state_->tasks;
}

CollectionPtr<TaskPtr> Calendar::IncompleteTasksInPeriod(const DateTimeNormal& Period) {
  const CollectionPtr<TaskPtr> all = IncompleteTasks();
  // The query period is asked, with the task's period as its argument.
  const DateTimeNormalPtr query = DateTimeNormal::New(Period.StartDateTime(), Period.EndDateTime());
  auto found = std::make_shared<Collection<TaskPtr>>();
  for (const TaskPtr& task : *all) {
    if (task && query->OverLapsWith(PeriodOf(*task))) found->Add(task);
  }
  return found;
}

CollectionPtr<TaskPtr> Calendar::IncompleteTasksBefore(Date DateTime) {
  const CollectionPtr<TaskPtr> all = IncompleteTasks();
  auto found = std::make_shared<Collection<TaskPtr>>();
  for (const TaskPtr& task : *all) {
    if (task && PeriodOf(*task).StartDateTime() < DateTime) found->Add(task);
  }
  return found;
}

CollectionPtr<TaskPtr> Calendar::CompleteTasksInPeriod(const DateTimeNormal& Period) {
  // Every appointment flagged calTask, invisible or not; reminders of tasks
  // carry the flag too and come along.
  const AppointmentsPtr done = QueryPeriod(Period,
                                           {.SeperateSerials = false,
                                            .AlsoAllDay = true,
                                            .OnlyAllDay = false,
                                            .UseRemindTime = false,
                                            .Flags = calTask,
                                            .NotFlags = 0,
                                            .OrFlags = 0,
                                            .NotAndFlags = 0,
                                            .RemoveDoubles = true},
                                           "");
  auto found = std::make_shared<Collection<TaskPtr>>();
  found->Reserve(static_cast<size_t>(done->Count()));
  for (const AppointmentPtr& appointment : *done)
    found->Add(TaskFromCompletedAppointment(appointment));
  return found;
}

TaskPtr Calendar::Task(const NewTaskOptions& options) {
  TaskPtr task = orncal::Task::New();
  task->SetCalendar(shared_from_this());
  if (options.SaveNow) task->NotifyChange();
  return task;
}

TaskPtr CalendarMain::Task(const NewTaskOptions& options) const {
  CalendarPtr calendar = core::SharedCalendar();
  if (!calendar) throw Error(ErrorNumber::kObjectNotSet);
  return calendar->Task(options);
}

void Calendar::SortTasks(CollectionPtr<TaskPtr>& Tasks) {
  if (!Tasks) throw Error(ErrorNumber::kObjectNotSet);
  if (Tasks->Empty()) return;
  std::vector<TaskPtr> items(Tasks->begin(), Tasks->end());
  for (const TaskPtr& task : items)
    if (!task) throw Error(ErrorNumber::kObjectNotSet);
  // The direction comes from the first task alone: planned ends ascending,
  // completions (latest first) descending.
  const bool descending = items.front()->Completed();
  std::vector<Date> ends;
  ends.reserve(items.size());
  for (const TaskPtr& task : items)
    ends.push_back(PeriodOf(*task).EndDateTime());
  auto after = [descending](Date a, Date b) { return descending ? a < b : a > b; };
  // Shell sort with the gaps ..., 40, 13, 4, 1: an element moves past
  // those before it only while they sort strictly after it.
  const size_t count = items.size();
  size_t gap = 1;
  while (gap <= count - 1)
    gap = 3 * gap + 1;
  for (gap /= 3; gap > 0; gap /= 3) {
    for (size_t i = gap; i < count; ++i) {
      TaskPtr task = std::move(items[i]);
      const Date end = ends[i];
      size_t j = i;
      for (; j >= gap && after(ends[j - gap], end); j -= gap) {
        items[j] = std::move(items[j - gap]);
        ends[j] = ends[j - gap];
      }
      items[j] = std::move(task);
      ends[j] = end;
    }
  }
  auto sorted = std::make_shared<Collection<TaskPtr>>();
  sorted->Reserve(count);
  for (TaskPtr& task : items)
    sorted->Add(std::move(task));
  Tasks = std::move(sorted);
}

}  // namespace orncal
