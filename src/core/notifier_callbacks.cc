#include "core/notifier_callbacks.h"

#include "core/calendar_state.h"
#include "core/shared_calendar.h"
#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/file.h"
#include "orncalendar/notificator.h"
#include "orncalendar/task.h"

namespace orncal::core {
namespace {

using protocol::Kind;

// The month in the cache, or nullptr; a month is never loaded for a
// message about it.
FilePtr Cached(Calendar& calendar, int32_t fileLong) {
  return calendar.GetMonthFile(MonthRef{.Key = std::to_string(fileLong), .FileLong = fileLong},
                               {.OnlyLoaded = true});
}

// The task list when it is loaded and not being read right now.
CollectionPtr<TaskPtr> ListedTasks(Calendar::State& s) {
  return s.tasks_loading ? nullptr : s.tasks;
}

TaskPtr ListedTask(const Collection<TaskPtr>& list, int32_t id) {
  for (const TaskPtr& task : list) {
    if (task && task->ID() == id) return task;
  }
  return nullptr;
}

void RaiseTasksChange(Calendar& calendar) {
  if (NotificatorPtr events = calendar.Notificator()) events->RaiseTasksChange();
}

// An appointment of another process that is filed here under another
// number takes that number.
void Translate(Calendar::State& s, const protocol::Message& m, bool forget) {
  const auto it = s.renumbered.find({m.instance, m.file_long, m.appointment->ID()});
  if (it == s.renumbered.end()) return;
  m.appointment->SetID(it->second);
  if (forget) s.renumbered.erase(it);
}

// The other process changed an appointment in place: its data, Project
// included, replaces this process's copy.
void ApplyChange(Calendar& calendar, const protocol::Message& m) {
  const FilePtr file = Cached(calendar, m.file_long);
  const AppointmentsPtr list = file ? file->Appointments() : nullptr;
  const AppointmentPtr entry = list ? list->ItemByID(m.appointment->ID()) : nullptr;
  auto real = std::dynamic_pointer_cast<AppointmentReal>(entry);
  if (!real) return;
  real->CopyFrom(*m.appointment);
  real->SetProject(m.appointment->Project());
  calendar.Internal().reach.PeriodsChanged();
}

}  // namespace

bool Receive(Calendar& calendar, const protocol::Message& m) {
  if (m.instance == InstanceID() || m.path != calendar.Path()) return false;
  Calendar::State& s = calendar.Internal();
  switch (m.kind) {
    case Kind::kAnythingChanged:
      if (s.notificator) s.notificator->RaiseChange({.AllInstances = false});
      break;
    case Kind::kBeforeLoadFile:
      try {
        if (FilePtr file = Cached(calendar, m.file_long)) file->NewLoaded();
      } catch (const std::exception&) {
      }
      break;
    case Kind::kBeforeLoadTasks:
      // A list being read here has nothing of its own to write yet.
      if (ListedTasks(s)) calendar.SaveTasksIfChanged();
      break;
    case Kind::kCategoriesChanged:
      calendar.DropCategories();
      break;
    case Kind::kDoAddTask:
      if (CollectionPtr<TaskPtr> list = ListedTasks(s)) {
        TaskPtr task = calendar.TaskFromRecord(m.task);
        // Read from the file already (it was saved before this process
        // read it): brought up to date instead of listed twice.
        if (TaskPtr listed = ListedTask(*list, m.task.ID)) {
          listed->CopyFrom(*task);
          RaiseTasksChange(calendar);
        } else {
          calendar.AddTask(task, true);
        }
      }
      break;
    case Kind::kDoChange:
      try {
        Translate(s, m, false);
        ApplyChange(calendar, m);
      } catch (const std::exception&) {
      }
      break;
    case Kind::kDoChangeTask:
      if (CollectionPtr<TaskPtr> list = ListedTasks(s)) {
        if (TaskPtr listed = ListedTask(*list, m.task.ID)) {
          listed->CopyFrom(*calendar.TaskFromRecord(m.task));
          RaiseTasksChange(calendar);
        }
      }
      break;
    case Kind::kDoDelete:
      Translate(s, m, true);
      calendar.DetachAppointment(m.appointment, true);
      break;
    case Kind::kDoDeleteTask:
      if (ListedTasks(s)) {
        TaskPtr gone = Task::New();
        gone->SetID(m.task.ID);
        calendar.RemoveTask(*gone, true);
      }
      break;
    case Kind::kDoWrite: {
      AppointmentPtr appointment = m.appointment;
      const int32_t theirs = appointment->ID();
      calendar.AttachAppointment(appointment, true);
      if (appointment->File() == m.file_long && appointment->ID() != theirs) {
        s.renumbered[{m.instance, m.file_long, theirs}] = appointment->ID();
      }
      break;
    }
    case Kind::kNewLoaded:
      // Before they are read here there is nothing of this process's to write.
      if (s.special_loaded) calendar.WriteSpecialRemindTimes();
      break;
    case Kind::kSaved:
      if (FilePtr file = Cached(calendar, m.file_long)) file->ResetChanged();
      s.own_changes.erase(m.file_long);
      break;
    case Kind::kSRTChanged:
      calendar.LoadSpecialRemindTimes();
      break;
    case Kind::kTasksSaved:
      calendar.SetTasksChanged(false);
      s.own_task_changes = false;
      if (CollectionPtr<TaskPtr> list = ListedTasks(s)) {
        for (const TaskPtr& task : *list)
          if (task) task->SetChanged(false);
      }
      RaiseTasksChange(calendar);
      break;
    case Kind::kFlush:
      break;
  }
  return true;
}

void CatchUp(Calendar& calendar) {
  Calendar::State& s = calendar.Internal();
  // Months are read again when next used, but for those holding changes
  // of this process's own not written yet (what it applied of the others'
  // changes, the others hold as well, and write before the month is read).
  // The links of the months kept are bound again, to the appointments read
  // anew.
  auto kept = std::make_shared<Collection<FilePtr>>();
  for (const FilePtr& file : *s.files) {
    if (!file || !s.own_changes.count(file->FileLong())) continue;
    kept->Add(file, std::to_string(file->FileLong()));
    if (const AppointmentsPtr list = file->Appointments()) {
      for (const AppointmentPtr& entry : *list) {
        if (entry->AppointmentType() != 2) continue;
        if (auto* link = dynamic_cast<AppointmentLink*>(entry.get())) link->SetDestination(nullptr);
      }
    }
    file->SetLinksResolved(false);
  }
  s.files = kept;
  std::erase_if(s.own_filed,
                [&](const auto& filed) { return !kept->Exists(std::to_string(filed.first)); });
  s.reach.Clear();
  calendar.ScanMonthFiles();
  for (const FilePtr& file : *kept) {
    const std::string key = std::to_string(file->FileLong());
    if (!s.all_files->Exists(key)) s.all_files->Add(file->FileLong(), key);
  }
  if (s.tasks && !s.tasks_loading && !s.own_task_changes) {
    s.tasks = nullptr;
    s.tasks_changed = false;
  }
  calendar.DropCategories();
  calendar.LoadSpecialRemindTimes();
  if (s.notificator) {
    s.notificator->RaiseChange({.AllInstances = false});
    s.notificator->RaiseTasksChange();
  }
}

}  // namespace orncal::core
