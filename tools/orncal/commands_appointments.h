// Creating and changing appointments: add, add-series, show, edit, move,
// delete, and find.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "arguments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/enums.h"
#include "when.h"

namespace CLI {
class App;
}

namespace orncal::cli {

class CommandTable;
class Session;

// The fields add, add-series and edit set; what is not given stays.
struct AppointmentFields {
  std::optional<std::string> Title, Notes, Category, Project;
  std::optional<int32_t> Flags;
  // Remind at this offset in seconds from the start; or, with RemindOff,
  // not at all.
  std::optional<int32_t> RemindAt;
  bool RemindOff = false;
};

struct AddCommand {
  AppointmentFields Fields;
  When Start;
  std::optional<When> End;
  bool AllDay = false;
  bool Json = false;
};

struct AddSeriesCommand {
  AppointmentFields Fields;
  calRepetitionModes Mode = calDaily;
  // The first and (unless Eternal) last day.
  Date From = 0;
  Date Until = 0;
  bool Eternal = false;
  // The times of an occurrence, offsets from its day (all-day: 0 to 1).
  TimeRange Times;
  bool AllDay = false;
  int32_t n = 1, m = 0, InMonth = 0, Weekdays = 0;
  bool Json = false;
};

struct ShowCommand {
  AppointmentRef Ref;
  bool Json = false;
};

struct EditCommand {
  AppointmentRef Ref;
  AppointmentFields Fields;
  bool Force = false;
  bool Json = false;
};

struct MoveCommand {
  AppointmentRef Ref;
  When Start;
  std::optional<When> End;
  bool Force = false;
  bool Json = false;
};

struct DeleteCommand {
  AppointmentRef Ref;
  bool Force = false;
};

struct FindCommand {
  std::string Title;
  FindOptions Options{};
  bool Json = false;
};

// The repetition modes by their names on the command line, in the order of
// their numbers (daily = 1 ... weekday-in-year-month = 8).
inline constexpr const char* kModeNames[] = {
    "daily",      "weekly",           "monthly",         "yearly",
    "yearly-day", "weekday-in-month", "weekday-in-year", "weekday-in-year-month"};

void RegisterAppointmentCommands(CLI::App& app, CommandTable& table);
void Execute(Session& session, const AddCommand& command);
void Execute(Session& session, const AddSeriesCommand& command);
void Execute(Session& session, const ShowCommand& command);
void Execute(Session& session, const EditCommand& command);
void Execute(Session& session, const MoveCommand& command);
void Execute(Session& session, const DeleteCommand& command);
void Execute(Session& session, const FindCommand& command);

// The appointment FILE/ID names: a link is followed to its appointment.
// CommandError when there is none.
AppointmentPtr FindAppointmentByRef(Session& session, const AppointmentRef& ref);

}  // namespace orncal::cli
