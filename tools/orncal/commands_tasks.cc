// task add, list, show, edit, done, undo, remove and remind.
#include "commands_tasks.h"

#include <memory>

#include "command_table.h"
#include "orncalendar/appointment.h"
#include "orncalendar/collection.h"
#include "orncalendar/date_time.h"
#include "orncalendar/enums.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/task.h"
#include "session.h"
#include "text.h"

namespace orncal::cli {
namespace {

constexpr std::string_view kTaskRefHelp =
    "An open task by its ID, a completed one by its FILE/ID (see 'orncal task list --done')";

TaskRef ParseTaskRef(const std::string& text) {
  if (text.find('/') != std::string::npos) return {0, ParseAppointmentRef(text)};
  return {ParseNumber(text, "TASK", INT32_MIN, INT32_MAX), std::nullopt};
}

// The completed task whose completion appointment FILE/ID names.
TaskPtr FindCompletedTask(Session& s, const AppointmentRef& ref) {
  const std::string name = FormatAppointmentRef(ref.File, ref.ID);
  const AppointmentPtr a = FindAppointmentByRef(s, ref);
  const DateTimePtr when = a->DateTime();
  if ((a->Flags() & calTask) == 0 || (a->Flags() & calOnlyRemind) != 0 || !when ||
      when->DateTimeType() != 1) {
    throw CommandError(name + " is no completed task");
  }
  const auto period = DateTimeNormal::New(when->StartDateTime() - 1, when->EndDateTime() + 1);
  const CollectionPtr<TaskPtr> completed = s.Calendar().CompleteTasksInPeriod(*period);
  for (const TaskPtr& task : *completed) {
    const AppointmentPtr connected = task->ConnectedAppointment();
    if (connected && connected->Target() == a) return task;
  }
  throw CommandError(name + " is no completed task");
}

TaskPtr FindTask(Session& s, const TaskRef& ref) {
  if (ref.Completed) return FindCompletedTask(s, *ref.Completed);
  TaskPtr task = s.Calendar().IncompleteTaskFromID(ref.ID);
  if (!task) throw CommandError("no open task " + std::to_string(ref.ID));
  return task;
}

Date ReminderOption(const std::string& text, std::string_view option) {
  const Date at = WhenOption(text, option).Value;
  if (!(at > CurrentClock().Now()))
    throw CommandError(std::string(option) + ": the moment has passed");
  return at;
}

// The open tasks by planned end, or the completed ones of a period, latest
// first (the reminders of tasks, which the query brings along, left out).
CollectionPtr<TaskPtr> ListedTasks(Session& s, const TaskListCommand& c) {
  auto tasks = std::make_shared<Collection<TaskPtr>>();
  if (c.Done) {
    const CollectionPtr<TaskPtr> completed =
        s.Calendar().CompleteTasksInPeriod(*DateTimeNormal::New(c.From, c.To));
    for (const TaskPtr& task : *completed) {
      const AppointmentPtr a = task->ConnectedAppointment();
      if (a && (a->Flags() & calOnlyRemind) == 0) tasks->Add(task);
    }
  } else {
    const CollectionPtr<TaskPtr> open = s.Calendar().IncompleteTasks();
    for (const TaskPtr& task : *open)
      tasks->Add(task);
  }
  s.Calendar().SortTasks(tasks);
  return tasks;
}

std::string RefOf(const Task& task) {
  if (!task.Completed()) return std::to_string(task.ID());
  const AppointmentPtr a = task.ConnectedAppointment();
  return a ? FormatAppointmentRef(a->File(), a->ID()) : "-";
}

void WriteDetails(Session& s, Task& task) {
  std::vector<Row> rows;
  rows.push_back({task.Completed() ? "completed task" : "task", RefOf(task)});
  rows.push_back({"title", OneLine(task.Title())});
  if (const DateTimeNormalPtr period = task.DateTime()) {
    rows.push_back({"start", FormatWhen(period->StartDateTime(), false)});
    if (task.Completed()) rows.push_back({"done", FormatWhen(period->EndDateTime(), false)});
  }
  rows.push_back({"planned end", FormatWhen(task.PlannedEnd(), false)});
  if (!task.Project().empty()) rows.push_back({"project", OneLine(task.Project())});
  if (!task.Notes().empty()) rows.push_back({"notes", OneLine(task.Notes())});
  if (!task.Completed()) {
    rows.push_back({"reminder", task.RemindAt() != 0 ? FormatWhen(task.RemindAt(), false) : "no"});
  }
  WriteAligned(rows, s.out);
}

void PrintTask(Session& s, Task& task, bool json) {
  if (json) {
    s.out << ToJsonText(TaskJson(task));
  } else {
    s.out << RefOf(task) << '\n';
  }
}

}  // namespace

void RegisterTaskCommands(CLI::App& app, CommandTable& table) {
  CLI::App* group = app.add_subcommand("task",
                                       "Tasks: add, list, show, edit, done, undo, "
                                       "remove, remind");
  group->require_subcommand(1);
  group->footer(
      "TASK (the JSON of a task): id (0 for a completed one), completed, title, notes, "
      "project, start, planned_end, completed_at (null unless completed), remind_at (null "
      "without reminder), appointment_file and appointment_id (the reminder appointment of an "
      "open task, the completion appointment of a completed one; 0 for none). Dates are OLE "
      "dates.");
  // task add
  {
    CLI::App* add = group->add_subcommand("add", "A new task; prints its ID");
    struct Args {
      std::string title, notes, project, start, due, remind;
      bool json = false;
    };
    auto a = std::make_shared<Args>();
    add->add_option("TITLE", a->title, "The title")->required();
    add->add_option("--start", a->start, "When it starts, a WHEN (default now)")->type_name("WHEN");
    add->add_option("--due", a->due, "The planned end, a WHEN (default the start)")
        ->type_name("WHEN");
    add->add_option("--notes", a->notes, "Notes");
    add->add_option("--project", a->project, "A project, free text");
    add->add_option("--remind", a->remind, "Remind of it at this moment")->type_name("WHEN");
    add->add_flag("--json", a->json, "Print its TASK (see 'orncal help task')");
    table.Add(add, [a, add] {
      TaskAddCommand c;
      c.Title = a->title;
      if (add->count("--notes") > 0) c.Notes = a->notes;
      if (add->count("--project") > 0) c.Project = a->project;
      if (add->count("--start") > 0) c.Start = WhenOption(a->start, "--start");
      if (add->count("--due") > 0) c.Due = WhenOption(a->due, "--due");
      const Date start = c.Start ? c.Start->Value : CurrentClock().Now();
      if (c.Due && c.Due->Value < start)
        throw CommandError("--due: the task ends before it starts");
      if (add->count("--remind") > 0) c.Remind = When{ReminderOption(a->remind, "--remind"), true};
      c.Json = a->json;
      return c;
    });
  }
  // task list
  {
    CLI::App* list = group->add_subcommand("list",
                                           "The open tasks by planned end, or the "
                                           "completed ones");
    struct Args {
      std::string from, to;
      bool done = false, json = false;
    };
    auto a = std::make_shared<Args>();
    list->add_flag("--done", a->done, "The tasks completed in [from, to), latest first");
    list->add_option("--from", a->from, "With --done: from (default 30 days ago)")
        ->type_name("WHEN");
    list->add_option("--to", a->to, "With --done: to (default tomorrow)")->type_name("WHEN");
    list->add_flag("--json", a->json, "Print {\"tasks\": [TASK, ...]} (see 'orncal help task')");
    list->footer(
        "Without --json: ID (FILE/ID of a completed task), planned end, title, "
        "project, reminder.");
    table.Add(list, [a, list] {
      TaskListCommand c;
      c.Done = a->done;
      if (!c.Done && (list->count("--from") > 0 || list->count("--to") > 0)) {
        throw CommandError("task list: --from and --to go with --done");
      }
      const Date today = DayPart(CurrentClock().Now());
      c.From = list->count("--from") > 0 ? WhenOption(a->from, "--from").Value : today - 30;
      c.To = list->count("--to") > 0 ? WhenOption(a->to, "--to").Value : today + 1;
      if (c.To < c.From) throw CommandError("--to: the period ends before it starts");
      c.Json = a->json;
      return c;
    });
  }
  // task show
  {
    CLI::App* show = group->add_subcommand("show", "One task with all its fields");
    struct Args {
      std::string ref;
      bool json = false;
    };
    auto a = std::make_shared<Args>();
    show->add_option("TASK", a->ref, std::string(kTaskRefHelp))->required();
    show->add_flag("--json", a->json, "Print its TASK");
    table.Add(show, [a] { return TaskShowCommand{ParseTaskRef(a->ref), a->json}; });
  }
  // task edit
  {
    CLI::App* edit = group->add_subcommand("edit", "Change a task");
    struct Args {
      std::string ref, title, notes, project, start, due;
      bool json = false;
    };
    auto a = std::make_shared<Args>();
    edit->add_option("TASK", a->ref, std::string(kTaskRefHelp))->required();
    edit->add_option("--title", a->title, "The new title");
    edit->add_option("--notes", a->notes, "Notes");
    edit->add_option("--project", a->project, "A project");
    edit->add_option("--start", a->start, "When it starts (open tasks only)")->type_name("WHEN");
    edit->add_option("--due", a->due, "The planned end")->type_name("WHEN");
    edit->add_flag("--json", a->json, "Print its TASK instead of its ID");
    table.Add(edit, [a, edit] {
      TaskEditCommand c;
      c.Ref = ParseTaskRef(a->ref);
      const auto text = [&](const char* option, const std::string& value,
                            std::optional<std::string>& field) {
        if (edit->count(option) > 0) field = value;
      };
      text("--title", a->title, c.Title);
      text("--notes", a->notes, c.Notes);
      text("--project", a->project, c.Project);
      if (edit->count("--start") > 0) c.Start = WhenOption(a->start, "--start");
      if (edit->count("--due") > 0) c.Due = WhenOption(a->due, "--due");
      if (!c.Title && !c.Notes && !c.Project && !c.Start && !c.Due) {
        throw CommandError(
            "task edit: nothing to change; give --title, --notes, --project, "
            "--start or --due");
      }
      if (c.Start && c.Ref.Completed) {
        throw CommandError("--start: a completed task keeps its times");
      }
      c.Json = a->json;
      return c;
    });
  }
  // task done
  {
    CLI::App* done = group->add_subcommand(
        "done", "Complete an open task; prints the FILE/ID it is then known by");
    struct Args {
      std::string id;
      bool json = false;
    };
    auto a = std::make_shared<Args>();
    done->add_option("ID", a->id, "The open task")->required();
    done->add_flag("--json", a->json, "Print its TASK");
    table.Add(done, [a] {
      return TaskDoneCommand{ParseNumber(a->id, "ID", INT32_MIN, INT32_MAX), a->json};
    });
  }
  // task undo
  {
    CLI::App* undo =
        group->add_subcommand("undo", "Open a completed task again; prints its new ID");
    struct Args {
      std::string ref;
      bool json = false;
    };
    auto a = std::make_shared<Args>();
    undo->add_option("FILE/ID", a->ref, "The completed task, as done printed it")->required();
    undo->add_flag("--json", a->json, "Print its TASK");
    table.Add(undo, [a] { return TaskUndoCommand{ParseAppointmentRef(a->ref), a->json}; });
  }
  // task remove
  {
    CLI::App* remove = group->add_subcommand("remove", "Remove a task (with its reminder)");
    auto ref = std::make_shared<std::string>();
    remove->add_option("TASK", *ref, std::string(kTaskRefHelp))->required();
    table.Add(remove, [ref] { return TaskRemoveCommand{ParseTaskRef(*ref)}; });
  }
  // task remind
  {
    CLI::App* remind = group->add_subcommand("remind",
                                             "Give an open task a reminder, move it, "
                                             "or (with off) take it away");
    struct Args {
      std::string id, at;
    };
    auto a = std::make_shared<Args>();
    remind->add_option("ID", a->id, "The open task")->required();
    remind->add_option("WHEN", a->at, "The moment, or off")->required();
    table.Add(remind, [a] {
      TaskRemindCommand c{ParseNumber(a->id, "ID", INT32_MIN, INT32_MAX), std::nullopt};
      if (LowerAscii(a->at) != "off") c.At = ReminderOption(a->at, "WHEN");
      return c;
    });
  }
}

void Execute(Session& s, const TaskAddCommand& c) {
  TaskPtr task = s.Calendar().Task({.SaveNow = false});
  task->SetTitle(c.Title);
  if (c.Notes) task->SetNotes(*c.Notes);
  if (c.Project) task->SetProject(*c.Project);
  const Date start = c.Start ? c.Start->Value : CurrentClock().Now();
  task->SetDateTime(DateTimeNormal::New(start, c.Due ? c.Due->Value : start));
  // The first NotifyChange puts it into the list with a new ID.
  task->NotifyChange();
  if (c.Remind) task->SetRemindAt(c.Remind->Value);
  s.Save();
  s.WarnUnstorable(
      {{"title", c.Title}, {"notes", c.Notes.value_or("")}, {"project", c.Project.value_or("")}});
  PrintTask(s, *task, c.Json);
}

void Execute(Session& s, const TaskListCommand& c) {
  const CollectionPtr<TaskPtr> tasks = ListedTasks(s, c);
  if (c.Json) {
    JsonWriter writer(s.out);
    writer.BeginArray("tasks");
    for (const TaskPtr& task : *tasks)
      writer.Item(TaskJson(*task));
    writer.EndArray();
    writer.End();
    return;
  }
  if (tasks->Count() == 0) {
    s.out << (c.Done ? "no completed tasks\n" : "no open tasks\n");
    return;
  }
  std::vector<Row> rows;
  if (c.Done) {
    rows.push_back({"FILE/ID", "DONE", "PLANNED END", "TITLE", "PROJECT"});
  } else {
    rows.push_back({"ID", "PLANNED END", "TITLE", "PROJECT", "REMINDER"});
  }
  for (const TaskPtr& task : *tasks) {
    if (c.Done) {
      const DateTimeNormalPtr period = task->DateTime();
      rows.push_back({RefOf(*task), period ? FormatWhen(period->EndDateTime(), false) : "-",
                      FormatWhen(task->PlannedEnd(), false), OneLine(task->Title()),
                      OneLine(task->Project())});
    } else {
      rows.push_back({RefOf(*task), FormatWhen(task->PlannedEnd(), false), OneLine(task->Title()),
                      OneLine(task->Project()),
                      task->RemindAt() != 0 ? FormatWhen(task->RemindAt(), false) : ""});
    }
  }
  WriteAligned(rows, s.out);
}

void Execute(Session& s, const TaskShowCommand& c) {
  const TaskPtr task = FindTask(s, c.Ref);
  if (c.Json) {
    s.out << ToJsonText(TaskJson(*task));
  } else {
    WriteDetails(s, *task);
  }
}

void Execute(Session& s, const TaskEditCommand& c) {
  const TaskPtr task = FindTask(s, c.Ref);
  if (c.Title) task->SetTitle(*c.Title);
  if (c.Notes) task->SetNotes(*c.Notes);
  if (c.Project) task->SetProject(*c.Project);
  if (task->Completed()) {
    if (c.Due) task->SetPlannedEnd(c.Due->Value);
  } else if (c.Start || c.Due) {
    const DateTimeNormalPtr period = task->DateTime();
    const Date start = c.Start ? c.Start->Value : period->StartDateTime();
    const Date due = c.Due ? c.Due->Value : period->EndDateTime();
    if (due < start) throw CommandError("task edit: the task would end before it starts");
    task->SetDateTime(DateTimeNormal::New(start, due));
  }
  task->NotifyChange();
  s.Save();
  s.WarnUnstorable({{"title", c.Title.value_or("")},
                    {"notes", c.Notes.value_or("")},
                    {"project", c.Project.value_or("")}});
  PrintTask(s, *task, c.Json);
}

void Execute(Session& s, const TaskDoneCommand& c) {
  const TaskPtr task = FindTask(s, {c.ID, std::nullopt});
  task->Complete();
  s.Save();
  PrintTask(s, *task, c.Json);
}

void Execute(Session& s, const TaskUndoCommand& c) {
  const TaskPtr task = FindCompletedTask(s, c.Ref);
  task->InComplete();
  s.Save();
  PrintTask(s, *task, c.Json);
}

void Execute(Session& s, const TaskRemoveCommand& c) {
  FindTask(s, c.Ref)->Remove();
  s.Save();
}

void Execute(Session& s, const TaskRemindCommand& c) {
  FindTask(s, {c.ID, std::nullopt})->SetRemindAt(c.At.value_or(0));
  s.Save();
}

}  // namespace orncal::cli
