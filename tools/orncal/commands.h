// orncal's command line:
//
//   orncal [--data-home DIR] COMMAND [ARGS...]
//   orncal help [COMMAND]     orncal --version     orncal [COMMAND] --help
//
// The commands come in families (commands_*.h). Every argument is checked
// while the line is read, before the calendar starts, so a bad argument
// changes nothing. Exit status 0 on success, 1 on a usage error or a failed
// operation, with one line on stderr.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <variant>

#include "arguments.h"
#include "commands_appointments.h"
#include "commands_categories.h"
#include "commands_files.h"
#include "commands_interop.h"
#include "commands_reminders.h"
#include "commands_tasks.h"
#include "commands_views.h"
#include "output.h"

namespace orncal::cli {

using Command =
    std::variant<ListCommand, AgendaCommand, MonthCommand, AddCommand, AddSeriesCommand,
                 ShowCommand, EditCommand, MoveCommand, DeleteCommand, FindCommand, TaskAddCommand,
                 TaskListCommand, TaskShowCommand, TaskEditCommand, TaskDoneCommand,
                 TaskUndoCommand, TaskRemoveCommand, TaskRemindCommand, CategoryAddCommand,
                 CategoryListCommand, CategoryColorCommand, CategoryRemoveCommand, RemindCommand,
                 WatchCommand, SpecialRemindAddCommand, SpecialRemindListCommand,
                 SpecialRemindRemoveCommand, DumpCommand, CheckCommand, DemoCommand, ExportCommand,
                 ImportCommand, SyncCommand>;

struct CommandLine {
  // The application-data folder to use, as given; nullopt when not given.
  std::optional<std::string> DataHome;
  std::optional<Command> Run;
  // Not empty when help or the version was asked for: print it and do
  // nothing else.
  std::string Help;
};

// Reads the arguments (argv[0] is the program's name), relative dates by
// the library's clock. CommandError for a usage error.
CommandLine ParseCommandLine(int argc, const char* const* argv);

// The environment variable that sets the clock for orncal alone: a WHEN
// (absolute), from which the clock runs on. Meant for tests and
// demonstrations.
inline constexpr const char* kNowVariable = "ORNCAL_NOW";

// The whole program: parses, starts the calendar when a command needs it,
// runs the command and returns the exit status. `style` is how stdout
// shows colours. Never throws.
int Run(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
        const Style& style = {});

}  // namespace orncal::cli
