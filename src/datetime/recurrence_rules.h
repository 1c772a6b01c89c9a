// The day rules of recurring periods: where each mode puts its occurrence
// inside a month or a year, and the weekday search the weekday modes share.
// Days are day numbers (whole days since 30 December 1899) in 64 bits, so a
// caller sees a day beyond the date range before it turns it into a date.
#pragma once

#include <cstdint>

#include "orncalendar/enums.h"
#include "orncalendar/fwd.h"

namespace orncal::recurrence {

using DayNumber = int64_t;

// The fields of a series that pick its days.
struct Rule {
  calRepetitionModes mode = static_cast<calRepetitionModes>(0);
  int32_t m = 0;
  int32_t n = 0;
  int32_t in_month = 0;
  int32_t weekdays = 0;
};

// 32-bit arithmetic as the object model does it: error 6 on overflow.
int32_t Multiply32(int32_t a, int32_t b);
int32_t Add32(int32_t a, int32_t b);

// The Monday of the date's week, keeping the time of day.
Date WeekStart(Date date);

// Whether the bit of a weekday (1 = Monday ... 7 = Sunday) is set in the
// calWeekdays bits; any other weekday number is not selected.
bool IsWeekdaySelected(int32_t weekdays, int32_t weekday);
bool AnyWeekdaySelected(int32_t weekdays);

// The first of a month; a month outside 1 to 12 carries into other years
// (month 0 is December of the year before).
DayNumber FirstOfMonth(int64_t year, int64_t month);

// The weekday search over a range of days from `first` to `last`. m >= 1:
// the first selected weekday on or after first + 7*(m - 1); m <= 0: the last
// selected weekday on or before last - 7*(-m - 1). Without any selected
// weekday the answer is the shifted day itself. Error 6 when the shift
// overflows 32 bits.
DayNumber SearchWeekday(DayNumber first, DayNumber last, int32_t m, int32_t weekdays);

// The occurrence day of calMonthly or calWeekdayInMonth in a month (which
// may lie outside 1 to 12 and carries).
DayNumber DayInMonth(const Rule& rule, int64_t year, int64_t month);

// The occurrence day of calYearly, calYearly2, calWeekdayInYear or
// calWeekdayInYear2 in a year. calYearly cannot count from the end of its
// month: m <= 0 raises error 13.
DayNumber DayInYear(const Rule& rule, int64_t year);

}  // namespace orncal::recurrence
