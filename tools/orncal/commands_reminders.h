// Reminders and watching: remind (what falls due, once or again and
// again), watch (the changes other processes make) and the extra
// reminders, special-remind add, list and remove.
#pragma once

#include <cstdint>
#include <optional>

#include "arguments.h"
#include "orncalendar/fwd.h"

namespace CLI {
class App;
}

namespace orncal::cli {

class CommandTable;
class Session;

struct RemindCommand {
  // Poll as if the clock stood here (nothing is written then).
  std::optional<Date> At;
  // Poll every so many seconds until interrupted; 0 = once.
  int32_t WatchSeconds = 0;
  bool Json = false;
};

struct WatchCommand {
  bool Json = false;
};

struct SpecialRemindAddCommand {
  AppointmentRef Ref;
  Date At = 0;
};

struct SpecialRemindListCommand {
  bool Json = false;
};

struct SpecialRemindRemoveCommand {
  AppointmentRef Ref;
  // Only the reminder at this moment; nullopt: all of the appointment's.
  std::optional<Date> At;
};

void RegisterReminderCommands(CLI::App& app, CommandTable& table);
void Execute(Session& session, const RemindCommand& command);
void Execute(Session& session, const WatchCommand& command);
void Execute(Session& session, const SpecialRemindAddCommand& command);
void Execute(Session& session, const SpecialRemindListCommand& command);
void Execute(Session& session, const SpecialRemindRemoveCommand& command);

// From WatchSignals on, SIGINT and SIGTERM end a watch: WaitAndProcess
// returns false once one came.
void WatchSignals();
// Waits up to `seconds`, handling the changes of other processes as they
// arrive (through the calendar's notification descriptor); false when a
// stop signal came.
bool WaitAndProcess(Calendar& calendar, double seconds);

}  // namespace orncal::cli
