// Arithmetic on OLE automation dates (days since 30 December 1899 00:00,
// the fraction being the time of day). A negative date is read as OLE
// reads it: the whole part is the day, the fraction, whatever its sign, the
// time of that day (-1.25 is 29 December 1899 06:00).
#pragma once

#include <cstdint>

#include "orncalendar/fwd.h"

namespace orncal {

// The first and last days OLE dates represent: 1 January 100 and
// 31 December 9999.
inline constexpr Date kMinDate = -657434.0;
inline constexpr Date kMaxDate = 2958465.0;

// Midnight of a calendar day. Months and days out of range are carried:
// month 0 is December of the year before, month 13 January of the year
// after, day 0 the last day of the month before, day 32 of January is
// 1 February. A result outside the OLE range raises error 5.
Date DateFromParts(int32_t year, int32_t month, int32_t day);

// A time of day as a fraction of a day; hours, minutes and seconds may be
// out of range and are simply summed.
Date TimeFromParts(int32_t hour, int32_t minute, int32_t second);

struct DateParts {
  int32_t Year = 0;
  int32_t Month = 0;
  int32_t Day = 0;
  int32_t Hour = 0;
  int32_t Minute = 0;
  int32_t Second = 0;
};

// The calendar parts of a date, its time rounded to the nearest second
// (23:59:59.6 belongs to the next day).
DateParts SplitDate(Date date);

int32_t YearOf(Date date);
int32_t MonthOf(Date date);
int32_t DayOf(Date date);
int32_t HourOf(Date date);
// 1 = Monday ... 7 = Sunday.
int32_t WeekdayOf(Date date);

// The date with its time of day cut off (midnight of its day).
Date DayPart(Date date);

// Adds whole months; a day that does not exist in the target month becomes
// its last day (31 January + 1 month = 28 or 29 February). The time of day
// is kept.
Date AddMonths(Date date, int32_t months);

// The number of Monday-started week boundaries between two dates: 0 within
// one week, 1 from a Sunday to the following Monday, negative backwards.
int32_t WeekBoundariesBetween(Date from, Date to);

}  // namespace orncal
