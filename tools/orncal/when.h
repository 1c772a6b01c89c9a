// The dates and times of orncal's command line.
//
// WHEN is a day, optionally followed by "T" or a space and a time of day
// H:MM or H:MM:SS (local wall-clock time), or ole:NUMBER (a raw OLE date).
// A day is YYYY-MM-DD, or one of the words today, tomorrow, yesterday and
// the weekday names (monday or mon ... sunday or sun, any letter case),
// which are counted from the library's clock: a weekday name is the next
// such day, today itself when today is that day. The word now is the
// present moment.
#pragma once

#include <string_view>

#include "orncalendar/fwd.h"

namespace orncal::cli {

struct When {
  Date Value = 0;
  // Whether a time of day was given (or now, or an OLE number with a
  // fraction).
  bool HasTime = false;
};

// The OLE date of a WHEN: the day number plus (h * 3600 + m * 60 + s) /
// 86400 (minus, for days before 30 December 1899, whose time of day OLE
// counts away from zero). `now` is the present moment for the words.
// Throws std::invalid_argument with a message that names the text when it
// is not a valid WHEN.
When ParseWhen(std::string_view text, Date now);

// A WHEN without a time of day: the day's midnight.
Date ParseDay(std::string_view text, Date now);

// The times of an occurrence, "H:MM-H:MM" (or one time, a moment), as
// offsets from its day: an end before the start runs past midnight into
// the next day. Throws std::invalid_argument.
struct TimeRange {
  Date Start = 0;
  Date End = 0;
};
TimeRange ParseTimeRange(std::string_view text);

// A month, YYYY-MM. Throws std::invalid_argument.
struct YearMonth {
  int Year = 0;
  int Month = 0;
};
YearMonth ParseYearMonth(std::string_view text);

}  // namespace orncal::cli
