// What orncal prints: appointments, tasks, month-file and task-file records
// as JSON or as readable tables, and the styles of a terminal.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "orncalendar/fwd.h"
#include "orncalendar/month_file.h"
#include "orncalendar/task_file.h"

namespace orncal::cli {

using Json = nlohmann::ordered_json;

// ---------------------------------------------------------------- JSON

// A double for JSON: null when it is not finite, a whole number below 2^53
// as an integer (39582, not 39582.0), anything else as the shortest text
// that reads back as the same value.
Json Number(double value);

// JSON text, indented by two spaces, with a line break at the end. Strings
// are taken as UTF-8, invalid bytes replaced.
std::string ToJsonText(const Json& value);

// One JSON object written member by member, so that a long array in it
// (a query over many years) is never held whole: the items are written as
// they come. Indented like ToJsonText.
class JsonWriter {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}
  void Member(std::string_view key, const Json& value);
  void BeginArray(std::string_view key);
  void Item(const Json& value);
  void EndArray();
  // Closes the object.
  void End();

 private:
  void Key(std::string_view key);
  std::ostream& out_;
  bool first_member_ = true;
  bool first_item_ = true;
};

// The fields of a recurring period: start, end, series_start, series_end,
// mode, m, n, in_month, weekdays, eternal.
Json SeriesJson(const DateTimeSerial& series);

// One entry of a query result (ENTRY): its identity, texts, switches, its
// period (a part's own occurrence), the recurring period it belongs to (or
// null) and its tags as [name, type, data] triples.
Json EntryJson(Appointment& entry);

// {"appointments": [ENTRY, ...]} in the list's order, written entry by
// entry.
void WriteListJson(const Appointments& list, std::ostream& out);

// A task (TASK): id (0 for a completed one), completed, title, notes,
// project, start, planned_end, completed_at (null unless completed),
// remind_at (null without reminder), appointment_file and appointment_id
// (its reminder appointment, or its completion appointment; 0 for none).
Json TaskJson(Task& task);

// One record of a month file as stored: a real appointment with its fields
// and period (a recurring one with the series fields, in the record and
// under "series"), or a link with its destination's file and number.
Json RecordJson(Appointment& record);

// {"version": V, "records": [record, ...]}.
Json DumpJson(const MonthFileContents& contents);

// {"version": V, "tasks": [{"id", "title", "notes", "project", "start",
// "planned_end", "reminder_file", "reminder_id"}, ...]}.
Json TaskDumpJson(const TaskFileContents& contents);

// ---------------------------------------------------------------- text

// A date as "YYYY-MM-DD HH:MM", or "YYYY-MM-DD" alone with `dateOnly`; a
// value outside the dates the calendar knows as "ole:" and the number.
std::string FormatWhen(Date date, bool dateOnly);
// "HH:MM" of a date's time of day.
std::string FormatTime(Date date);
// "Mon" ... "Sun".
std::string_view WeekdayName(Date date);

// Columns separated by two spaces, each as wide as its widest cell; the
// last cell of a line is not padded.
using Row = std::vector<std::string>;
void WriteAligned(const std::vector<Row>& rows, std::ostream& out);

// The start and end cells of an appointment's period. An all-day period
// shows its first and last day; a recurring one its first start and last
// end (an open end as "open").
std::pair<std::string, std::string> PeriodCells(Appointment& a);

// One aligned line per entry: start, end, title, flags. An empty list is
// "no appointments".
void WriteAppointmentTable(const Appointments& list, std::ostream& out);

// The version, then one aligned line per record: real appointments like
// the entries above, links with the month and number they point at.
void WriteRecordTable(const MonthFileContents& contents, std::ostream& out);

// The version, then one aligned line per task: its ID, start, planned end,
// title and the month and number of its reminder.
void WriteTaskTable(const TaskFileContents& contents, std::ostream& out);

// How text is marked on a terminal: ANSI escapes when enabled, the plain
// text otherwise.
struct Style {
  bool Enabled = false;
  // 24-bit colours; else the nearest of the 256-colour palette.
  bool TrueColor = false;

  // The text in an automation colour (0x00BBGGRR); plain for -1 or any
  // value that is no colour.
  std::string Colored(std::string_view text, int32_t color) const;
  std::string Bold(std::string_view text) const;
  std::string Reverse(std::string_view text) const;
};

}  // namespace orncal::cli
