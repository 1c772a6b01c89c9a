// The JSON of orncal's answers.
#include <cmath>

#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/task.h"
#include "output.h"

namespace orncal::cli {
namespace {

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

std::string Dump(const Json& value) {
  return value.dump(2, ' ', false, Json::error_handler_t::replace);
}

// A value's text indented by `indent` more spaces from its second line on.
std::string Indented(const Json& value, size_t indent) {
  const std::string text = Dump(value);
  std::string out;
  out.reserve(text.size() + text.size() / 8);
  for (char c : text) {
    out += c;
    if (c == '\n') out.append(indent, ' ');
  }
  return out;
}

}  // namespace

Json Number(double value) {
  if (!std::isfinite(value)) return nullptr;
  if (value == std::trunc(value) && std::fabs(value) < 9007199254740992.0) {
    return static_cast<int64_t>(value);
  }
  return value;
}

std::string ToJsonText(const Json& value) { return Dump(value) + "\n"; }

void JsonWriter::Key(std::string_view key) {
  out_ << (first_member_ ? "{\n  " : ",\n  ") << Dump(Json(std::string(key))) << ": ";
  first_member_ = false;
}

void JsonWriter::Member(std::string_view key, const Json& value) {
  Key(key);
  out_ << Indented(value, 2);
}

void JsonWriter::BeginArray(std::string_view key) {
  Key(key);
  out_ << '[';
  first_item_ = true;
}

void JsonWriter::Item(const Json& value) {
  out_ << (first_item_ ? "\n    " : ",\n    ") << Indented(value, 4);
  first_item_ = false;
}

void JsonWriter::EndArray() { out_ << (first_item_ ? "]" : "\n  ]"); }

void JsonWriter::End() { out_ << (first_member_ ? "{}\n" : "\n}\n"); }

Json SeriesJson(const DateTimeSerial& series) {
  return Json{
      {"start", Number(series.StartDateTime())},
      {"end", Number(series.EndDateTime())},
      {"series_start", Number(series.SeriesStartDateTime())},
      {"series_end", Number(series.SeriesEndDateTime())},
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
  j["start"] = when ? Number(when->StartDateTime()) : Json(nullptr);
  j["end"] = when ? Number(when->EndDateTime()) : Json(nullptr);
  DateTimeSerialPtr series = SeriesOf(entry);
  j["series"] = series ? SeriesJson(*series) : Json(nullptr);
  j["tags"] = TagsJson(entry);
  return j;
}

void WriteListJson(const Appointments& list, std::ostream& out) {
  JsonWriter writer(out);
  writer.BeginArray("appointments");
  for (const AppointmentPtr& entry : list)
    writer.Item(EntryJson(*entry));
  writer.EndArray();
  writer.End();
}

Json TaskJson(Task& task) {
  const DateTimeNormalPtr period = task.DateTime();
  const AppointmentPtr appointment = task.ConnectedAppointment();
  const Date remind_at = task.RemindAt();
  Json j;
  j["id"] = task.Completed() ? 0 : task.ID();
  j["completed"] = task.Completed();
  j["title"] = task.Title();
  j["notes"] = task.Notes();
  j["project"] = task.Project();
  j["start"] = period ? Number(period->StartDateTime()) : Json(nullptr);
  j["planned_end"] = Number(task.PlannedEnd());
  j["completed_at"] = task.Completed() && period ? Number(period->EndDateTime()) : Json(nullptr);
  j["remind_at"] = remind_at != 0 ? Number(remind_at) : Json(nullptr);
  j["appointment_file"] = appointment ? appointment->File() : 0;
  j["appointment_id"] = appointment ? appointment->ID() : 0;
  return j;
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
  j["start"] = when ? Number(when->StartDateTime()) : Json(nullptr);
  j["end"] = when ? Number(when->EndDateTime()) : Json(nullptr);
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
                         {"start", Number(task.Start)},
                         {"planned_end", Number(task.PlannedEnd)},
                         {"reminder_file", task.ReminderFile},
                         {"reminder_id", task.ReminderID}});
  }
  return Json{{"version", contents.Version}, {"tasks", std::move(tasks)}};
}

}  // namespace orncal::cli
