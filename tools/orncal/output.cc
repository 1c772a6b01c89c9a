#include "output.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <vector>

#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/ole_date.h"

namespace orncal::cli {
namespace {

std::string Scalar(const Json& value) {
  if (value.is_number_float()) {
    const double d = value.get<double>();
    return std::isfinite(d) ? ShortestNumber(d) : "null";
  }
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

bool AllScalars(const Json& array) {
  for (const Json& item : array)
    if (item.is_structured()) return false;
  return true;
}

void Write(const Json& value, size_t indent, std::string& out) {
  if (!value.is_structured()) {
    out += Scalar(value);
    return;
  }
  const bool object = value.is_object();
  if (value.empty()) {
    out += object ? "{}" : "[]";
    return;
  }
  // Short lists such as a tag triple stay on one line.
  if (!object && AllScalars(value)) {
    out += '[';
    for (size_t i = 0; i < value.size(); ++i) {
      if (i > 0) out += ", ";
      out += Scalar(value[i]);
    }
    out += ']';
    return;
  }
  out += object ? "{\n" : "[\n";
  bool first = true;
  for (auto it = value.begin(); it != value.end(); ++it) {
    if (!first) out += ",\n";
    first = false;
    out.append(indent + 2, ' ');
    if (object) {
      out += Scalar(Json(it.key()));
      out += ": ";
    }
    Write(it.value(), indent + 2, out);
  }
  out += '\n';
  out.append(indent, ' ');
  out += object ? '}' : ']';
}

Json NumberOrNull(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }

Json TagsJson(Appointment& a) {
  Json tags = Json::array();
  const int32_t count = a.TagsCount();
  for (int32_t i = 1; i <= count; ++i)
    tags.push_back(Json::array({a.TagName(i), a.TagType(i), a.TagData(i)}));
  return tags;
}

// The recurring period an entry belongs to: its own period when that
// recurs, else (for a part) its series appointment's.
DateTimeSerialPtr SeriesOf(Appointment& entry) {
  if (DateTimePtr when = entry.DateTime()) {
    if (DateTimeSerialPtr series = when->Series()) return series;
  }
  if (entry.AppointmentType() == 3) {
    if (AppointmentPtr owner = entry.Series()) {
      if (DateTimePtr when = owner->DateTime()) return when->Series();
    }
  }
  return nullptr;
}

// ---------------------------------------------------------------- tables

// Columns are measured in characters, not bytes.
size_t Width(std::string_view text) {
  size_t width = 0;
  for (char c : text)
    width += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return width;
}

// Line breaks and other control characters would break the one line per
// entry.
std::string OneLine(std::string_view text) {
  std::string line(text);
  for (char& c : line)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  return line;
}

using Row = std::vector<std::string>;

void WriteAligned(const std::vector<Row>& rows, std::ostream& out) {
  std::vector<size_t> widths;
  for (const Row& row : rows) {
    if (widths.size() < row.size()) widths.resize(row.size(), 0);
    for (size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], Width(row[i]));
  }
  for (const Row& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      if (i > 0) line += "  ";
      line += row[i];
      if (i + 1 < row.size()) line.append(widths[i] - Width(row[i]), ' ');
    }
    while (!line.empty() && line.back() == ' ')
      line.pop_back();
    out << line << '\n';
  }
}

// The start and end cells of an appointment. An all-day period ends at
// midnight after its last day, which is the day shown.
std::pair<std::string, std::string> PeriodCells(Appointment& a) {
  DateTimePtr when = a.DateTime();
  if (!when) return {"-", "-"};
  Date start = when->StartDateTime();
  Date end = when->EndDateTime();
  bool open = false;
  if (DateTimeSerialPtr series = when->Series()) {
    start = when->GetFirstDate();
    end = when->GetLastDate();
    open = series->Eternal();
  }
  const bool all_day = a.AllDay();
  if (all_day && end > start && end == std::trunc(end)) end -= 1;
  return {FormatWhen(start, all_day), open ? "open" : FormatWhen(end, all_day)};
}

Row AppointmentRow(Appointment& a) {
  auto [start, end] = PeriodCells(a);
  return {start, end, OneLine(a.Title()), std::to_string(a.Flags())};
}

}  // namespace

std::string ShortestNumber(double value) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

std::string ToJsonText(const Json& value) {
  std::string out;
  Write(value, 0, out);
  out += '\n';
  return out;
}

Json SeriesJson(const DateTimeSerial& series) {
  return Json{
      {"start", NumberOrNull(series.StartDateTime())},
      {"end", NumberOrNull(series.EndDateTime())},
      {"series_start", NumberOrNull(series.SeriesStartDateTime())},
      {"series_end", NumberOrNull(series.SeriesEndDateTime())},
      {"mode", static_cast<int32_t>(series.RepetitionMode())},
      {"m", series.m()},
      {"n", series.n()},
      {"in_month", series.InMonth()},
      {"weekdays", series.Weekdays()},
      {"eternal", series.Eternal()},
  };
}

Json EntryJson(Appointment& entry) {
  Json j;
  j["type"] = entry.AppointmentType();
  j["file"] = entry.File();
  j["id"] = entry.ID();
  j["outside_file"] = entry.OutsideFile();
  j["outside_id"] = entry.OutsideID();
  j["title"] = entry.Title();
  j["notes"] = entry.Notes();
  j["category"] = entry.Category();
  j["project"] = entry.Project();
  j["all_day"] = entry.AllDay();
  j["remind"] = entry.Remind();
  j["remind_at"] = entry.RemindAt();
  j["flags"] = entry.Flags();
  j["color"] = entry.Color();
  DateTimePtr when = entry.DateTime();
  j["date_time_type"] = when ? when->DateTimeType() : 0;
  j["start"] = when ? NumberOrNull(when->StartDateTime()) : Json(nullptr);
  j["end"] = when ? NumberOrNull(when->EndDateTime()) : Json(nullptr);
  DateTimeSerialPtr series = SeriesOf(entry);
  j["series"] = series ? SeriesJson(*series) : Json(nullptr);
  j["tags"] = TagsJson(entry);
  return j;
}

