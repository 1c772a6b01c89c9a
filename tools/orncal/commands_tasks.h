// Tasks: task add, list, show, edit, done, undo, remove and remind.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "arguments.h"
#include "orncalendar/fwd.h"
#include "when.h"

namespace CLI {
class App;
}

namespace orncal::cli {

class CommandTable;
class Session;

// A task: an open one by its ID, a completed one by its completion
// appointment's FILE/ID.
struct TaskRef {
  int32_t ID = 0;
  std::optional<AppointmentRef> Completed;
};

struct TaskAddCommand {
  std::string Title;
  std::optional<std::string> Notes, Project;
  std::optional<When> Start, Due, Remind;
  bool Json = false;
};

struct TaskListCommand {
  // The completed tasks of [From, To) instead of the open ones.
  bool Done = false;
  Date From = 0;
  Date To = 0;
  bool Json = false;
};

struct TaskShowCommand {
  TaskRef Ref;
  bool Json = false;
};

struct TaskEditCommand {
  TaskRef Ref;
  std::optional<std::string> Title, Notes, Project;
  std::optional<When> Start, Due;
  bool Json = false;
};

struct TaskDoneCommand {
  int32_t ID = 0;
  bool Json = false;
};

struct TaskUndoCommand {
  AppointmentRef Ref;
  bool Json = false;
};

struct TaskRemoveCommand {
  TaskRef Ref;
};

struct TaskRemindCommand {
  int32_t ID = 0;
  // nullopt: no reminder any more.
  std::optional<Date> At;
};

void RegisterTaskCommands(CLI::App& app, CommandTable& table);
void Execute(Session& session, const TaskAddCommand& command);
void Execute(Session& session, const TaskListCommand& command);
void Execute(Session& session, const TaskShowCommand& command);
void Execute(Session& session, const TaskEditCommand& command);
void Execute(Session& session, const TaskDoneCommand& command);
void Execute(Session& session, const TaskUndoCommand& command);
void Execute(Session& session, const TaskRemoveCommand& command);
void Execute(Session& session, const TaskRemindCommand& command);

}  // namespace orncal::cli
