#include "datetime/recurrence_rules.h"

#include "datetime/civil_days.h"
#include "orncalendar/error.h"
#include "orncalendar/ole_date.h"

namespace orncal::recurrence {

int32_t Multiply32(int32_t a, int32_t b) {
  int32_t result;
  if (__builtin_mul_overflow(a, b, &result)) throw Error(ErrorNumber::kOverflow);
  return result;
}

int32_t Add32(int32_t a, int32_t b) {
  int32_t result;
  if (__builtin_add_overflow(a, b, &result)) throw Error(ErrorNumber::kOverflow);
  return result;
}

Date WeekStart(Date date) { return date - (WeekdayOf(date) - 1); }

bool IsWeekdaySelected(int32_t weekdays, int32_t weekday) {
  if (weekday < 1 || weekday > 7) return false;
  return (weekdays >> (weekday - 1)) & 1;
}

bool AnyWeekdaySelected(int32_t weekdays) { return (weekdays & 0x7F) != 0; }

DayNumber FirstOfMonth(int64_t year, int64_t month) {
  const int64_t carry = FloorDiv(month - 1, 12);
  return DaysFromCivil(year + carry, month - carry * 12, 1);
}

DayNumber SearchWeekday(DayNumber first, DayNumber last, int32_t m, int32_t weekdays) {
  if (m >= 1) {
    int32_t w = WeekdayOfDay(first) - 1;
    const DayNumber base = first + Multiply32(7, m - 1);
    for (int32_t i = 1; i <= 7; ++i) {
      w = w % 7 + 1;
      if (IsWeekdaySelected(weekdays, w)) return base + i - 1;
    }
    return base;
  }
  // -m overflows for the smallest 32-bit number.
  const int32_t weeks_back = Add32(Multiply32(m, -1), -1);
  int32_t w = WeekdayOfDay(last) + 1;
  const DayNumber base = last - Multiply32(7, weeks_back);
  for (int32_t i = 1; i <= 7; ++i) {
    w = w == 1 ? 7 : w - 1;
    if (IsWeekdaySelected(weekdays, w)) return base - i + 1;
  }
  return base;
}

DayNumber DayInMonth(const Rule& rule, int64_t year, int64_t month) {
  const DayNumber first = FirstOfMonth(year, month);
  if (rule.mode == calWeekdayInMonth) {
    return SearchWeekday(first, FirstOfMonth(year, month + 1) - 1, rule.m, rule.weekdays);
  }
  return rule.m >= 1 ? first + rule.m - 1 : FirstOfMonth(year, month + 1) + rule.m;
}

DayNumber DayInYear(const Rule& rule, int64_t year) {
  switch (rule.mode) {
    case calYearly:
      if (rule.m <= 0) throw Error(ErrorNumber::kTypeMismatch);
      return FirstOfMonth(year, rule.in_month) + rule.m - 1;
    case calWeekdayInYear:
      return SearchWeekday(FirstOfMonth(year, 1), FirstOfMonth(year + 1, 1) - 1, rule.m,
                           rule.weekdays);
    case calWeekdayInYear2:
      return SearchWeekday(FirstOfMonth(year, rule.in_month),
                           FirstOfMonth(year, int64_t{rule.in_month} + 1) - 1, rule.m,
                           rule.weekdays);
    default:  // calYearly2
      return rule.m >= 1 ? FirstOfMonth(year, 1) + rule.m - 1 : FirstOfMonth(year + 1, 1) + rule.m;
  }
}

}  // namespace orncal::recurrence
