// The day rules themselves are checked against an enumeration in
// recurrence_oracle_test.cc; these are the cases random series do not reach.
#include "datetime/recurrence_rules.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "orncalendar/error.h"
#include "orncalendar/ole_date.h"
#include "support/test_env.h"

namespace orncal::recurrence {
namespace {

using testing::ErrorOf;

DayNumber Day(int32_t y, int32_t m, int32_t d) {
  return static_cast<DayNumber>(DateFromParts(y, m, d));
}

TEST(WeekStart, IsTheMondayOfTheWeekKeepingTheTime) {
  const Date ten = 10.0 / 24;
  EXPECT_EQ(WeekStart(DateFromParts(2008, 5, 14) + ten), DateFromParts(2008, 5, 12) + ten);
  EXPECT_EQ(WeekStart(DateFromParts(2008, 5, 18)), DateFromParts(2008, 5, 12));
  EXPECT_EQ(WeekStart(DateFromParts(2009, 1, 1)), DateFromParts(2008, 12, 29));
}

TEST(IsWeekdaySelected, OneBitPerWeekdayMondayFirstAndNothingElse) {
  EXPECT_TRUE(IsWeekdaySelected(calThursday, 4));
  EXPECT_TRUE(IsWeekdaySelected(calSunday, 7));
  EXPECT_FALSE(IsWeekdaySelected(calSunday, 6));
  EXPECT_FALSE(IsWeekdaySelected(0x7F, 0));
  EXPECT_FALSE(IsWeekdaySelected(0xFF, 8));  // calOnlyAtOne is no weekday
  EXPECT_FALSE(IsWeekdaySelected(-1, -3));
  EXPECT_FALSE(AnyWeekdaySelected(calOnlyAtOne));
}

TEST(SearchWeekday, OrdinalZeroCountsFromAWeekAfterTheLastDay) {
  // 29 February 2008 is a Friday.
  EXPECT_EQ(SearchWeekday(Day(2008, 2, 1), Day(2008, 2, 29), 0, calFriday), Day(2008, 3, 7));
  EXPECT_EQ(SearchWeekday(Day(2008, 2, 1), Day(2008, 2, 29), 0, 0), Day(2008, 3, 7));
}

TEST(SearchWeekday, ShiftOverflowingThirtyTwoBitsIsError6) {
  const DayNumber day = Day(2008, 2, 1);
  auto search = [&](int32_t m) { return ErrorOf([&] { SearchWeekday(day, day, m, calMonday); }); };
  EXPECT_EQ(search(306783379), 0);  // 7 * 306783378 still fits
  EXPECT_EQ(search(306783380), 6);
  EXPECT_EQ(search(-306783379), 0);
  EXPECT_EQ(search(-306783380), 6);
  EXPECT_EQ(search(std::numeric_limits<int32_t>::min()), 6);
}

TEST(DayRules, MonthsOutsideTheYearCarry) {
  EXPECT_EQ(FirstOfMonth(2009, 0), Day(2008, 12, 1));
  EXPECT_EQ(FirstOfMonth(2008, -11), Day(2007, 1, 1));
  EXPECT_EQ(DayInMonth({.mode = calMonthly, .m = -1}, 2008, 14), Day(2009, 2, 28));
  EXPECT_EQ(DayInYear({.mode = calYearly, .m = 1, .in_month = 13}, 2008), Day(2009, 1, 1));
}

}  // namespace
}  // namespace orncal::recurrence
