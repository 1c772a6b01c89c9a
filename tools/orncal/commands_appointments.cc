// add, add-series, show, edit, move, delete and find.
#include "commands_appointments.h"

#include <cmath>
#include <memory>

#include "command_table.h"
#include "orncalendar/appointment.h"
#include "orncalendar/collection.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/remind_times.h"
#include "session.h"
#include "text.h"

namespace orncal::cli {
namespace {

// The options of the fields, as given.
struct FieldArgs {
  std::string title, notes, category, project, remind, flags;
};

void AddFieldArgs(CLI::App* command, FieldArgs& args, bool edit) {
  if (edit) command->add_option("--title", args.title, "The new title");
  command->add_option("--notes", args.notes, "Notes");
  command->add_option("--category", args.category,
                      "A category (see 'orncal category list'); its colour shows in the agenda");
  command->add_option("--project", args.project, "A project, free text");
  command
      ->add_option("--remind", args.remind,
                   edit ? "Remind SECONDS after the start (negative: before), or off"
                        : "Remind SECONDS after the start (negative: before; -900 is a quarter "
                          "of an hour early)")
      ->type_name(edit ? "SECONDS|off" : "SECONDS");
  command
      ->add_option("--flags", args.flags,
                   "Flag bits: 1 invisible, 2 no edit, 4 no date change, 8 only remind, "
                   "16 task")
      ->type_name("N");
}

AppointmentFields ReadFields(CLI::App* command, const FieldArgs& args) {
  AppointmentFields fields;
  const auto text = [&](const char* option, const std::string& value,
                        std::optional<std::string>& field) {
    if (command->get_option_no_throw(option) && command->count(option) > 0) field = value;
  };
  text("--title", args.title, fields.Title);
  text("--notes", args.notes, fields.Notes);
  text("--category", args.category, fields.Category);
  text("--project", args.project, fields.Project);
  if (command->count("--remind") > 0) {
    if (LowerAscii(args.remind) == "off") {
      fields.RemindOff = true;
    } else {
      fields.RemindAt = ParseNumber(args.remind, "--remind", INT32_MIN, INT32_MAX);
    }
  }
  if (command->count("--flags") > 0) fields.Flags = ParseMask(args.flags, "--flags");
  return fields;
}

void Apply(Appointment& a, const AppointmentFields& f) {
  if (f.Title) a.SetTitle(*f.Title);
  if (f.Notes) a.SetNotes(*f.Notes);
  if (f.Category) a.SetCategory(*f.Category);
  if (f.Project) a.SetProject(*f.Project);
  if (f.Flags) a.SetFlags(*f.Flags);
  if (f.RemindAt) {
    a.SetRemind(true);
    a.SetRemindAt(*f.RemindAt);
  }
  if (f.RemindOff) a.SetRemind(false);
}

void WarnUnstorable(Session& s, const AppointmentFields& f) {
  s.WarnUnstorable({{"title", f.Title.value_or("")},
                    {"notes", f.Notes.value_or("")},
                    {"category", f.Category.value_or("")},
                    {"project", f.Project.value_or("")}});
}

// What a changing command prints: the appointment's FILE/ID, or its ENTRY.
void PrintChanged(Session& s, Appointment& a, bool json) {
  if (json) {
    s.out << ToJsonText(EntryJson(a));
  } else {
    s.out << FormatAppointmentRef(a.File(), a.ID()) << '\n';
  }
}

// Appointments a program marked as not to be edited (or moved) by people,
// such as the reminders of tasks, are left alone unless forced.
void RefuseProtected(const Appointment& a, int32_t flags, bool force, std::string_view what) {
  if (force || (a.Flags() & flags) == 0) return;
  throw CommandError(FormatAppointmentRef(a.File(), a.ID()) + " is marked not to be " +
                     std::string(what) + " (flags " + std::to_string(a.Flags()) +
                     "); add --force to do it anyway");
}

// "900 seconds before", "at the start", "1 hour after".
std::string FormatOffset(int32_t seconds) {
  if (seconds == 0) return "at the start";
  const int64_t amount = std::llabs(static_cast<int64_t>(seconds));
  std::string text;
  if (amount % 3600 == 0) {
    text = std::to_string(amount / 3600) + (amount == 3600 ? " hour" : " hours");
  } else if (amount % 60 == 0) {
    text = std::to_string(amount / 60) + (amount == 60 ? " minute" : " minutes");
  } else {
    text = std::to_string(amount) + (amount == 1 ? " second" : " seconds");
  }
  return text + (seconds < 0 ? " before the start" : " after the start");
}

std::string WeekdayList(int32_t bits) {
  static constexpr const char* kDays[] = {"mon", "tue", "wed", "thu", "fri", "sat", "sun"};
  std::string list;
  for (int day = 0; day < 7; ++day)
    if (bits & (calMonday << day)) list += (list.empty() ? "" : ",") + std::string(kDays[day]);
  return list.empty() ? "none" : list;
}

std::string DescribeSeries(const DateTimeSerial& series, bool allDay) {
  const int32_t mode = series.RepetitionMode();
  std::string text = mode >= 1 && mode <= 8 ? kModeNames[mode - 1] : "mode " + std::to_string(mode);
  text += ", every " + std::to_string(series.n());
  if (mode >= 3) text += ", m " + std::to_string(series.m());
  if (mode == calYearly || mode == calWeekdayInYear2) {
    text += ", in month " + std::to_string(series.InMonth());
  }
  if (mode == calWeekly || mode >= calWeekdayInMonth)
    text += ", on " + WeekdayList(series.Weekdays());
  if (!allDay) {
    text += ", " + FormatTime(series.StartDateTime()) + "-" +
            (series.EndDateTime() >= 1 && series.EndDateTime() == std::trunc(series.EndDateTime())
                 ? "24:00"
                 : FormatTime(series.EndDateTime()));
  }
  text += ", from " + FormatWhen(series.SeriesStartDateTime(), true);
  text +=
      series.Eternal() ? ", for ever" : " until " + FormatWhen(series.SeriesEndDateTime(), true);
  return text;
}

void WriteDetails(Session& s, Appointment& a) {
  std::vector<Row> rows;
  rows.push_back({"appointment", FormatAppointmentRef(a.File(), a.ID())});
  rows.push_back({"title", OneLine(a.Title())});
  const DateTimePtr when = a.DateTime();
  if (DateTimeSerialPtr series = when ? when->Series() : nullptr) {
    rows.push_back({"series", DescribeSeries(*series, a.AllDay())});
  } else {
    auto [start, end] = PeriodCells(a);
    rows.push_back({"start", start});
    rows.push_back({"end", end});
  }
  rows.push_back({"all day", a.AllDay() ? "yes" : "no"});
  if (!a.Category().empty()) {
    const std::string color = FormatColor(a.Color());
    rows.push_back({"category", s.style.Colored(OneLine(a.Category()), a.Color()) +
                                    (color.empty() ? "" : " (" + color + ")")});
  }
  if (!a.Project().empty()) rows.push_back({"project", OneLine(a.Project())});
  if (!a.Notes().empty()) rows.push_back({"notes", OneLine(a.Notes())});
  rows.push_back({"remind", a.Remind() ? FormatOffset(a.RemindAt()) : "no"});
  if (a.Flags() != 0) rows.push_back({"flags", std::to_string(a.Flags())});
  for (int32_t i = 1; i <= a.TagsCount(); ++i) {
    rows.push_back({"tag", OneLine(a.TagName(i)) + " (" + OneLine(a.TagType(i)) +
                               "): " + OneLine(a.TagData(i))});
  }
  const CollectionPtr<SpecialRemindTimePtr> extras = s.Calendar().SpecialRemindTimes();
  for (const SpecialRemindTimePtr& extra : *extras) {
    if (extra->Appointment() && extra->Appointment()->Target() == a.Target()) {
      rows.push_back({"extra reminder", FormatWhen(extra->RemindAt(), false)});
    }
  }
  WriteAligned(rows, s.out);
}

// The defaults and limits of the series options by mode.
struct ModeRule {
  bool m, in_month, weekdays;
  int32_t m_min, m_max;
};
ModeRule RuleOf(calRepetitionModes mode) {
  switch (mode) {
    case calDaily:
      return {false, false, false, 0, 0};
    case calWeekly:
      return {false, false, true, 0, 0};
    case calMonthly:
      return {true, false, false, -31, 31};
    case calYearly:
      return {true, true, false, 1, 31};
    case calYearly2:
      return {true, false, false, -366, 366};
    case calWeekdayInMonth:
      return {true, false, true, -5, 5};
    case calWeekdayInYear:
      return {true, false, true, -53, 53};
    case calWeekdayInYear2:
      return {true, true, true, -5, 5};
  }
  return {};
}

const char* const kModeHelp =
    "The eight modes (n is --every, m is --m; each defaults from --from):\n"
    "  daily                  every n-th day from --from\n"
    "  weekly                 on --weekdays of every n-th week (weeks start on Monday)\n"
    "  monthly                day m of every n-th month; m <= -1 counts from the month's end "
    "(-1 the last day); a day beyond the month's end runs on into the next month\n"
    "  yearly                 day m (1 to 31) of month --in-month of every n-th year\n"
    "  yearly-day             day m of every n-th year (60 is 29 February in a leap year); "
    "-1 is 31 December\n"
    "  weekday-in-month       the m-th of the --weekdays in every n-th month (the first "
    "chosen weekday on or after day 1 + 7(m-1)); -1 the last\n"
    "  weekday-in-year        as weekday-in-month, counted over the whole year\n"
    "  weekday-in-year-month  as weekday-in-month, in month --in-month of every n-th year\n"
    "Options a mode does not use are refused. m = 0 names no day and is refused.";

}  // namespace

AppointmentPtr FindAppointmentByRef(Session& s, const AppointmentRef& ref) {
  const std::string name = FormatAppointmentRef(ref.File, ref.ID);
  AppointmentPtr found = s.Calendar().GetAppointment(ref.File, ref.ID);
  if (!found) throw CommandError("no appointment " + name);
  // A link of a later month stands for an appointment of an earlier one;
  // people name that one (it is what every command prints).
  if (found->AppointmentType() != 1) {
    const auto* link = dynamic_cast<const AppointmentLink*>(found.get());
    throw CommandError(name + " is a link to " +
                       (link ? FormatAppointmentRef(link->DestinationFile(), link->DestinationID())
                             : "another appointment") +
                       "; name that one");
  }
  return found;
}

void RegisterAppointmentCommands(CLI::App& app, CommandTable& table) {
  const auto ref_of = [](const std::string& text) { return ParseAppointmentRef(text); };
  // add
  {
    CLI::App* add = app.add_subcommand("add", "A new appointment; prints its FILE/ID");
    struct Args {
      std::string title, start, end;
      FieldArgs fields;
      bool all_day = false, json = false;
    };
    auto a = std::make_shared<Args>();
    add->add_option("TITLE", a->title, "The title")->required();
    add->add_option("--start", a->start, "When it starts, a WHEN")->required()->type_name("WHEN");
    add->add_option("--end", a->end,
                    "When it ends, a WHEN (default: the start, a moment); with --all-day the "
                    "last day")
        ->type_name("WHEN");
    add->add_flag("--all-day", a->all_day,
                  "All day: --start and --end are days (without --end the one day)");
    AddFieldArgs(add, a->fields, false);
    add->add_flag("--json", a->json, "Print the new appointment's ENTRY (see 'orncal help list')");
    table.Add(add, [a, add] {
      AddCommand c;
      c.Fields = ReadFields(add, a->fields);
      c.Fields.Title = a->title;
      c.Start = WhenOption(a->start, "--start");
      if (add->count("--end") > 0) c.End = WhenOption(a->end, "--end");
      c.AllDay = a->all_day;
      if (c.AllDay && (c.Start.HasTime || (c.End && c.End->HasTime))) {
        throw CommandError("--all-day: give days, without a time of day");
      }
      if (c.End && c.End->Value < c.Start.Value) {
        throw CommandError("--end: the appointment ends before it starts");
      }
      c.Json = a->json;
      return c;
    });
  }
  // add-series
  {
    CLI::App* add =
        app.add_subcommand("add-series", "A new recurring appointment; prints its FILE/ID");
    struct Args {
      std::string title, mode, from, until, time, weekdays, m, every, in_month;
      FieldArgs fields;
      bool eternal = false, all_day = false, json = false;
    };
    auto a = std::make_shared<Args>();
    add->add_option("TITLE", a->title, "The title")->required();
    std::string modes;
    for (const char* name : kModeNames)
      modes += (modes.empty() ? "" : "|") + std::string(name);
    add->add_option("--mode", a->mode, "How it repeats (below)")->required()->type_name(modes);
    add->add_option("--from", a->from, "The first day, a WHEN without time")
        ->required()
        ->type_name("DATE");
    add->add_option("--until", a->until, "The last day")->type_name("DATE");
    add->add_flag("--eternal", a->eternal, "No last day");
    add->add_option("--time", a->time,
                    "The time of each occurrence, H:MM-H:MM (an end before the start is on the "
                    "next day)")
        ->type_name("H:MM-H:MM");
    add->add_flag("--all-day", a->all_day, "Each occurrence is all day (instead of --time)");
    add->add_option("--every", a->every, "n: every n-th day, week, month or year (default 1)")
        ->type_name("N");
    add->add_option("--m", a->m, "m: which day or weekday, by mode (below)")->type_name("M");
    add->add_option("--in-month", a->in_month,
                    "The month 1 to 12, for yearly and "
                    "weekday-in-year-month")
        ->type_name("MONTH");
    add->add_option("--weekdays", a->weekdays, "The weekdays: mon,tue,wed,thu,fri,sat,sun")
        ->type_name("LIST");
    AddFieldArgs(add, a->fields, false);
    add->add_flag("--json", a->json, "Print the new appointment's ENTRY (see 'orncal help list')");
    add->footer(kModeHelp);
    table.Add(add, [a, add] {
      AddSeriesCommand c;
      c.Fields = ReadFields(add, a->fields);
      c.Fields.Title = a->title;
      int mode = 0;
      for (int i = 0; i < 8; ++i)
        if (LowerAscii(a->mode) == kModeNames[i]) mode = i + 1;
      if (mode == 0) {
        throw CommandError("--mode: unknown mode '" + OneLine(a->mode) +
                           "'; the modes are: daily, weekly, monthly, yearly, yearly-day, "
                           "weekday-in-month, weekday-in-year, weekday-in-year-month");
      }
      c.Mode = static_cast<calRepetitionModes>(mode);
      const std::string name = kModeNames[mode - 1];
      c.From = DayOption(a->from, "--from");
      const bool until = add->count("--until") > 0;
      if (until == a->eternal)
        throw CommandError("add-series: give either --until DATE or --eternal");
      c.Eternal = a->eternal;
      if (until) {
        c.Until = DayOption(a->until, "--until");
        if (c.Until < c.From) throw CommandError("--until: the series ends before it starts");
      }
      const bool time = add->count("--time") > 0;
      if (time == a->all_day) throw CommandError("add-series: give either --time or --all-day");
      c.AllDay = a->all_day;
      if (time) {
        try {
          c.Times = ParseTimeRange(a->time);
        } catch (const std::invalid_argument& e) {
          throw CommandError(std::string("--time: ") + e.what());
        }
      } else {
        c.Times = {0, 1};
      }
      if (add->count("--every") > 0) c.n = ParseNumber(a->every, "--every", 1, 9999);
      const ModeRule rule = RuleOf(c.Mode);
      const auto refuse_unused = [&](const char* option, bool used) {
        if (add->count(option) > 0 && !used) {
          throw CommandError(std::string(option) + ": the mode " + name + " does not use it");
        }
      };
      refuse_unused("--m", rule.m);
      refuse_unused("--in-month", rule.in_month);
      refuse_unused("--weekdays", rule.weekdays);
      // Defaults from the first day: its day, month, weekday and week.
      const int32_t day = DayOf(c.From), month = MonthOf(c.From);
      const int32_t day_of_year =
          static_cast<int32_t>(c.From - DateFromParts(YearOf(c.From), 1, 1)) + 1;
      if (rule.m) {
        const bool weekday_mode = c.Mode >= calWeekdayInMonth;
        c.m = c.Mode == calYearly2 ? day_of_year : day;
        if (weekday_mode) c.m = ((c.Mode == calWeekdayInYear ? day_of_year : day) - 1) / 7 + 1;
        if (add->count("--m") > 0) {
          c.m = ParseNumber(a->m, "--m", rule.m_min, rule.m_max);
          if (c.m == 0) throw CommandError("--m: 0 names no day; 1 is the first, -1 the last");
        }
      }
      if (rule.in_month) {
        c.InMonth =
            add->count("--in-month") > 0 ? ParseNumber(a->in_month, "--in-month", 1, 12) : month;
      }
      if (rule.weekdays) {
        c.Weekdays = add->count("--weekdays") > 0 ? ParseWeekdays(a->weekdays, "--weekdays")
                                                  : calMonday << (WeekdayOf(c.From) - 1);
      }
      c.Json = a->json;
      return c;
    });
  }
  // show
  {
    CLI::App* show = app.add_subcommand("show", "One appointment with all its fields");
    struct Args {
      std::string ref;
      bool json = false;
    };
    auto a = std::make_shared<Args>();
    show->add_option("FILE/ID", a->ref, "The appointment, as add printed it (200805/3)")
        ->required();
    show->add_flag("--json", a->json, "Print its ENTRY (see 'orncal help list')");
    table.Add(show, [a, ref_of] { return ShowCommand{ref_of(a->ref), a->json}; });
  }
  // edit
  {
    CLI::App* edit = app.add_subcommand("edit", "Change an appointment's texts and switches");
    struct Args {
      std::string ref;
      FieldArgs fields;
      bool force = false, json = false;
    };
    auto a = std::make_shared<Args>();
    edit->add_option("FILE/ID", a->ref, "The appointment")->required();
    AddFieldArgs(edit, a->fields, true);
    edit->add_flag("--force", a->force, "Also an appointment marked not to be edited (flag 2)");
    edit->add_flag("--json", a->json, "Print its ENTRY instead of its FILE/ID");
    table.Add(edit, [a, edit, ref_of] {
      EditCommand c{ref_of(a->ref), ReadFields(edit, a->fields), a->force, a->json};
      const AppointmentFields& f = c.Fields;
      if (!f.Title && !f.Notes && !f.Category && !f.Project && !f.Flags && !f.RemindAt &&
          !f.RemindOff) {
        throw CommandError(
            "edit: nothing to change; give --title, --notes, --category, --project, --remind "
            "or --flags");
      }
      return c;
    });
  }
  // move
  {
    CLI::App* move = app.add_subcommand(
        "move", "Give an appointment a new time; prints its FILE/ID, which may change");
    struct Args {
      std::string ref, start, end;
      bool force = false, json = false;
    };
    auto a = std::make_shared<Args>();
    move->add_option("FILE/ID", a->ref, "The appointment")->required();
    move->add_option("--start", a->start,
                     "The new start, a WHEN; for a series its first day (and, with a time, the "
                     "time of its occurrences)")
        ->required()
        ->type_name("WHEN");
    move->add_option("--end", a->end,
                     "The new end (default: the length stays); all day: the last day; for a "
                     "series its last day")
        ->type_name("WHEN");
    move->add_flag("--force", a->force, "Also one marked not to be moved (flags 2 and 4)");
    move->add_flag("--json", a->json, "Print its ENTRY instead of its FILE/ID");
    table.Add(move, [a, move, ref_of] {
      MoveCommand c{ref_of(a->ref), WhenOption(a->start, "--start"), std::nullopt, a->force,
                    a->json};
      if (move->count("--end") > 0) {
        c.End = WhenOption(a->end, "--end");
        if (c.End->Value < c.Start.Value) {
          throw CommandError("--end: the appointment ends before it starts");
        }
      }
      return c;
    });
  }
  // delete
  {
    CLI::App* del = app.add_subcommand("delete", "Remove an appointment (a series as a whole)");
    struct Args {
      std::string ref;
      bool force = false;
    };
    auto a = std::make_shared<Args>();
    del->add_option("FILE/ID", a->ref, "The appointment")->required();
    del->add_flag("--force", a->force, "Also one marked not to be edited (flag 2)");
    table.Add(del, [a, ref_of] { return DeleteCommand{ref_of(a->ref), a->force}; });
  }
  // find
  {
    CLI::App* find = app.add_subcommand(
        "find", "The appointment with this title nearest to a moment (whole title, any case)");
    struct Args {
      std::string title, direction, start_at;
      QueryArgs query;
      bool json = false;
    };
    auto a = std::make_shared<Args>();
    find->add_option("TITLE", a->title,
                     "The whole title; letter case and spaces around it do "
                     "not count")
        ->required();
    find->add_option("--direction", a->direction,
                     "1 (or forward): later only; -1 (or backward): earlier only; 0 (or both, "
                     "the default): both ways")
        ->type_name("-1|0|1");
    find->add_option("--start-at", a->start_at, "Where the search starts (default now)")
        ->type_name("WHEN");
    AddQueryArgs(find, a->query);
    find->add_flag("--json", a->json, "Print its ENTRY (see 'orncal help list'), or null");
    find->footer(
        "The search runs month by month within the months that have files, for at most five "
        "seconds. Prints FILE/ID, start, end and title, or 'not found' (exit status 0).");
    table.Add(find, [a, find] {
      FindCommand c;
      c.Title = a->title;
      if (find->count("--direction") > 0) {
        const std::string word = LowerAscii(a->direction);
        c.Options.Direction =
            word == "forward"    ? 1
            : word == "backward" ? -1
            : word == "both"
                ? 0
                : static_cast<int16_t>(ParseNumber(a->direction, "--direction", -1, 1));
      }
      if (find->count("--start-at") > 0) {
        c.Options.StartAt = WhenOption(a->start_at, "--start-at").Value;
      }
      c.Options.SeperateSerials = !a->query.NoSeparate;
      c.Options.AlsoAllDay = !a->query.NoAllDay;
      c.Options.OnlyAllDay = a->query.OnlyAllDay;
      ReadMasks(find, a->query, c.Options.Flags, c.Options.NotFlags, c.Options.OrFlags,
                c.Options.NotAndFlags);
      c.Json = a->json;
      return c;
    });
  }
}

void Execute(Session& s, const AddCommand& c) {
  const Date start = c.Start.Value;
  // An all-day appointment without an end lasts its one day.
  const Date end = c.End ? c.End->Value : c.AllDay ? start : 0;
  AppointmentPtr a = s.Calendar().Appointment(
      {.StartDateTime = start, .EndDateTime = end, .AllDay = c.AllDay, .SaveNow = false});
  Apply(*a, c.Fields);
  a->AfterDateTimeChange();
  s.Save();
  WarnUnstorable(s, c.Fields);
  PrintChanged(s, *a, c.Json);
}

void Execute(Session& s, const AddSeriesCommand& c) {
  DateTimeSerialPtr series = DateTimeSerial::New();
  series->SetRepetitionMode(c.Mode);
  series->Setn(c.n);
  series->Setm(c.m);
  series->SetInMonth(c.InMonth);
  series->SetWeekdays(c.Weekdays);
  series->SetSeriesStartDateTime(c.From);
  series->SetSeriesEndDateTime(c.Eternal ? c.From : c.Until);
  series->SetEternal(c.Eternal);
  series->SetStartDateTime(c.Times.Start);
  series->SetEndDateTime(c.Times.End);
  // The anchor moves to where the rule's counting starts (the first
  // occurrence's day, or the first of its month or year).
  series->AdjustStartDate();
  if (!c.Eternal && !series->OverLapsWith(*DateTimeNormal::New(c.From, c.Until + 1))) {
    throw CommandError("add-series: no day between --from and --until fits the rule");
  }
  AppointmentPtr a = s.Calendar().Appointment({.SaveNow = false});
  a->SetDateTime(series);
  a->SetAllDay(c.AllDay);
  Apply(*a, c.Fields);
  a->AfterDateTimeChange();
  s.Save();
  WarnUnstorable(s, c.Fields);
  PrintChanged(s, *a, c.Json);
}

void Execute(Session& s, const ShowCommand& c) {
  AppointmentPtr a = FindAppointmentByRef(s, c.Ref);
  if (c.Json) {
    s.out << ToJsonText(EntryJson(*a));
  } else {
    WriteDetails(s, *a);
  }
}

void Execute(Session& s, const EditCommand& c) {
  AppointmentPtr a = FindAppointmentByRef(s, c.Ref);
  RefuseProtected(*a, calNoEdit, c.Force, "edited");
  Apply(*a, c.Fields);
  a->NotifyChange();
  s.Save();
  WarnUnstorable(s, c.Fields);
  PrintChanged(s, *a, c.Json);
}

void Execute(Session& s, const MoveCommand& c) {
  AppointmentPtr a = FindAppointmentByRef(s, c.Ref);
  RefuseProtected(*a, calNoEdit | calNoDTChange, c.Force, "moved");
  const DateTimePtr when = a->DateTime();
  if (!when) throw CommandError(FormatAppointmentRef(c.Ref.File, c.Ref.ID) + " has no period");
  if (DateTimeSerialPtr series = when->Series()) {
    // A series: its first day, the time of its occurrences (their length
    // kept) and its last day (by default as many days on as the first).
    const Date from = DayPart(c.Start.Value);
    Date until = series->SeriesEndDateTime() + (from - series->SeriesStartDateTime());
    if (c.End) until = DayPart(c.End->Value);
    a->BeforeDateTimeChange();
    if (c.Start.HasTime) {
      // Offsets from the day in whole seconds, as --time gives them.
      const auto seconds = [](Date days) { return std::round(days * 86400); };
      const double length = seconds(series->EndDateTime() - series->StartDateTime());
      const double start = seconds(c.Start.Value - from);
      series->SetStartDateTime(start / 86400);
      series->SetEndDateTime((start + length) / 86400);
    }
    series->SetSeriesStartDateTime(from);
    if (c.End || !series->Eternal()) series->SetSeriesEndDateTime(until);
    if (c.End) series->SetEternal(false);
    series->AdjustStartDate();
  } else {
    Date start = c.Start.Value, end = 0;
    if (a->AllDay()) {
      if (c.Start.HasTime || (c.End && c.End->HasTime)) {
        throw CommandError("move: an all-day appointment moves by days, without a time of day");
      }
      // An all-day period ends at midnight after its last day.
      end = c.End ? c.End->Value + 1 : start + (when->EndDateTime() - when->StartDateTime());
    } else {
      end = c.End ? c.End->Value : start + (when->EndDateTime() - when->StartDateTime());
    }
    a->BeforeDateTimeChange();
    when->SetStartDateTime(start);
    when->SetEndDateTime(end);
  }
  a->AfterDateTimeChange();
  s.Save();
  PrintChanged(s, *a, c.Json);
}

void Execute(Session& s, const DeleteCommand& c) {
  AppointmentPtr a = FindAppointmentByRef(s, c.Ref);
  RefuseProtected(*a, calNoEdit, c.Force, "edited");
  const CollectionPtr<SpecialRemindTimePtr> extras = s.Calendar().SpecialRemindTimes();
  const int32_t extra_count = extras->Count();
  a->Remove();
  s.Save();
  // Its extra reminders went with it.
  if (extras->Count() != extra_count) s.SaveSpecialRemindTimes();
}

void Execute(Session& s, const FindCommand& c) {
  AppointmentPtr found = s.Calendar().FindAppointment(c.Title, c.Options);
  if (c.Json) {
    s.out << ToJsonText(found ? EntryJson(*found) : Json(nullptr));
  } else if (!found) {
    s.out << "not found\n";
  } else {
    auto [start, end] = PeriodCells(*found);
    WriteAligned(
        {{FormatAppointmentRef(found->File(), found->ID()), start, end, OneLine(found->Title())}},
        s.out);
  }
}

}  // namespace orncal::cli
