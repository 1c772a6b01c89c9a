// Reading the calendar: list (the period query as it stands), agenda (the
// coming days for people) and month (a month's grid).
#pragma once

#include <cstdint>

#include "orncalendar/calendar.h"

namespace CLI {
class App;
}

namespace orncal::cli {

class CommandTable;
class Session;

// `list`: the query period [From, To) with the switches of the query.
struct ListCommand {
  Date From = 0;
  Date To = 0;
  QueryOptions Options{};
  bool Sort = false;
  bool Json = false;
};

// `agenda`: Days days from the day of From.
struct AgendaCommand {
  Date From = 0;
  int32_t Days = 7;
  bool Json = false;
};

// `month`: the grid of one month.
struct MonthCommand {
  int32_t Year = 0;
  int32_t Month = 0;
  bool Json = false;
};

void RegisterViewCommands(CLI::App& app, CommandTable& table);
void Execute(Session& session, const ListCommand& command);
void Execute(Session& session, const AgendaCommand& command);
void Execute(Session& session, const MonthCommand& command);

}  // namespace orncal::cli
