// The readable tables of orncal's answers and the styles of a terminal.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/ole_date.h"
#include "output.h"
#include "text.h"

namespace orncal::cli {
namespace {

Row AppointmentRow(Appointment& a) {
  auto [start, end] = PeriodCells(a);
  return {start, end, OneLine(a.Title()), std::to_string(a.Flags())};
}

// The nearest step of the 256-colour palette's 6x6x6 cube for 0 to 255.
int CubeStep(int value) { return value < 48 ? 0 : value < 115 ? 1 : (value - 35) / 40; }

}  // namespace

std::string FormatWhen(Date date, bool dateOnly) {
  // The calendar's date arithmetic covers 1 January 100 to 31 December 9999.
  if (!(date > kMinDate - 1 && date < kMaxDate + 1)) {
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, date);
    return "ole:" + std::string(text, result.ptr);
  }
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

std::string FormatTime(Date date) { return FormatWhen(date, false).substr(11); }

std::string_view WeekdayName(Date date) {
  static constexpr std::string_view kNames[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
  return kNames[WeekdayOf(date) - 1];
}

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
  // An all-day period ends at midnight after its last day, which is the
  // day shown.
  const bool all_day = a.AllDay();
  if (all_day && end > start && end == std::trunc(end)) end -= 1;
  return {FormatWhen(start, all_day), open ? "open" : FormatWhen(end, all_day)};
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

std::string Style::Colored(std::string_view text, int32_t color) const {
  if (!Enabled || color < 0 || color > 0xFFFFFF) return std::string(text);
  const int red = color & 0xFF, green = (color >> 8) & 0xFF, blue = (color >> 16) & 0xFF;
  char escape[32];
  if (TrueColor) {
    std::snprintf(escape, sizeof escape, "\x1b[38;2;%d;%d;%dm", red, green, blue);
  } else {
    std::snprintf(escape, sizeof escape, "\x1b[38;5;%dm",
                  16 + 36 * CubeStep(red) + 6 * CubeStep(green) + CubeStep(blue));
  }
  return escape + std::string(text) + "\x1b[0m";
}

std::string Style::Bold(std::string_view text) const {
  return Enabled ? "\x1b[1m" + std::string(text) + "\x1b[0m" : std::string(text);
}

std::string Style::Reverse(std::string_view text) const {
  return Enabled ? "\x1b[7m" + std::string(text) + "\x1b[0m" : std::string(text);
}

}  // namespace orncal::cli
