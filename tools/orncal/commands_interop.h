// The calendar beyond this data folder: export and import of iCalendar
// files and sync with a CalDAV collection.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "orncalendar/fwd.h"

namespace CLI {
class App;
}

namespace orncal::cli {

class CommandTable;
class Session;

struct ExportCommand {
  // A file, or "-" for stdout.
  std::string File;
  // The period whose days series without a rule are written with.
  std::optional<Date> From, To;
};

struct ImportCommand {
  // A file, or "-" for stdin.
  std::string File;
  // Recurrences no series describes become appointments this many years
  // around today.
  int32_t HorizonYears = 2;
  bool DryRun = false;
};

struct SyncCommand {
  std::string Url;
  std::string User;
  // The password comes from this file (its first line), else from the
  // environment (kPasswordVariable); never from the command line.
  std::string PasswordFile;
  // Make the collection when the server has none at the URL.
  bool Create = false;
};

inline constexpr const char* kPasswordVariable = "ORNCAL_SYNC_PASSWORD";

void RegisterInteropCommands(CLI::App& app, CommandTable& table);
// Builds without the iCalendar library say so when these run.
void Execute(Session& session, const ExportCommand& command);
void Execute(Session& session, const ImportCommand& command);
void Execute(Session& session, const SyncCommand& command);

}  // namespace orncal::cli