void WriteListJson(const Appointments& list, std::ostream& out) {
  if (list.Count() == 0) {
    out << "{\n  \"appointments\": []\n}\n";
    return;
  }
  // Entry by entry, so that a long answer is not held twice in memory.
  out << "{\n  \"appointments\": [\n";
  std::string text;
  for (auto it = list.begin(); it != list.end(); ++it) {
    text.assign(it == list.begin() ? "" : ",\n");
    text.append(4, ' ');
    Write(EntryJson(**it), 4, text);
    out << text;
  }
  out << "\n  ]\n}\n";
}

Json RecordJson(Appointment& record) {
  Json j;
  j["record_type"] = record.AppointmentType();
  j["outside_id"] = record.OutsideID();
  if (auto* link = dynamic_cast<AppointmentLink*>(&record)) {
    j["dest_file"] = link->DestinationFile();
    j["dest_id"] = link->DestinationID();
    return j;
  }
  j["title"] = record.Title();
  j["notes"] = record.Notes();
  j["category"] = record.Category();
  j["all_day"] = record.AllDay();
  j["remind"] = record.Remind();
  j["remind_at"] = record.RemindAt();
  j["flags"] = record.Flags();
  j["tags"] = TagsJson(record);
  j["project"] = record.Project();
  DateTimePtr when = record.DateTime();
  j["period_type"] = when ? when->DateTimeType() : 0;
  j["start"] = when ? NumberOrNull(when->StartDateTime()) : Json(nullptr);
  j["end"] = when ? NumberOrNull(when->EndDateTime()) : Json(nullptr);
  DateTimeSerialPtr series = when ? when->Series() : nullptr;
  if (!series) return j;
  // The series fields stand in the record itself (its start and end are the
  // series' own) and, shaped as in list, under "series".
  Json fields = SeriesJson(*series);
  for (const auto& [key, value] : fields.items())
    j[key] = value;
  j["series"] = std::move(fields);
  return j;
}

Json DumpJson(const MonthFileContents& contents) {
  Json records = Json::array();
  for (const AppointmentPtr& record : *contents.Records)
    records.push_back(RecordJson(*record));
  return Json{{"version", contents.Version}, {"records", std::move(records)}};
}

Json TaskDumpJson(const TaskFileContents& contents) {
  Json tasks = Json::array();
  for (const TaskFileRecord& task : contents.Tasks) {
    tasks.push_back(Json{{"id", task.ID},
                         {"title", task.Title},
                         {"notes", task.Notes},
                         {"project", task.Project},
                         {"start", NumberOrNull(task.Start)},
                         {"planned_end", NumberOrNull(task.PlannedEnd)},
                         {"reminder_file", task.ReminderFile},
                         {"reminder_id", task.ReminderID}});
  }
  return Json{{"version", contents.Version}, {"tasks", std::move(tasks)}};
}

std::string FormatWhen(Date date, bool dateOnly) {
  // The calendar's date arithmetic covers 1 January 100 to 31 December 9999.
  if (!(date > kMinDate - 1 && date < kMaxDate + 1)) return "ole:" + ShortestNumber(date);
  const DateParts p = SplitDate(date);
  char text[32];
  if (dateOnly) {
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", p.Year, p.Month, p.Day);
  } else {
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d", p.Year, p.Month, p.Day, p.Hour,
                  p.Minute);
  }
  return text;
}

void WriteAppointmentTable(const Appointments& list, std::ostream& out) {
  if (list.Count() == 0) {
    out << "no appointments\n";
    return;
  }
  std::vector<Row> rows{{"START", "END", "TITLE", "FLAGS"}};
  for (const AppointmentPtr& entry : list)
    rows.push_back(AppointmentRow(*entry));
  WriteAligned(rows, out);
}

void WriteRecordTable(const MonthFileContents& contents, std::ostream& out) {
  out << "version " << contents.Version << ", " << contents.Records->Count() << " records\n";
  if (contents.Records->Count() == 0) return;
  std::vector<Row> rows{{"ID", "TYPE", "START", "END", "TITLE", "FLAGS"}};
  for (const AppointmentPtr& record : *contents.Records) {
    Row row{std::to_string(record->OutsideID())};
    if (auto* link = dynamic_cast<AppointmentLink*>(record.get())) {
      row.push_back("link");
      row.push_back("-> " + std::to_string(link->DestinationFile()) + " #" +
                    std::to_string(link->DestinationID()));
    } else {
      row.push_back("real");
      for (std::string& cell : AppointmentRow(*record))
        row.push_back(std::move(cell));
    }
    rows.push_back(std::move(row));
  }
  WriteAligned(rows, out);
}

void WriteTaskTable(const TaskFileContents& contents, std::ostream& out) {
  out << "version " << contents.Version << ", " << contents.Tasks.size() << " tasks\n";
  if (contents.Tasks.empty()) return;
  std::vector<Row> rows{{"ID", "START", "PLANNED END", "TITLE", "REMINDER"}};
  for (const TaskFileRecord& task : contents.Tasks) {
    rows.push_back({std::to_string(task.ID), FormatWhen(task.Start, false),
                    FormatWhen(task.PlannedEnd, false), OneLine(task.Title),
                    task.ReminderFile == 0 ? "-"
                                           : std::to_string(task.ReminderFile) + " #" +
                                                 std::to_string(task.ReminderID)});
  }
  WriteAligned(rows, out);
}

}  // namespace orncal::cli
