// list, agenda and month.
#include <algorithm>
#include <cmath>
#include <set>

#include "command_table.h"
#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/collection.h"
#include "orncalendar/date_time.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/task.h"
#include "session.h"
#include "text.h"

namespace orncal::cli {
namespace {

constexpr int32_t kMaxDays = 3660;
constexpr std::string_view kBell = "\xF0\x9F\x94\x94";  // U+1F514

// The entries of [from, to) for people: each appointment or occurrence
// once (the query lists an appointment once per month it reaches), in the
// order of their own starts.
std::vector<AppointmentPtr> Entries(Calendar& calendar, Date from, Date to) {
  const AppointmentsPtr result = calendar.AllAppointmentsInPeriod(*DateTimeNormal::New(from, to));
  std::vector<AppointmentPtr> entries;
  std::set<std::pair<const Appointment*, Date>> seen;
  for (const AppointmentPtr& entry : *result) {
    const DateTimePtr when = entry->DateTime();
    if (!when) continue;
    if (seen.emplace(entry->Target().get(), when->StartDateTime()).second) {
      entries.push_back(entry);
    }
  }
  std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
    return a->DateTime()->StartDateTime() < b->DateTime()->StartDateTime();
  });
  return entries;
}

// The days an entry covers: from the day of its start to the day of its
// end, an end at midnight belonging to the day before.
std::pair<Date, Date> CoveredDays(Appointment& entry) {
  const DateTimePtr when = entry.DateTime();
  const Date start = when->StartDateTime(), end = std::max(start, when->EndDateTime());
  const Date first = DayPart(start);
  Date last = DayPart(end);
  if (end == last && end > start) last -= 1;
  return {first, std::max(first, last)};
}

// What the agenda shows in the time column of an entry on `day`.
std::string TimeCell(Appointment& entry, Date day) {
  if (entry.AllDay()) return "all day";
  const DateTimePtr when = entry.DateTime();
  const Date start = when->StartDateTime(), end = when->EndDateTime();
  const bool starts = start >= day, ends = end <= day + 1;
  if (starts && ends) {
    if (end <= start) return FormatTime(start);
    return FormatTime(start) + "-" + (end == day + 1 ? "24:00" : FormatTime(end));
  }
  if (starts) return "from " + FormatTime(start);
  if (ends && end < day + 1) return "until " + FormatTime(end);
  return "continues";
}

// The open tasks whose planned end lies in [from, to), by planned end.
CollectionPtr<TaskPtr> TasksDue(Calendar& calendar, Date from, Date to) {
  auto due = std::make_shared<Collection<TaskPtr>>();
  const CollectionPtr<TaskPtr> open = calendar.IncompleteTasks();
  for (const TaskPtr& task : *open) {
    const Date end = task->PlannedEnd();
    if (end >= from && end < to) due->Add(task);
  }
  calendar.SortTasks(due);
  return due;
}

void WriteAgendaText(Session& s, Date from, Date to, const std::vector<AppointmentPtr>& entries,
                     const Collection<TaskPtr>& tasks) {
  // Each day that has something, with its entries in time order; an entry
  // over several days stands under each.
  struct Line {
    std::string time, title;
    AppointmentPtr entry;
  };
  std::vector<std::pair<Date, std::vector<Line>>> days;
  size_t title_width = 0;
  for (Date day = from; day < to; day += 1) {
    std::vector<Line> lines;
    for (const AppointmentPtr& entry : entries) {
      const auto [first, last] = CoveredDays(*entry);
      if (day < first || day > last) continue;
      lines.push_back({TimeCell(*entry, day), OneLine(entry->Title()), entry});
      title_width = std::max(title_width, Width(lines.back().title));
    }
    if (!lines.empty()) days.emplace_back(day, std::move(lines));
  }
  const Date today = DayPart(CurrentClock().Now());
  for (const auto& [day, lines] : days) {
    std::string header = std::string(WeekdayName(day)) + " " + FormatWhen(day, true);
    if (day == today) header += " (today)";
    s.out << (day == today ? s.style.Bold(header) : header) << '\n';
    for (const Line& line : lines) {
      std::string text =
          "  " + line.time + std::string(11 - std::min<size_t>(11, Width(line.time)), ' ');
      text += "  " + line.title;
      const std::string& category = line.entry->Category();
      const bool bell = line.entry->Remind();
      if (!category.empty() || bell) text.append(title_width - Width(line.title), ' ');
      if (!category.empty()) {
        text += "  " + s.style.Colored(OneLine(category), line.entry->Color());
      }
      if (bell) text += "  " + std::string(kBell);
      s.out << text << '\n';
    }
  }
  if (tasks.Count() > 0) {
    if (!days.empty()) s.out << '\n';
    s.out << "Tasks due\n";
    std::vector<Row> rows;
    for (const TaskPtr& task : tasks) {
      rows.push_back({"", FormatWhen(task->PlannedEnd(), false), OneLine(task->Title()),
                      "task " + std::to_string(task->ID()),
                      task->RemindAt() != 0 ? std::string(kBell) : ""});
    }
    WriteAligned(rows, s.out);
  }
  if (days.empty() && tasks.Count() == 0) {
    s.out << "nothing from " << FormatWhen(from, true) << " to " << FormatWhen(to - 1, true)
          << '\n';
  }
}

