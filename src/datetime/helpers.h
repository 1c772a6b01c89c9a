// Small shared procedures of the library: rounding for the recurrence walk,
// date-in-period tests for the queries, and text helpers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "orncalendar/date_time.h"
#include "orncalendar/fwd.h"

namespace orncal {

// The smallest whole number not below the value. Error 6 when it does not
// fit 32 bits.
int32_t RoundUp(double value);
// The same on a date: any time of day rounds up to the next day number.
int32_t RoundUpDate(Date date);

// Period.Start <= date < Period.End.
bool IsDateInPeriod(Date date, const DateTimeNormal& period);
// In both periods; the second is read only when the date lies in the first.
bool IsDateInPeriods(Date date, const DateTimeNormal& first, const DateTimeNormal& second);

// Splits at the first occurrence of `separator` (one character): returns the
// part before it and puts the part after it into `rest`, both trimmed of
// spaces. Without the separator, returns the whole text trimmed and an empty
// rest.
std::string SplitFirst(std::string_view text, char separator, std::string* rest);

// The text up to its first NUL character; error 5 when it has none.
std::string CutAtNull(std::string_view text);

// Removes leading and trailing spaces (only spaces, not tabs).
std::string_view TrimSpaces(std::string_view text);

// Lower case of a UTF-8 text for every letter of the Windows-1252 range
// (A-Z, the accented capitals, Š, Œ, Ž, Ÿ); other characters are kept.
std::string LowerCase(std::string_view text);

}  // namespace orncal
