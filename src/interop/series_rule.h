// Recurring periods and iCalendar recurrence rules, both ways.
//
// A series is written as a rule only where the rule gives exactly the days
// the calendar shows, for as long as the series runs; everything else is
// written as the list of the calendar's own occurrences in the exported
// period. The calendar shows a series month by month (each month of a query
// is asked on its own, from the month that holds the series' first date
// on), and that is what "the calendar's occurrences" means here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "orncalendar/date_time_serial.h"

namespace orncal::interop {

struct Occurrence {
  Date Start = 0;
  Date End = 0;
  friend bool operator==(const Occurrence&, const Occurrence&) = default;
};

// The occurrences the calendar shows in [from, to): each month of the period
// from the month of the series' first date asked on its own, as a period
// query does, in time order without repeats (a month-end quirk can hand the
// same occurrence back twice). The series is not changed (a copy is
// walked). A series whose walk fails (calYearly counting from the month's
// end, an interval of 0) has none, as the calendar shows none.
std::vector<Occurrence> CalendarOccurrences(const DateTimeSerial& series, Date from, Date to);

// The rule part of an RRULE (FREQ, INTERVAL and the BY parts, no UNTIL)
// that picks exactly the days of the series' mode, or nullopt where no rule
// does: days beyond a month's end that run into the next month, counting
// from the end other than within the month, intervals below 1, unknown
// modes, weekday modes without weekdays, month arithmetic that steps
// backwards (see WalkedMonthsStepEvenly).
std::optional<std::string> ExactRule(const DateTimeSerial& series);

// Whether the calendar's monthly walk, starting in month `month` (1 to 12)
// and stepping `n` months, visits every n-th month: the walk takes the
// month modulo 12 after its carry, which for some intervals above 12 lands
// a year early (a December visited twice when n is 12 only repeats it and
// counts as even). `visited` receives the months of the year it reaches.
bool WalkedMonthsStepEvenly(int32_t month, int32_t n, std::vector<int32_t>* visited = nullptr);

// How a series is written: an exact rule from its first shown occurrence,
// or the shown occurrences of the period as a list.
struct WrittenSeries {
  // Empty when the series shows nothing in the period.
  std::vector<Occurrence> Shown;
  // With a rule: its text (with UNTIL when the series ends), and the
  // series' first shown occurrence, which the rule starts from.
  std::optional<std::string> Rule;
  Occurrence First;
  // The length of one occurrence.
  Date Length = 0;
};

// Decides how to write a series over [from, to). A rule is kept only when
// it also agrees with the calendar over that period, occurrence by
// occurrence (so a quirk this mapping does not know of falls back to the
// list). `allDay` writes UNTIL as a date.
WrittenSeries WriteSeries(const DateTimeSerial& series, Date from, Date to, bool allDay);

// The starts of a rule from `first` in [from, to) as an independent reader
// of the rule expands them (the iCalendar library's iterator). At most
// `limit` starts.
std::vector<Date> ExpandRule(const std::string& rule, Date first, bool allDay, Date from, Date to,
                             size_t limit = 100000);

// A series for a rule (without COUNT and UNTIL) starting at `first`, each
// occurrence `length` long, ending on the day of `lastStart` (or eternal):
// the inverse of ExactRule. nullopt for any rule part the calendar has no
// mode for. Whether the series then shows the rule's days is for the
// caller to check (the calendar's first week, for one, may show selected
// weekdays before the first occurrence).
std::optional<DateTimeSerialPtr> SeriesFromRule(const std::string& rule, Date first, Date length,
                                                bool allDay, std::optional<Date> lastStart);

// Dates as the iCalendar texts of floating local time: YYYYMMDDTHHMMSS
// (to the nearest second), or YYYYMMDD.
std::string IcalDateTimeText(Date date);
std::string IcalDateText(Date date);

}  // namespace orncal::interop
