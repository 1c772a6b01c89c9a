// Whole-day arithmetic on day numbers (days since 30 December 1899) in 64
// bits, shared by the date functions and the recurrence rules. Nothing here
// checks the OLE date range: callers that build dates check it themselves.
#pragma once

#include <cstdint>

namespace orncal {

// The day number of a civil date (proleptic Gregorian, month 1 to 12).
int64_t DaysFromCivil(int64_t year, int64_t month, int64_t day);

// 1 = Monday ... 7 = Sunday.
int32_t WeekdayOfDay(int64_t day);

// Division rounding towards minus infinity.
int64_t FloorDiv(int64_t a, int64_t b);

}  // namespace orncal
