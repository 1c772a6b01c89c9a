#include "orncalendar/ole_date.h"

#include <algorithm>
#include <cmath>

#include "datetime/civil_days.h"
#include "orncalendar/error.h"

namespace orncal {

int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468 + 25569;
}

int64_t FloorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

int32_t WeekdayOfDay(int64_t day) {
  // Day 0, 30 December 1899, was a Saturday.
  return static_cast<int32_t>(((day % 7) + 7 + 5) % 7) + 1;
}

namespace {

// The civil date of a day number (proleptic Gregorian).
void CivilFromDays(int64_t days, int32_t* year, int32_t* month, int32_t* day) {
  const int64_t z = days - 25569 + 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int64_t d = doy - (153 * mp + 2) / 5 + 1;
  const int64_t m = mp < 10 ? mp + 3 : mp - 9;
  *year = static_cast<int32_t>(yoe + era * 400 + (m <= 2));
  *month = static_cast<int32_t>(m);
  *day = static_cast<int32_t>(d);
}

bool InOleRange(Date date) { return date > kMinDate - 1 && date < kMaxDate + 1; }

void CheckReadable(Date date) {
  if (!InOleRange(date)) throw Error(ErrorNumber::kOverflow);
}

Date CheckedResult(int64_t days) {
  if (days < static_cast<int64_t>(kMinDate) || days > static_cast<int64_t>(kMaxDate)) {
    throw Error(ErrorNumber::kInvalidProcedureCall);
  }
  return static_cast<Date>(days);
}

// The day a date belongs to and its time in whole seconds, rounded to the
// nearest second.
struct DayAndSecond {
  int64_t day;
  int32_t second;
};

DayAndSecond Split(Date date) {
  CheckReadable(date);
  double whole = std::trunc(date);
  auto day = static_cast<int64_t>(whole);
  auto second = static_cast<int32_t>(std::llround(std::fabs(date - whole) * 86400.0));
  if (second >= 86400) {
    ++day;
    second = 0;
  }
  return {day, second};
}

}  // namespace

Date DateFromParts(int32_t year, int32_t month, int32_t day) {
  int64_t y = int64_t{year} + FloorDiv(int64_t{month} - 1, 12);
  int64_t m = int64_t{month} - 1 - FloorDiv(int64_t{month} - 1, 12) * 12 + 1;
  if (y < -1000000 || y > 1000000) throw Error(ErrorNumber::kInvalidProcedureCall);
  return CheckedResult(DaysFromCivil(y, m, 1) + int64_t{day} - 1);
}

Date TimeFromParts(int32_t hour, int32_t minute, int32_t second) {
  return (hour * 3600.0 + minute * 60.0 + second) / 86400.0;
}

DateParts SplitDate(Date date) {
  DayAndSecond split = Split(date);
  DateParts parts;
  CivilFromDays(split.day, &parts.Year, &parts.Month, &parts.Day);
  parts.Hour = split.second / 3600;
  parts.Minute = split.second / 60 % 60;
  parts.Second = split.second % 60;
  return parts;
}

int32_t YearOf(Date date) { return SplitDate(date).Year; }
int32_t MonthOf(Date date) { return SplitDate(date).Month; }
int32_t DayOf(Date date) { return SplitDate(date).Day; }
int32_t HourOf(Date date) { return SplitDate(date).Hour; }
int32_t WeekdayOf(Date date) { return WeekdayOfDay(Split(date).day); }

Date DayPart(Date date) {
  CheckReadable(date);
  return std::trunc(date) + 0.0;  // + 0.0 turns -0 into 0
}

Date AddMonths(Date date, int32_t months) {
  CheckReadable(date);
  double whole = std::trunc(date);
  double time = std::fabs(date - whole);
  int32_t y, m, d;
  CivilFromDays(static_cast<int64_t>(whole), &y, &m, &d);
  int64_t total = int64_t{y} * 12 + (m - 1) + months;
  int64_t ny = FloorDiv(total, 12);
  int64_t nm = total - ny * 12 + 1;
  int64_t last =
      DaysFromCivil(nm == 12 ? ny + 1 : ny, nm == 12 ? 1 : nm + 1, 1) - DaysFromCivil(ny, nm, 1);
  int64_t days = DaysFromCivil(ny, nm, std::min<int64_t>(d, last));
  Date result = CheckedResult(days);
  return result >= 0 ? result + time : result - time;
}

int32_t WeekBoundariesBetween(Date from, Date to) {
  int64_t a = Split(from).day;
  int64_t b = Split(to).day;
  int64_t monday_a = a - (WeekdayOfDay(a) - 1);
  int64_t monday_b = b - (WeekdayOfDay(b) - 1);
  return static_cast<int32_t>((monday_b - monday_a) / 7);
}

}  // namespace orncal
