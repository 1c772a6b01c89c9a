// What orncal prints: appointments, month-file records and task-file
// records as JSON or as a readable table.
#pragma once

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "orncalendar/fwd.h"
#include "orncalendar/month_file.h"
#include "orncalendar/task_file.h"

namespace orncal::cli {

using Json = nlohmann::ordered_json;

// A double in the shortest form that reads back as the same value
// ("39582.4375", "39582", "0.1", "1e-05").
std::string ShortestNumber(double value);

// JSON text, indented by two spaces. Floating-point numbers are written in
// their shortest round-trip form, non-finite ones as null; strings are
// taken as UTF-8, invalid bytes replaced.
std::string ToJsonText(const Json& value);

// The fields of a recurring period: start, end, series_start, series_end,
// mode, m, n, in_month, weekdays, eternal.
Json SeriesJson(const DateTimeSerial& series);

// One entry of a query result: its identity, texts, switches, its period
// (a part's own occurrence), the recurring period it belongs to (or null)
// and its tags as [name, type, data] triples.
Json EntryJson(Appointment& entry);

// {"appointments": [entry, ...]} in the list's order, indented like
// ToJsonText, written entry by entry so that a long answer is not held
// twice in memory.
void WriteListJson(const Appointments& list, std::ostream& out);

// One record of a month file as stored: a real appointment with its fields
// and period (a recurring one with the series fields, in the record and
// under "series"), or a link with its destination's file and number.
Json RecordJson(Appointment& record);

// {"version": V, "records": [record, ...]}.
Json DumpJson(const MonthFileContents& contents);

// {"version": V, "tasks": [{"id", "title", "notes", "project", "start",
// "planned_end", "reminder_file", "reminder_id"}, ...]}.
Json TaskDumpJson(const TaskFileContents& contents);

// A date as "YYYY-MM-DD HH:MM", or "YYYY-MM-DD" alone with `dateOnly`; a
// value outside the dates the calendar knows as "ole:" and the number.
std::string FormatWhen(Date date, bool dateOnly);

// One aligned line per entry: start, end, title, flags. All-day entries
// show their first and last day; a recurring period its first start and
// last end (an open end as "open"). An empty list is "no appointments".
void WriteAppointmentTable(const Appointments& list, std::ostream& out);

// The version, then one aligned line per record: real appointments like
// the entries above, links with the month and number they point at.
void WriteRecordTable(const MonthFileContents& contents, std::ostream& out);

// The version, then one aligned line per task: its ID, start, planned end,
// title and the month and number of its reminder.
void WriteTaskTable(const TaskFileContents& contents, std::ostream& out);

}  // namespace orncal::cli
