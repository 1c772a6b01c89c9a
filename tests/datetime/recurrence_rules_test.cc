#include "datetime/recurrence_rules.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "orncalendar/error.h"
#include "orncalendar/ole_date.h"

namespace orncal::recurrence {
namespace {

DayNumber Day(int32_t y, int32_t m, int32_t d) {
  return static_cast<DayNumber>(DateFromParts(y, m, d));
}

int32_t ErrorOf(auto&& call) {
  try {
    call();
  } catch (const Error& e) {
    return e.Number();
  }
  return 0;
}

TEST(WeekStart, IsTheMondayOfTheWeekKeepingTheTime) {
  const Date ten = 10.0 / 24;
  EXPECT_EQ(WeekStart(DateFromParts(2008, 5, 14) + ten), DateFromParts(2008, 5, 12) + ten);
  EXPECT_EQ(WeekStart(DateFromParts(2008, 5, 12)), DateFromParts(2008, 5, 12));
  EXPECT_EQ(WeekStart(DateFromParts(2008, 5, 18)), DateFromParts(2008, 5, 12));
  EXPECT_EQ(WeekStart(DateFromParts(2009, 1, 1)), DateFromParts(2008, 12, 29));  // across the year
}

TEST(IsWeekdaySelected, OneBitPerWeekdayMondayFirst) {
  EXPECT_TRUE(IsWeekdaySelected(calMonday, 1));
  EXPECT_TRUE(IsWeekdaySelected(calThursday, 4));
  EXPECT_TRUE(IsWeekdaySelected(calSunday, 7));
  EXPECT_FALSE(IsWeekdaySelected(calSunday, 6));
  EXPECT_FALSE(IsWeekdaySelected(0x7F, 0));
  EXPECT_FALSE(IsWeekdaySelected(0xFF, 8));  // calOnlyAtOne is no weekday
  EXPECT_FALSE(IsWeekdaySelected(-1, -3));
  EXPECT_FALSE(AnyWeekdaySelected(calOnlyAtOne));
  EXPECT_TRUE(AnyWeekdaySelected(calOnlyAtOne | calSaturday));
}

TEST(SearchWeekday, ForwardFromTheFirstDayShiftedByWholeWeeks) {
  const DayNumber march1 = Day(2008, 3, 1), march31 = Day(2008, 3, 31);  // 1 March: a Saturday
  EXPECT_EQ(SearchWeekday(march1, march31, 1, calTuesday), Day(2008, 3, 4));
  EXPECT_EQ(SearchWeekday(march1, march31, 3, calTuesday), Day(2008, 3, 18));
  EXPECT_EQ(SearchWeekday(march1, march31, 1, calSaturday), march1);
  EXPECT_EQ(SearchWeekday(march1, march31, 1, calMonday | calSunday), Day(2008, 3, 2));
  EXPECT_EQ(SearchWeekday(march1, march31, 5, calMonday), Day(2008, 3, 31));
  // The fifth Tuesday does not exist in March 2008: the search runs into April.
  EXPECT_EQ(SearchWeekday(march1, march31, 5, calTuesday), Day(2008, 4, 1));
}

TEST(SearchWeekday, BackwardFromTheLastDay) {
  const DayNumber feb1 = Day(2008, 2, 1), feb29 = Day(2008, 2, 29);  // 29 February: a Friday
  EXPECT_EQ(SearchWeekday(feb1, feb29, -1, calFriday), feb29);
  EXPECT_EQ(SearchWeekday(feb1, feb29, -2, calFriday), Day(2008, 2, 22));
  EXPECT_EQ(SearchWeekday(feb1, feb29, -1, calMonday | calWednesday), Day(2008, 2, 27));
  EXPECT_EQ(SearchWeekday(feb1, feb29, -1, calSunday), Day(2008, 2, 24));
  // m = 0 counts from a week after the last day.
  EXPECT_EQ(SearchWeekday(feb1, feb29, 0, calFriday), Day(2008, 3, 7));
}

TEST(SearchWeekday, WithoutSelectedWeekdayAnswersTheShiftedDay) {
  const DayNumber feb1 = Day(2008, 2, 1), feb29 = Day(2008, 2, 29);
  EXPECT_EQ(SearchWeekday(feb1, feb29, 2, 0), Day(2008, 2, 8));
  EXPECT_EQ(SearchWeekday(feb1, feb29, -2, calOnlyAtOne), Day(2008, 2, 22));
}

TEST(SearchWeekday, ShiftOverflowingThirtyTwoBitsIsError6) {
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
  const DayNumber day = Day(2008, 2, 1);
  EXPECT_EQ(ErrorOf([&] { SearchWeekday(day, day, kMax, calMonday); }), 6);
  EXPECT_EQ(ErrorOf([&] { SearchWeekday(day, day, kMin, calMonday); }), 6);
  EXPECT_EQ(ErrorOf([&] { SearchWeekday(day, day, -306783380, calMonday); }), 6);
  EXPECT_EQ(ErrorOf([&] { SearchWeekday(day, day, 306783380, calMonday); }), 6);
  EXPECT_EQ(ErrorOf([&] { SearchWeekday(day, day, -306783379, calMonday); }), 0);
  EXPECT_EQ(ErrorOf([&] { SearchWeekday(day, day, 306783379, calMonday); }), 0);
}

TEST(DayRules, MonthsCarryAcrossYears) {
  EXPECT_EQ(FirstOfMonth(2009, 0), Day(2008, 12, 1));
  EXPECT_EQ(FirstOfMonth(2008, 13), Day(2009, 1, 1));
  EXPECT_EQ(FirstOfMonth(2008, -11), Day(2007, 1, 1));
  const Rule last_day{.mode = calMonthly, .m = -1, .n = 1};
  EXPECT_EQ(DayInMonth(last_day, 2009, 0), Day(2008, 12, 31));
  EXPECT_EQ(DayInMonth(last_day, 2008, 14), Day(2009, 2, 28));
}

TEST(DayRules, YearlyCountsFromTheMonthStartOnly) {
  const Rule rule{.mode = calYearly, .m = 30, .n = 1, .in_month = 2};
  EXPECT_EQ(DayInYear(rule, 2008), Day(2008, 3, 1));
  EXPECT_EQ(DayInYear(rule, 2009), Day(2009, 3, 2));
  EXPECT_EQ(ErrorOf([] { DayInYear({.mode = calYearly, .m = 0, .in_month = 2}, 2008); }), 13);
  EXPECT_EQ(ErrorOf([] { DayInYear({.mode = calYearly, .m = -1, .in_month = 2}, 2008); }), 13);
}

TEST(DayRules, WeekdayInYearSearchesTheWholeYearOrTheNamedMonth) {
  EXPECT_EQ(DayInYear({.mode = calWeekdayInYear, .m = 1, .weekdays = calMonday}, 2008),
            Day(2008, 1, 7));
  EXPECT_EQ(DayInYear({.mode = calWeekdayInYear, .m = -1, .weekdays = calMonday}, 2008),
            Day(2008, 12, 29));
  EXPECT_EQ(
      DayInYear({.mode = calWeekdayInYear2, .m = -1, .in_month = 12, .weekdays = calMonday}, 2008),
      Day(2008, 12, 29));
  EXPECT_EQ(
      DayInYear({.mode = calWeekdayInYear2, .m = 2, .in_month = 11, .weekdays = calThursday}, 2008),
      Day(2008, 11, 13));
}

}  // namespace
}  // namespace orncal::recurrence