const char* const kMonthNames[] = {"January",   "February", "March",    "April",
                                   "May",       "June",     "July",     "August",
                                   "September", "October",  "November", "December"};

}  // namespace

void RegisterViewCommands(CLI::App& app, CommandTable& table) {
  // list
  {
    CLI::App* list = app.add_subcommand(
        "list", "The appointments that meet the period [from, to), months ascending");
    struct Args {
      std::string from, to;
      QueryArgs query;
      bool use_remind = false, remove_doubles = false, sort = false, json = false;
    };
    auto a = std::make_shared<Args>();
    list->add_option("--from", a->from, "Start of the period (included), a WHEN")
        ->required()
        ->type_name("WHEN");
    list->add_option("--to", a->to, "End of the period (excluded), a WHEN")
        ->required()
        ->type_name("WHEN");
    AddQueryArgs(list, a->query);
    list->add_flag("--use-remind-time", a->use_remind,
                   "Select by the remind moment; only appointments that remind");
    list->add_flag("--remove-doubles", a->remove_doubles,
                   "Keep links instead of their appointments and drop the doubles");
    list->add_flag("--sort", a->sort,
                   "All-day entries first, then by start (an occurrence by its series' own "
                   "period)");
    list->add_flag("--json", a->json, "Print {\"appointments\": [ENTRY, ...]} instead of a table");
    list->footer(
        "Without --json: one line per entry (start, end, title, flags). ENTRY: type (1 "
        "appointment, 2 link, 3 occurrence of a series), file, id, outside_file, outside_id, "
        "title, notes, category, project, all_day, remind, remind_at, flags, color, "
        "date_time_type, start, end (OLE dates), series (null, or start, end, series_start, "
        "series_end, mode, m, n, in_month, weekdays, eternal), tags ([name, type, data], ...).");
    table.Add(list, [a, list] {
      ListCommand c;
      c.From = WhenOption(a->from, "--from").Value;
      c.To = WhenOption(a->to, "--to").Value;
      if (c.To < c.From) throw CommandError("--to: the period ends before it starts");
      c.Options.SeperateSerials = !a->query.NoSeparate;
      c.Options.AlsoAllDay = !a->query.NoAllDay;
      c.Options.OnlyAllDay = a->query.OnlyAllDay;
      c.Options.UseRemindTime = a->use_remind;
      ReadMasks(list, a->query, c.Options.Flags, c.Options.NotFlags, c.Options.OrFlags,
                c.Options.NotAndFlags);
      c.Options.RemoveDoubles = a->remove_doubles;
      c.Sort = a->sort;
      c.Json = a->json;
      return c;
    });
  }
  // agenda
  {
    CLI::App* agenda = app.add_subcommand(
        "agenda", "The coming days: appointments by day in time order, then the tasks due");
    struct Args {
      std::string from;
      int32_t days = 7;
      bool json = false;
    };
    auto a = std::make_shared<Args>();
    agenda->add_option("--from", a->from, "The first day, a WHEN (default today)")
        ->type_name("WHEN");
    agenda->add_option("--days", a->days, "How many days (default 7)")
        ->type_name("N")
        ->check(CLI::Range(1, kMaxDays));
    agenda->add_flag("--json", a->json,
                     "Print {\"from\", \"to\", \"appointments\": [ENTRY, ...], \"tasks\": [TASK, "
                     "...]} instead");
    agenda->footer(
        "Each day that has appointments: time (or 'all day', 'from', 'until' for what runs "
        "over several days), title, category (in its colour on a terminal), a bell for a "
        "reminder. Then the open tasks whose planned end lies in the days shown. ENTRY as in "
        "'orncal help list', in time order, each appointment or occurrence once; TASK as in "
        "'orncal help task list'.");
    table.Add(agenda, [a, agenda] {
      AgendaCommand c;
      c.From = DayPart(agenda->count("--from") > 0 ? WhenOption(a->from, "--from").Value
                                                   : CurrentClock().Now());
      c.Days = a->days;
      c.Json = a->json;
      return c;
    });
  }
  // month
  {
    CLI::App* month = app.add_subcommand("month",
                                         "A month as a grid, Monday first, with the number of "
                                         "appointments of each day");
    struct Args {
      std::string month;
      bool json = false;
    };
    auto a = std::make_shared<Args>();
    month->add_option("MONTH", a->month, "YYYY-MM (default this month)");
    month->add_flag("--json", a->json,
                    "Print {\"year\", \"month\", \"days\": [{\"day\", \"date\", \"weekday\", "
                    "\"count\"}, ...]} instead (weekday 1 = Monday, date an OLE date)");
    month->footer(
        "Each day shows its number of appointments and occurrences in brackets; today is "
        "marked on a terminal.");
    table.Add(month, [a, month] {
      MonthCommand c;
      if (month->count("MONTH") > 0) {
        try {
          const YearMonth ym = ParseYearMonth(a->month);
          c.Year = ym.Year;
          c.Month = ym.Month;
        } catch (const std::invalid_argument& e) {
          throw CommandError(e.what());
        }
      } else {
        const Date now = CurrentClock().Now();
        c.Year = YearOf(now);
        c.Month = MonthOf(now);
      }
      c.Json = a->json;
      return c;
    });
  }
}

void Execute(Session& s, const ListCommand& c) {
  DateTimeNormalPtr period = DateTimeNormal::New(c.From, c.To);
  AppointmentsPtr result = s.Calendar().AllAppointmentsInPeriod(*period, c.Options);
  if (c.Sort) result->Sort();
  if (c.Json) {
    WriteListJson(*result, s.out);
  } else {
    WriteAppointmentTable(*result, s.out);
  }
}

void Execute(Session& s, const AgendaCommand& c) {
  Calendar& calendar = s.Calendar();
  const Date from = c.From, to = std::min(c.From + c.Days, kMaxDate + 1);
  const std::vector<AppointmentPtr> entries = Entries(calendar, from, to);
  const CollectionPtr<TaskPtr> tasks = TasksDue(calendar, from, to);
  if (!c.Json) return WriteAgendaText(s, from, to, entries, *tasks);
  JsonWriter writer(s.out);
  writer.Member("from", Number(from));
  writer.Member("to", Number(to));
  writer.BeginArray("appointments");
  for (const AppointmentPtr& entry : entries)
    writer.Item(EntryJson(*entry));
  writer.EndArray();
  writer.BeginArray("tasks");
  for (const TaskPtr& task : *tasks)
    writer.Item(TaskJson(*task));
  writer.EndArray();
  writer.End();
}

void Execute(Session& s, const MonthCommand& c) {
  const Date first = DateFromParts(c.Year, c.Month, 1);
  // (December 9999 is the last month the calendar knows.)
  const Date next =
      c.Year == 9999 && c.Month == 12 ? first + 31 : DateFromParts(c.Year, c.Month + 1, 1);
  const int days = static_cast<int>(next - first);
  std::vector<int> counts(days, 0);
  for (const AppointmentPtr& entry : Entries(s.Calendar(), first, next)) {
    const auto [from, to] = CoveredDays(*entry);
    for (Date day = std::max(from, first); day <= to && day < next; day += 1)
      ++counts[static_cast<size_t>(day - first)];
  }
  if (c.Json) {
    Json list = Json::array();
    for (int i = 0; i < days; ++i) {
      list.push_back(Json{{"day", i + 1},
                          {"date", Number(first + i)},
                          {"weekday", WeekdayOf(first + i)},
                          {"count", counts[i]}});
    }
    s.out << ToJsonText(Json{{"year", c.Year}, {"month", c.Month}, {"days", std::move(list)}});
    return;
  }
  // Cells as wide as the widest "dd(n)"; Monday first.
  size_t width = 2;
  for (int count : counts)
    if (count > 0) width = std::max(width, 4 + std::to_string(count).size());
  const std::string title = std::string(kMonthNames[c.Month - 1]) + " " + std::to_string(c.Year);
  const size_t line_width = 7 * width + 6;
  s.out << std::string((line_width - std::min(line_width, title.size())) / 2, ' ') << title << '\n';
  static constexpr const char* kDays[] = {"Mo", "Tu", "We", "Th", "Fr", "Sa", "Su"};
  std::string header;
  for (int i = 0; i < 7; ++i)
    header += std::string(kDays[i]) + std::string(i < 6 ? width - 1 : 0, ' ');
  s.out << header << '\n';
  const Date today = DayPart(CurrentClock().Now());
  std::string line(static_cast<size_t>(WeekdayOf(first) - 1) * (width + 1), ' ');
  for (int i = 0; i < days; ++i) {
    std::string number = std::to_string(i + 1);
    if (number.size() < 2) number.insert(0, " ");
    const std::string count = counts[i] > 0 ? "(" + std::to_string(counts[i]) + ")" : "";
    line += (first + i == today ? s.style.Reverse(number) : number) + count;
    const bool sunday = WeekdayOf(first + i) == 7;
    if (sunday || i + 1 == days) {
      s.out << line << '\n';
      line.clear();
    } else {
      line.append(width - 2 - count.size() + 1, ' ');
    }
  }
}

}  // namespace orncal::cli
